#include "engine/ZCustomMedia.h"

#include "platform/Drives.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>
#include <utility>

namespace kova {

namespace {

/// What is given up together.
constexpr uint32 kGroupBytes = 256 * 1024;
/// After so many requests that gave nothing, a drive is dead around here.
constexpr uint32 kFailuresOfTheDead = 24;

} // namespace

ZCustomMedia::ZCustomMedia(uint32 sectorSize)
    : sectorSize_(sectorSize), device_(std::make_shared<platform::Device>()) {}

bool ZCustomMedia::open(const wchar_t* path) {
    path_ = path;
    fileSystem_.reset();
    position_ = 0;
    unreadableSectors_ = 0;
    windowSectors_ = 0;
    failuresInARow_ = 0;
    isGone_ = false;
    // The one before may still be in use by a request that was given up.
    device_ = std::make_shared<platform::Device>();
    const auto opening = std::make_shared<platform::Device>();
    const auto isOpen = std::make_shared<bool>(false);
    patiently([opening, isOpen, where = path_] { *isOpen = opening->open(where); });
    device_ = opening;
    failure_ = device_->failure();
    return *isOpen;
}

bool ZCustomMedia::close() {
    device_ = std::make_shared<platform::Device>();
    path_.clear();
    fileSystem_.reset();
    position_ = 0;
    windowSectors_ = 0;
    return true;
}

bool ZCustomMedia::openDrive(char letter) {
    sectorSize_ = 0;
    failure_ = {};
    const auto drive = std::make_shared<std::optional<platform::Drive>>();
    patiently([drive, letter] { *drive = platform::findDrive(letter); });
    if (!*drive)
        failure_.kind = platform::Error::NotFound;
    if (!*drive || (*drive)->sectorSize == 0)
        return false;
    sectorSize_ = (*drive)->sectorSize;
    const std::wstring path = {L'\\', L'\\', L'.', L'\\', static_cast<wchar_t>(letter), L':'};
    const bool isOpen = open(path.c_str());
    fileSystem_ = (*drive)->fileSystem;
    return isOpen;
}

/// Does what may take long in the other thread while a hook watches, else right here. What `work`
/// touches is its own or shared with it: the hook may throw and leave it running.
void ZCustomMedia::patiently(std::function<void()> work) {
    if (readHook_) {
        thread_.run(std::move(work), readHook_);
        return;
    }
    thread_.waitUntilIdle();
    work();
}

bool ZCustomMedia::write(const void* buffer, uint32 sectors) {
    static_cast<void>(buffer);
    static_cast<void>(sectors);
    return false;
}

uint64 ZCustomMedia::position() {
    return position_;
}

bool ZCustomMedia::seek(uint64 sector) {
    const uint64 furthest =
        sectorSize_ == 0 ? 0 : static_cast<uint64>(std::numeric_limits<int64>::max()) / sectorSize_;
    if (sector > furthest) {
        // Beyond any device: what is read there is zero.
        position_ = furthest;
        return true;
    }
    position_ = sector;
    return static_cast<uint32>(sector * sectorSize_) != 0;
}

uint64 ZCustomMedia::sizeBytes() const {
    return device_->size();
}

int64 ZCustomMedia::readDevice(uint64 offset, std::span<uint8> bytes) {
    int64 got = 0;
    if (!readHook_) {
        thread_.waitUntilIdle();
        got = device_->readAt(offset, bytes.data(), bytes.size());
    } else if (device_->readAtOnce(offset, bytes.data(), bytes.size())) {
        return static_cast<int64>(bytes.size());
    } else {
        // Given up, it keeps its bytes to itself; the next one makes new ones.
        const auto request =
            request_ ? std::exchange(request_, nullptr) : std::make_shared<Request>();
        request->bytes.resize(bytes.size());
        thread_.run(
            [request, device = device_, offset] {
                request->got = device->readAt(offset, request->bytes.data(), request->bytes.size());
            },
            readHook_);
        got = request->got;
        if (got > 0)
            std::memcpy(bytes.data(), request->bytes.data(), static_cast<std::size_t>(got));
        request_ = request;
    }
    if (got != static_cast<int64>(bytes.size()))
        failure_ = device_->failure();
    return got;
}

bool ZCustomMedia::isPresent() const {
    return device_->isPresent();
}

uint32 ZCustomMedia::read(void* buffer, uint32 sectors) {
    if (sectorSize_ == 0 || sectors == 0)
        return 0;
    const std::span<uint8> bytes(static_cast<uint8*>(buffer),
                                 static_cast<std::size_t>(sectors) * sectorSize_);
    if (windows_ > 0 && fillFromWindow(position_, bytes)) {
        position_ += sectors;
        return sectors;
    }
    const Filled filled = fill(position_, bytes);
    position_ += filled.covered;
    return filled.given;
}

ZCustomMedia::Filled ZCustomMedia::fill(uint64 sector, std::span<uint8> bytes) {
    const auto sectors = static_cast<uint32>(bytes.size() / sectorSize_);
    if (refusedFrom(sector) < sector + sectors)
        return {salvage(sector, bytes, false), sectors};
    const int64 got = request(sector, bytes);
    if (got == static_cast<int64>(bytes.size()))
        return {sectors, sectors};
    const auto given =
        static_cast<uint32>(static_cast<uint64>(std::max<int64>(got, 0)) / sectorSize_);
    if (got >= 0 && sizeBytes() < sector * sectorSize_ + bytes.size()) {
        // The volume ends here.
        std::memset(bytes.data() + got, 0, bytes.size() - static_cast<std::size_t>(got));
        return {given, given};
    }
    notePresence();
    auto rest = bytes.subspan(std::size_t{given} * sectorSize_);
    if (given > 0 && !isGone_) {
        // After what came lies what failed, most likely: it is asked for alone.
        const uint32 more = narrowDown(sector + given, rest.first(sectorSize_), false);
        rest = rest.subspan(sectorSize_);
        return {given + more + salvage(sector + given + 1, rest, false), sectors};
    }
    return {given + salvage(sector + given, rest, given == 0), sectors};
}

/// Asks whether the device is still there, once for each request that failed.
void ZCustomMedia::notePresence() {
    if (std::exchange(presentAfter_, requests_) != requests_)
        isGone_ = !isPresent();
}

/// One request to the device; what it gives up to the first bad sector is kept in `bytes`.
int64 ZCustomMedia::request(uint64 sector, std::span<uint8> bytes) {
    ++requests_;
    if (readHook_)
        readHook_();
    const int64 got = isGone_ ? -1 : readDevice(sector * sectorSize_, bytes);
    failuresInARow_ = got >= static_cast<int64>(sectorSize_) ? 0 : failuresInARow_ + 1;
    return got;
}

/// Fills what a request has failed for, in groups; returns the sectors that the device gave.
/// `gaveNothing`: that request was for all of `bytes` and gave none of them.
uint32 ZCustomMedia::salvage(uint64 sector, std::span<uint8> bytes, bool gaveNothing) {
    const uint64 groupSectors = std::max(kGroupBytes / sectorSize_, 1U);
    uint32 given = 0;
    while (!bytes.empty()) {
        const uint64 left = bytes.size() / sectorSize_;
        // Up to the end of the group, or to where it is known already.
        uint64 count = std::min(left, groupSectors - sector % groupSectors);
        const bool isRefused = refusedFrom(sector) == sector;
        count = std::min(count, (isRefused ? refusedTo(sector) : refusedFrom(sector)) - sector);
        const auto piece = bytes.first(static_cast<std::size_t>(count) * sectorSize_);
        if (isGone_ || isRefused || isDead(sector, piece)) {
            giveUp(sector, piece);
        } else {
            const uint32 before = given;
            given += narrowDown(sector, piece, gaveNothing && piece.size() == bytes.size());
            if (given - before < count)
                notePresence();
        }
        bytes = bytes.subspan(piece.size());
        sector += count;
    }
    return given;
}

/// Where nothing was given for long: whether first and last sector of a piece are refused, too.
bool ZCustomMedia::isDead(uint64 sector, std::span<uint8> bytes) {
    const auto last = static_cast<uint32>(bytes.size() / sectorSize_ - 1);
    if (failuresInARow_ < kFailuresOfTheDead || last < 2)
        return false;
    const auto one = static_cast<int64>(sectorSize_);
    return request(sector, bytes.first(sectorSize_)) < one &&
           request(sector + last, bytes.last(sectorSize_)) < one;
}

/// Asks for a piece, unless that has given nothing already, and for smaller ones of what fails.
uint32 ZCustomMedia::narrowDown(uint64 sector, std::span<uint8> bytes, bool gaveNothing) {
    uint32 given = 0;
    while (!bytes.empty()) {
        const int64 got = std::exchange(gaveNothing, false) ? 0 : request(sector, bytes);
        const auto good =
            static_cast<uint32>(static_cast<uint64>(std::max<int64>(got, 0)) / sectorSize_);
        given += good;
        sector += good;
        bytes = bytes.subspan(std::size_t{good} * sectorSize_);
        if (bytes.empty())
            break;
        const std::size_t left = bytes.size() / sectorSize_;
        if (good == 0 && left > 1) {
            const auto half = bytes.first(left / 2 * sectorSize_);
            return given + narrowDown(sector, half, false) +
                   narrowDown(sector + left / 2, bytes.subspan(half.size()), false);
        }
        const auto one = bytes.first(sectorSize_);
        if (good == 0 || request(sector, one) < static_cast<int64>(sectorSize_))
            giveUp(sector, one);
        else
            ++given;
        ++sector;
        bytes = bytes.subspan(sectorSize_);
    }
    return given;
}

void ZCustomMedia::giveUp(uint64 sector, std::span<uint8> bytes) {
    std::memset(bytes.data(), 0, bytes.size());
    const uint64 sectors = bytes.size() / sectorSize_;
    unreadableSectors_ += sectors;
    if (!isGone_)
        refuse(sector, sectors);
}

void ZCustomMedia::refuse(uint64 sector, uint64 sectors) {
    if (memories_ == 0)
        return;
    auto range = refused_.upper_bound(sector);
    if (range != refused_.begin() && std::prev(range)->second >= sector)
        range = std::prev(range);
    else
        range = refused_.emplace_hint(range, sector, sector);
    range->second = std::max(range->second, sector + sectors);
}

/// In the middle of nothing: gives up what of [`sector`, `end`) lies before the first sector that
/// is given, taking it that these do not take turns.
void ZCustomMedia::refuseTheDead(uint64 sector, uint64 end) {
    std::vector<uint8> one(sectorSize_);
    const auto isGiven = [&](uint64 at) { return request(at, one) == int64{sectorSize_}; };
    uint64 bad = sector;
    for (uint64 good = end; good - bad > 1;) {
        // The last one first: mostly, all are bad.
        const uint64 middle = good == end ? end - 1 : bad + (good - bad) / 2;
        if (!isGiven(middle))
            bad = middle;
        else
            good = middle;
    }
    refuse(sector, bad + 1 - sector);
}

/// The first refused sector from `sector` on.
uint64 ZCustomMedia::refusedFrom(uint64 sector) const {
    const auto next = refused_.upper_bound(sector);
    if (next != refused_.begin() && std::prev(next)->second > sector)
        return sector;
    return next == refused_.end() ? std::numeric_limits<uint64>::max() : next->first;
}

/// The end of the refused range that `sector` is in.
uint64 ZCustomMedia::refusedTo(uint64 sector) const {
    return std::prev(refused_.upper_bound(sector))->second;
}

bool ZCustomMedia::fillFromWindow(uint64 sector, std::span<uint8> bytes) {
    const auto sectors = static_cast<uint32>(bytes.size() / sectorSize_);
    const uint32 capacity = kWindowBytes / sectorSize_;
    const uint64 end = sector + sectors;
    if (sectors > capacity / 2)
        return false;
    if (sector < windowSector_ || end > windowSector_ + windowSectors_) {
        // The window follows a walk: it moves only to what lies a little further than the last
        // read. A single jump (to an extension record, say) is read past it.
        const uint64 last = std::exchange(lastWindowedEnd_, end);
        if (sector < last || sector - last > capacity)
            return false;
        if (sector < badWindowEnd_ || failuresInARow_ >= kFailuresOfTheDead)
            return fillFromGroup(sector, bytes);
        window_.resize(static_cast<std::size_t>(capacity) * sectorSize_);
        const int64 got = request(sector, window_);
        windowSector_ = sector;
        windowSectors_ = got < 0 ? 0 : static_cast<uint32>(static_cast<uint64>(got) / sectorSize_);
        if (windowSectors_ < capacity)
            badWindowEnd_ = sector + capacity; // By groups here, once what came is used up.
        if (windowSectors_ < sectors)
            return fillFromGroup(sector, bytes);
    }
    lastWindowedEnd_ = end;
    std::memcpy(bytes.data(), window_.data() + (sector - windowSector_) * sectorSize_,
                bytes.size());
    return true;
}

/// Serves a read from the group that it lies in, as far as the device gives that; the rest of the
/// group is left for reads that want it.
bool ZCustomMedia::fillFromGroup(uint64 sector, std::span<uint8> bytes) {
    const uint64 groupSectors = std::max(kGroupBytes / sectorSize_, 1U);
    const uint64 first = sector / groupSectors * groupSectors;
    if (groupSector_ != first) {
        groupSector_ = first;
        group_.resize(static_cast<std::size_t>(groupSectors) * sectorSize_);
        const int64 got = request(first, group_);
        groupSectors_ =
            static_cast<uint32>(static_cast<uint64>(std::max<int64>(got, 0)) / sectorSize_);
        groupIsProbed_ = false;
    }
    const uint64 end = sector + bytes.size() / sectorSize_;
    if (end > first + groupSectors_) {
        if (!groupIsProbed_ && failuresInARow_ >= kFailuresOfTheDead) {
            groupIsProbed_ = true;
            const uint64 failedAt = first + groupSectors_;
            const uint64 from = std::max(sector, failedAt);
            const bool isGiven =
                from != failedAt && request(from, std::span(group_).last(sectorSize_)) > 0;
            if (!isGiven)
                refuseTheDead(from, first + groupSectors);
        }
        return false;
    }
    std::memcpy(bytes.data(), group_.data() + (sector - groupSector_) * sectorSize_, bytes.size());
    return true;
}

ZCustomMedia::RefusalMemory::~RefusalMemory() {
    if (--media_.memories_ == 0)
        media_.refused_.clear();
}

ZCustomMedia::ReadWindow::ReadWindow(ZCustomMedia& media) : memory_(media), media_(media) {
    ++media_.windows_;
    media_.groupSector_ = kNoGroup;
    media_.failuresInARow_ = 0;
    media_.windowSectors_ = 0;
    media_.lastWindowedEnd_ = 0;
    media_.badWindowEnd_ = 0;
}

ZCustomMedia::ReadWindow::~ReadWindow() {
    if (--media_.windows_ > 0)
        return;
    media_.group_.clear();
    media_.group_.shrink_to_fit();
    media_.window_.clear();
    media_.window_.shrink_to_fit();
}

} // namespace kova
