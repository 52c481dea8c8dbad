#include "workers/ScanSession.h"

#include "engine/openVolume.h"

#include <utility>

/// Lets what uses the drive be watched as long as it lives.
class ScanSession::Watched {
public:
    explicit Watched(ScanSession& session) : session_(session) {
        session_.media().setReadHook([this] { session_.onRead(); });
        if (session_.volume() != nullptr)
            session_.volume()->setProgressCallback(
                [this](double value) { return session_.onProgress(value); });
    }

    Watched(const Watched&) = delete;
    Watched& operator=(const Watched&) = delete;

    ~Watched() {
        session_.media().setReadHook({});
        if (session_.volume() != nullptr)
            session_.volume()->setProgressCallback({});
    }

private:
    ScanSession& session_;
};

ScanSession::ScanSession(const kova::ScanOptions& options, Watcher watcher)
    : options_(options), watcher_(std::move(watcher)) {
    found_.setMedia(std::make_unique<kova::ZCustomMedia>());
    found_.setTree(std::make_unique<kova::ZFileTree>());
}

bool ScanSession::open(char letter) {
    const Watched watched(*this);
    try {
        if (!onProgress(0.0)) // Before a sleeping drive has to wake up.
            return endWith(End::Stopped);
        if (!media().openDrive(letter)) {
            switch (media().error()) {
            case platform::Error::AccessDenied:
                return endWith(End::NoRights);
            case platform::Error::NotFound:
            case platform::Error::DeviceGone:
                return endWith(End::Gone);
            case platform::Error::None:
                return endWith(End::NoSectorSize);
            default:
                return endWith(End::Unreadable);
            }
        }
        found_.setVolume(std::unique_ptr<kova::ZVolume>(kova::openVolume(&media())));
    } catch (const StopRequest&) {
        return endWith(End::Stopped);
    }
    return volume() != nullptr || endWith(isGone() ? End::Gone : End::NotSupported);
}

bool ScanSession::prepare() {
    const Watched watched(*this);
    if (initialise())
        return true;
    // What the engine throws does not tell why; the media may.
    if (stopped_)
        return endWith(End::Stopped);
    if (isGone())
        return endWith(End::Gone);
    return endWith(media().unreadableSectors() > 0 ? End::Unreadable : End::Damaged);
}

bool ScanSession::initialise() {
    volume()->setScanOptions(options_);
    try {
        volume()->init();
        return true;
    } catch (...) {
        return false;
    }
}

bool ScanSession::scan() {
    const Watched watched(*this);
    bool reachedEnd = false;
    try {
        volume()->scan(&tree());
        reachedEnd = true;
    } catch (...) {
        reachedEnd = false; // What was found until here stays.
    }
    if (stopped_) // An engine may catch what a read throws.
        return endWith(End::Stopped);
    if (isGone())
        return endWith(End::Removed);
    return reachedEnd || endWith(End::BrokenOff);
}

void ScanSession::onRead() {
    if (!onProgress(progress_))
        throw StopRequest();
}

bool ScanSession::onProgress(double value) {
    progress_ = value;
    if (!stopped_ && watcher_ && !watcher_(value))
        stopped_ = true;
    return !stopped_;
}

bool ScanSession::endWith(End end) {
    end_ = end;
    return false;
}

bool ScanSession::isGone() const {
    return media().error() == platform::Error::DeviceGone;
}

std::wstring ScanSession::errorText() const {
    return media().errorText();
}

std::string ScanSession::fileSystem() const {
    return media().fileSystem().value_or(std::string());
}

ScannedVolume ScanSession::take() {
    return std::move(found_);
}
