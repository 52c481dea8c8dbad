#pragma once

#include "engine/ZStream.h"
#include "engine/ntfs/NtfsLayout.h"

#include <span>
#include <vector>

namespace kova {

/// Expands what Windows has packed system files into, as it is written here from its begin on:
/// where each chunk ends, then the chunks. A damaged chunk costs itself.
///
/// It is made to be written to; all else is the generic failure.
class SystemUnpacker : public ZStream {
public:
    /// The content, of `size` bytes, goes to `out`, which is not owned. `packedSize`: bytes that
    /// will be written here.
    SystemUnpacker(ZStream& out, ntfs::ReparsePoint::Packing packing, uint64 size,
                   uint64 packedSize);

    /// Whether there can be such a file: the table of its chunks is not longer than what it is in.
    [[nodiscard]] bool isPossible() const { return isPossible_; }

    /// Gives zeros for chunks that have not arrived. Returns whether all did, and were whole.
    bool finish();

    uint64 write(const void* buffer, uint32 count) override;
    uint64 fill(uint8 value, uint32 count) override;
    void fillZeros(int64 count) override;
    int64 seek(int64 offset, int origin) override;
    uint64 read(void* buffer, uint32 count) override;
    int64 size() override;
    void resize(int64 newSize) override;

private:
    void take();
    [[nodiscard]] uint64 endOfChunk(uint64 chunk) const;
    void giveChunk(std::span<const uint8> packed);

    ZStream& out_;
    ntfs::ReparsePoint::Packing packing_;
    uint64 left_; ///< Bytes of the content that have not been given.
    uint64 packedSize_;
    std::size_t chunkBytes_;
    uint64 chunks_;
    std::size_t entryBytes_; ///< Of one end in the table.
    bool isPossible_;
    bool isGivenUp_ = false; ///< Nothing more is taken.
    bool isWhole_ = true;
    uint64 chunk_ = 0;    ///< The next one.
    uint64 position_ = 0; ///< Bytes of chunks that were taken.
    std::size_t tableBytes_ = 0;
    std::vector<uint8> table_;   ///< As far as it has arrived.
    std::vector<uint8> waiting_; ///< Bytes of chunks.
    std::vector<uint8> expanded_;
};

} // namespace kova
