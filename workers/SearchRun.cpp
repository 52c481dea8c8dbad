#include "workers/SearchRun.h"

SearchRun::SearchRun(ScanSession& session, const kova::SearchOptions& options,
                     std::function<void()> ended)
    : session_(session) {
    session_.setWatcher([this](double progress) { return onProgress(progress); });
    thread_ = std::thread([this, options, ended = std::move(ended)] {
        session_.search(options);
        ended();
    });
}

SearchRun::~SearchRun() {
    breakOff();
    thread_.join();
    session_.setWatcher({});
}

SearchRun::Status SearchRun::status() const {
    const std::scoped_lock lock(mutex_);
    Status status = status_;
    status.elapsed = std::chrono::steady_clock::now() - begun_;
    return status;
}

bool SearchRun::onProgress(double progress) {
    const kova::ZDeepSearch* search = session_.runningSearch();
    if (search != nullptr) {
        const std::scoped_lock lock(mutex_);
        if (status_.toSearch == 0)
            status_.begunAt = search->status().searched;
        status_.progress = progress;
        status_.searched = search->status().searched;
        status_.toSearch = search->status().toSearch;
        status_.isReading = search->isReading();
        status_.found = search->status().found;
    }
    return !isBrokenOff_;
}
