#pragma once

#include "engine/types.h"
#include "tests/support/TempDir.h"

#include <filesystem>
#include <memory>
#include <string>

namespace kova::bench {

/// An NTFS volume in a file, larger than is handy in memory.
class NtfsImage {
public:
    static constexpr uint32 kClusterBytes = 4096;
    static constexpr uint32 kRecordBytes = 1024;
    static constexpr int64 kMftLcn = 16;

    /// A volume of `records` file records, the first of `deletedShare` in ten of which are of
    /// deleted files with `contentBytes` of resident content, in one folder per 500 records.
    static NtfsImage ofRecords(uint32 records, uint32 deletedInTen, std::size_t contentBytes);

    /// A volume with one deleted file, record 40, of `clusters` clusters: in one piece, or in
    /// pieces of one cluster that lie in the file's order with a cluster between them.
    static NtfsImage ofFile(int64 clusters, bool fragmented);

    [[nodiscard]] std::wstring path() const;

    [[nodiscard]] int64 sizeBytes() const {
        return static_cast<int64>(std::filesystem::file_size(path_));
    }

private:
    NtfsImage() : path_(folder_->path() / "volume.img") {}

    std::shared_ptr<test::TempDir> folder_ = std::make_shared<test::TempDir>();
    std::filesystem::path path_;
};

} // namespace kova::bench
