#include "workers/ScanSession.h"

#include "engine/openVolume.h"
#include "engine/recognizeVolume.h"

#include <memory>
#include <utility>

namespace {

/// Longer than this a search that is to end waits for no answer of the drive, nor does a forecast.
constexpr std::chrono::seconds kMostWaiting{5};

/// Bytes that a scan leaves for the list of what it finds.
constexpr std::size_t kReserve = std::size_t{64} << 20;

} // namespace

/// Lets what uses the drive be watched as long as it lives.
class ScanSession::Watched {
public:
    explicit Watched(ScanSession& session) : session_(session) {
        session_.media().setReadHook([this] { session_.onRead(); });
        session_.watchProgress();
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

ScanSession::ScanSession(const kova::ScanOptions& options, ScannedVolume found)
    : options_(options), found_(std::move(found)) {}

bool ScanSession::open(char letter) {
    const Watched watched(*this);
    try {
        if (!onProgress(0.0)) // Before a sleeping drive has to wake up.
            return endWith(End::Stopped);
        if (!media().openDrive(letter)) {
            if (!onProgress(0.0)) // While somebody was asked for a password.
                return endWith(End::Stopped);
            switch (media().failure().kind) {
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
        if (volume() == nullptr && options_.recognized)
            found_.setVolume(kova::recognizeVolume(&media()));
    } catch (...) {
        return endWith(whyNot(End::Damaged));
    }
    return volume() != nullptr || endWith(whyNot(isOurs() ? End::Damaged : End::NotSupported));
}

bool ScanSession::prepare() {
    const Watched watched(*this);
    return initialise() || (recognize() && initialise()) || endWith(whyNot(End::Damaged));
}

bool ScanSession::initialise() {
    volume()->setScanOptions(options_);
    try {
        volume()->init();
        return true;
    } catch (...) {
        return false; // What an engine throws does not tell why.
    }
}

/// Puts the engine for what the volume itself says in the place of one that could not use it.
bool ScanSession::recognize() {
    if (!options_.recognized || stopped_ || media().wasRemoved())
        return false;
    try {
        std::unique_ptr<kova::ZVolume> recognized = kova::recognizeVolume(&media());
        if (recognized == nullptr)
            return false;
        found_.setVolume(std::move(recognized));
        watchProgress();
        return true;
    } catch (...) {
        return false;
    }
}

/// Why something could not be done with the drive: for `otherwise` when it was not for the drive.
ScanSession::End ScanSession::whyNot(End otherwise) const {
    if (stopped_)
        return End::Stopped;
    if (media().wasRemoved())
        return End::Gone;
    return media().unreadableSectors() > 0 ? End::Unreadable : otherwise;
}

/// Whether the system names a file system that there is an engine for.
bool ScanSession::isOurs() const {
    const std::string name = fileSystem();
    return name.starts_with("NTFS") || name.starts_with("FAT") || name.starts_with("exFAT");
}

void ScanSession::watchProgress() {
    if (volume() != nullptr)
        volume()->setProgressCallback([this](double value) { return onProgress(value); });
}

bool ScanSession::scan() {
    const Watched watched(*this);
    bool reachedEnd = false;
    try {
        reserve_ = std::make_unique_for_overwrite<char[]>(kReserve);
        volume()->scan(&tree());
        reachedEnd = true;
    } catch (...) {
        reachedEnd = false; // What was found until here stays.
    }
    reserve_.reset();
    if (stopped_) // An engine may catch what a read throws.
        return endWith(End::Stopped);
    if (media().wasRemoved())
        return endWith(End::Removed);
    return reachedEnd || endWith(End::BrokenOff);
}

std::optional<kova::SearchedVolume> ScanSession::searchedVolume() {
    const Watched watched(*this);
    try {
        return kova::SearchedVolume::of(media(), hasScanned() ? volume()->clusterLayout()
                                                              : kova::ClusterLayout{});
    } catch (...) {
        return std::nullopt;
    }
}

bool ScanSession::search(const kova::SearchOptions& options, kova::SearchKeeping keeping) {
    // One that could not be initialised knows nothing of its clusters.
    std::unique_ptr<kova::ZVolume> today = found_.takeVolume();
    if (!hasScanned())
        today.reset();
    if (auto* last = dynamic_cast<kova::ZDeepSearch*>(today.get()); last && last->canGoOn()) {
        auto tree = std::make_unique<kova::ZFileTree>();
        auto lastToday = last->handOver(*found_.tree(), *tree, keeping.before);
        today = std::move(lastToday);
        found_.setTree(std::move(tree));
    }
    auto search = std::make_unique<kova::ZDeepSearch>(&media(), std::move(today), options);
    search->setKeeping(std::move(keeping));
    search_ = search.get();
    found_.setVolume(std::move(search));
    end_ = End::Done;
    const bool reachedEnd = scan();
    search_ = nullptr;
    return reachedEnd && (!isFinishing_ || endWith(End::Stopped));
}

bool ScanSession::canGoOnSearching() const {
    const auto* last = dynamic_cast<const kova::ZDeepSearch*>(found_.volume());
    return last != nullptr && last->canGoOn();
}

kova::SearchForecast ScanSession::forecast() {
    const auto end = std::chrono::steady_clock::now() + kMostWaiting;
    media().setReadHook([this, end] {
        if (std::chrono::steady_clock::now() > end)
            throw StopRequest();
        onRead();
    });
    kova::SearchForecast forecast;
    try {
        forecast = kova::forecastSearch(media(), hasScanned() ? volume() : nullptr);
    } catch (...) {
        forecast = {}; // It would take too long to tell.
    }
    media().setReadHook({});
    return forecast;
}

void ScanSession::onRead() {
    onProgress(progress_);
    if (stopped_ || !mayReadOn())
        throw StopRequest();
}

/// A search that is to end reads on only for the files that it makes, and waits for no drive that
/// hangs.
bool ScanSession::mayReadOn() {
    if (search_ == nullptr || !isFinishing_)
        return true;
    if (search_->isReading() || isHanging_)
        return false;
    const auto now = std::chrono::steady_clock::now();
    if (lastRequest_ != media().deviceRequests()) {
        lastRequest_ = media().deviceRequests();
        lastRequestBegun_ = now;
    }
    isHanging_ = now - lastRequestBegun_ > kMostWaiting;
    return !isHanging_;
}

bool ScanSession::onProgress(double value) {
    progress_ = value;
    if (!stopped_ && watcher_ && !watcher_(value))
        stopped_ = true;
    return !stopped_ && !isFinishing_;
}

bool ScanSession::endWith(End end) {
    end_ = end;
    return false;
}

const platform::Failure& ScanSession::failure() const {
    return media().failure();
}

std::string ScanSession::fileSystem() const {
    return media().fileSystem().value_or(std::string());
}

ScannedVolume ScanSession::take() {
    return std::move(found_);
}
