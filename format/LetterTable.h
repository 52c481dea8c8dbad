#pragma once

#include "format/FileIdentity.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace format {

/// What stands behind a letter: a block device, or a stretch of an image file.
struct VolumeSource {
    bool isImage = false;
    /// An image: its file. A device: its number, and the count of its media so far, so that a
    /// card or stick put in later is another device.
    FileIdentity identity;
    std::uint64_t offset = 0; ///< Bytes from the start of the image.
    std::uint64_t length = 0; ///< Bytes; of an image only.
    int partition = 0;        ///< 1-based number in the image's partition table; 0: the whole.
    std::wstring path;        ///< Image file or device node.
    /// Tells a volume from others after its device was unplugged and plugged in again; empty when
    /// nothing does.
    std::string fingerprint;

    [[nodiscard]] bool isSame(const VolumeSource& other) const {
        return isImage == other.isImage && identity == other.identity && offset == other.offset;
    }
};

/// Which letter stands for what. A letter once given stays with its source; it goes to another
/// only when every letter is given, its source is gone and nobody holds it. May be used from any
/// thread.
class LetterTable {
public:
    using IsGone = std::function<bool(const VolumeSource&)>;

    /// A source and the claim on its letter, which lasts as long as `lease` lives.
    struct Held {
        VolumeSource source;
        std::shared_ptr<const void> lease;
    };

    /// `order`: the letters, in the order in which they are given.
    explicit LetterTable(std::string_view order);

    /// The letter of `source`, given now if it has none; its path and length are kept up to date.
    /// A source with the fingerprint of one that is gone takes over its letter. Bit n of
    /// `blocked` keeps the letter 'A' + n from being given. Nothing when all are taken.
    std::optional<char> assign(const VolumeSource& source, const IsGone& isGone,
                               std::uint32_t blocked = 0);

    [[nodiscard]] std::optional<VolumeSource> find(char letter) const;

    /// As `find`, keeping the letter from being given to anything else.
    [[nodiscard]] std::optional<Held> hold(char letter) const;

    /// Every letter given, in the order of the alphabet.
    [[nodiscard]] std::vector<std::pair<char, VolumeSource>> all() const;

private:
    struct Entry {
        char letter = 0;
        std::optional<VolumeSource> source;
        std::shared_ptr<const void> lease; ///< Shared with those who hold the letter.

        [[nodiscard]] bool isHeld() const { return lease.use_count() > 1; }
    };

    static std::optional<char> give(Entry& entry, const VolumeSource& source);
    [[nodiscard]] const Entry* entryOf(char letter) const;

    mutable std::mutex mutex_;
    std::vector<Entry> entries_; ///< One per letter, in the order of giving.
};

} // namespace format
