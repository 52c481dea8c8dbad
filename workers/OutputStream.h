#pragma once

#include "engine/ZFileStream.h"
#include "workers/ContentHash.h"

#include <QByteArray>

#include <functional>
#include <optional>

/// The output file that a volume extracts into. It ends an extraction that is to end, and
/// remembers whether it was the output that failed, which the volume's answer does not tell.
class OutputStream : public kova::ZFileStream {
public:
    /// What a write throws once the extraction is to end.
    struct Interrupted {};

    /// No file is open. `isToEnd` is asked before every write.
    explicit OutputStream(std::function<bool()> isToEnd);

    /// From now on the SHA-256 of what is written is reckoned. Before the first write.
    void keepHash();

    kova::uint64 write(const void* buffer, kova::uint32 count) override;
    kova::uint64 fill(kova::uint8 value, kova::uint32 count) override;
    void fillZeros(kova::int64 count) override;
    void resize(kova::int64 newSize) override;

    /// Whether writing has failed. `file().failure()` tells why.
    [[nodiscard]] bool failed() const { return failed_; }

    /// The end of what was written furthest from the start, in bytes.
    [[nodiscard]] kova::int64 writtenEnd() const { return writtenEnd_; }

    /// The SHA-256 of the file, 32 bytes. What was not written in its order is read once more, so
    /// this may take its time, and throws `Interrupted`. Empty without `keepHash`, and when the
    /// file cannot be read.
    [[nodiscard]] QByteArray sha256();

private:
    /// Does one operation of the base class that writes.
    template <typename Operation>
    auto writing(Operation operation);

    /// Takes note of `count` bytes written.
    void moved(kova::uint32 count);

    void throwIfToEnd() const;

    /// Whether what is written now follows on what the hash has.
    [[nodiscard]] bool isHashed();

    /// Adds what lies between the end of what the hash has and `end`, all of it `value`.
    void hashUpTo(kova::int64 end, kova::uint8 value);

    std::function<bool()> isToEnd_;
    bool failed_ = false;
    kova::int64 writtenEnd_ = 0;
    kova::uint64 unsynced_ = 0; ///< Bytes written since the file was last waited for.
    std::optional<ContentHash> hash_;
    bool isInOrder_ = true; ///< Nothing was written twice, and nothing left out.
};
