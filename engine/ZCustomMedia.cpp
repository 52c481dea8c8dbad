#include "engine/ZCustomMedia.h"

#include "platform/Drives.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

namespace kova {

ZCustomMedia::ZCustomMedia(uint32 sectorSize)
    : sectorSize_(sectorSize), device_(std::make_shared<platform::Device>()) {}

bool ZCustomMedia::open(const wchar_t* path) {
    path_ = path;
    fileSystem_.reset();
    position_ = 0;
    unreadableSectors_ = 0;
    windowSectors_ = 0;
    // The one before may still be in use by a request that was given up.
    device_ = std::make_shared<platform::Device>();
    const auto opening = std::make_shared<platform::Device>();
    const auto isOpen = std::make_shared<bool>(false);
    patiently([opening, isOpen, where = path_] { *isOpen = opening->open(where); });
    device_ = opening;
    keepError();
    return *isOpen;
}

bool ZCustomMedia::close() {
    device_ = std::make_shared<platform::Device>();
    path_.clear();
    fileSystem_.reset();
    windowSectors_ = 0;
    return true;
}

bool ZCustomMedia::openDrive(char letter) {
    sectorSize_ = 0;
    error_ = platform::Error::None;
    errorText_.clear();
    const auto drive = std::make_shared<std::optional<platform::Drive>>();
    patiently([drive, letter] { *drive = platform::findDrive(letter); });
    if (!*drive)
        error_ = platform::Error::NotFound;
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

void ZCustomMedia::keepError() {
    error_ = device_->error();
    errorText_ = device_->errorText();
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
        keepError();
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
    if (windowOn_ && fillFromWindow(position_, bytes)) {
        position_ += sectors;
        return sectors;
    }
    const Filled filled = fill(position_, bytes);
    position_ += filled.covered;
    return filled.given;
}

ZCustomMedia::Filled ZCustomMedia::fill(uint64 sector, std::span<uint8> bytes) {
    if (readHook_)
        readHook_();
    const int64 got = readDevice(sector * sectorSize_, bytes);
    if (got == static_cast<int64>(bytes.size())) {
        const auto sectors = static_cast<uint32>(bytes.size() / sectorSize_);
        return {sectors, sectors};
    }
    if (got < 0 || sizeBytes() >= sector * sectorSize_ + bytes.size())
        return fillOneByOne(sector, bytes);
    // The volume ends here.
    std::memset(bytes.data() + got, 0, bytes.size() - static_cast<std::size_t>(got));
    const auto sectors = static_cast<uint32>(static_cast<uint64>(got) / sectorSize_);
    return {sectors, sectors};
}

ZCustomMedia::Filled ZCustomMedia::fillOneByOne(uint64 sector, std::span<uint8> bytes) {
    Filled filled;
    bool present = isPresent();
    for (std::size_t at = 0; at < bytes.size(); at += sectorSize_, ++sector, ++filled.covered) {
        const auto one = bytes.subspan(at, sectorSize_);
        int64 got = -1;
        if (present) {
            if (readHook_)
                readHook_();
            got = readDevice(sector * sectorSize_, one);
        }
        if (got == static_cast<int64>(one.size())) {
            ++filled.given;
            continue;
        }
        std::memset(one.data(), 0, one.size());
        ++unreadableSectors_;
        present = present && isPresent();
    }
    return filled;
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
        if (sector < last || sector - last > capacity || sector < badWindowEnd_)
            return false;
        if (readHook_)
            readHook_();
        window_.resize(static_cast<std::size_t>(capacity) * sectorSize_);
        const int64 got = readDevice(sector * sectorSize_, window_);
        windowSector_ = sector;
        windowSectors_ = got < 0 ? 0 : static_cast<uint32>(static_cast<uint64>(got) / sectorSize_);
        if (windowSectors_ < capacity)
            badWindowEnd_ = sector + capacity; // Sector by sector here, once what came is used up.
        if (windowSectors_ < sectors)
            return false;
    }
    lastWindowedEnd_ = end;
    std::memcpy(bytes.data(), window_.data() + (sector - windowSector_) * sectorSize_,
                bytes.size());
    return true;
}

ZCustomMedia::ReadWindow::ReadWindow(ZCustomMedia& media) : media_(media) {
    media_.windowOn_ = true;
    media_.windowSectors_ = 0;
    media_.lastWindowedEnd_ = 0;
    media_.badWindowEnd_ = 0;
}

ZCustomMedia::ReadWindow::~ReadWindow() {
    media_.windowOn_ = false;
    media_.window_.clear();
    media_.window_.shrink_to_fit();
}

} // namespace kova
