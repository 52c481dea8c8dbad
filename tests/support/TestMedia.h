#pragma once

#include "engine/ZCustomMedia.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <map>
#include <set>
#include <utility>
#include <vector>

namespace kova::test {

/// A volume in memory that can fail: whole sectors, or all at once as when it is unplugged.
class TestMedia : public ZCustomMedia {
public:
    explicit TestMedia(std::vector<uint8> bytes = {}, uint32 sectorSize = 512)
        : ZCustomMedia(sectorSize), bytes_(std::move(bytes)) {}

    [[nodiscard]] std::vector<uint8>& bytes() { return bytes_; }

    [[nodiscard]] uint64 sizeBytes() const override { return bytes_.size(); }

    [[nodiscard]] bool wasRemoved() const override {
        return requestsLeft_ == 0 || ZCustomMedia::wasRemoved();
    }

    void failSector(uint64 sector) { badSectors_.insert(sector); }

    /// Has requests fail as a whole that a bad sector lies in, as some systems do.
    void failAsAWhole() { givesWhatLiesBefore_ = false; }

    /// Gives at most so many bytes a request.
    void giveAtMost(uint64 bytes) { mostAtOnce_ = bytes; }

    /// Fails every request after `requests` more.
    void unplugAfter(int requests) { requestsLeft_ = requests; }

    [[nodiscard]] int requests() const { return requests_; }

    [[nodiscard]] uint64 bytesRead() const { return bytesRead_; }

    /// How often it was asked whether it is still there.
    [[nodiscard]] int presenceAsked() const { return presenceAsked_; }

    /// How often one sector was asked for alone, and failed, at most.
    [[nodiscard]] int mostRefusals() const {
        int most = 0;
        for (const auto& [sector, times] : refusals_)
            most = std::max(most, times);
        return most;
    }

protected:
    int64 readDevice(uint64 offset, std::span<uint8> bytes) override {
        ++requests_;
        if (requestsLeft_ == 0)
            return -1;
        if (requestsLeft_ > 0)
            --requestsLeft_;
        // As a disk fails: what lies before the bad sector is given, then nothing.
        uint64 end = offset + bytes.size();
        const auto bad = badSectors_.lower_bound(offset / sectorSize());
        if (bad != badSectors_.end() && *bad * sectorSize() < end) {
            refusals_[*bad] += bytes.size() == sectorSize() ? 1 : 0;
            if (*bad * sectorSize() <= offset || !givesWhatLiesBefore_)
                return -1;
            end = *bad * sectorSize();
        }
        bytes = bytes.first(static_cast<std::size_t>(std::min(end - offset, mostAtOnce_)));
        if (offset >= bytes_.size())
            return 0;
        const auto count = std::min<std::size_t>(bytes.size(), bytes_.size() - offset);
        std::memcpy(bytes.data(), bytes_.data() + offset, count);
        bytesRead_ += count;
        return static_cast<int64>(count);
    }

    [[nodiscard]] bool isPresent() const override {
        ++presenceAsked_;
        return requestsLeft_ != 0;
    }

private:
    std::vector<uint8> bytes_;
    std::set<uint64> badSectors_;
    std::map<uint64, int> refusals_; ///< By bad sector.
    mutable int presenceAsked_ = 0;
    bool givesWhatLiesBefore_ = true;
    uint64 mostAtOnce_ = std::numeric_limits<uint64>::max();
    int requestsLeft_ = -1; ///< Negative: never unplugged.
    int requests_ = 0;
    uint64 bytesRead_ = 0;
};

} // namespace kova::test
