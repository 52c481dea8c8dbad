#pragma once

#include "engine/ZFileStream.h"

#include <functional>

/// The output file that a volume extracts into. It ends an extraction that is to end, and
/// remembers whether it was the output that failed, which the volume's answer does not tell.
class OutputStream : public kova::ZFileStream {
public:
    /// What a write throws once the extraction is to end.
    struct Interrupted {};

    /// No file is open. `isToEnd` is asked before every write.
    explicit OutputStream(std::function<bool()> isToEnd);

    kova::uint64 write(const void* buffer, kova::uint32 count) override;
    kova::uint64 fill(kova::uint8 value, kova::uint32 count) override;
    void fillZeros(kova::int64 count) override;
    void resize(kova::int64 newSize) override;

    /// Whether writing has failed. `file().failure()` tells why.
    [[nodiscard]] bool failed() const { return failed_; }

    /// The end of what was written furthest from the start, in bytes.
    [[nodiscard]] kova::int64 writtenEnd() const { return writtenEnd_; }

private:
    /// Does one operation of the base class that writes.
    template <typename Operation>
    auto writing(Operation operation);

    /// Takes note of `count` bytes written.
    void moved(kova::uint32 count);

    std::function<bool()> isToEnd_;
    bool failed_ = false;
    kova::int64 writtenEnd_ = 0;
    kova::uint64 unsynced_ = 0; ///< Bytes written since the file was last waited for.
};
