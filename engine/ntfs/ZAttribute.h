#pragma once

#include "engine/ZStream.h"
#include "engine/ntfs/NtfsLayout.h"

#include <limits>
#include <string>
#include <vector>

namespace kova {

class ZNtfsVolume;

/// One attribute of a file record, in one extent or in several that lie in several records.
///
/// Refers to buffers of the `ZMftRecord` that made it and must not outlive it. A field that
/// leaves its buffer is the generic failure, wherever it is read.
class ZAttribute {
public:
    struct EInvalid {};

    /// One extent: its header, and the record that it lies in.
    struct Part {
        ntfs::AttributeHeader header;
        const ntfs::RecordBuffer* record = nullptr;
    };

    /// `volume` is not owned.
    ZAttribute(ZNtfsVolume* volume, Part first);

    /// Whether the first extent's header makes sense.
    [[nodiscard]] bool isValid() const;

    /// Bytes of content: the value's length, or the data size.
    [[nodiscard]] int64 dataSize() const;

    /// The attribute's name, empty for the unnamed one.
    [[nodiscard]] const std::wstring& getName();

    /// Appends the content to `out`, at most `limit` bytes of it, and returns how many that were.
    /// What throws leaves in `out` what had been read until then.
    uint64 readTo(ZStream& out, int64 limit = std::numeric_limits<int64>::max());

    /// The value of a resident attribute, where it lies. More than one extent is the generic
    /// failure, a value beyond the record's bytes in use `ZMftRecord::EOutOfRange`.
    [[nodiscard]] std::span<const uint8> residentValue() const;

    [[nodiscard]] uint32 type() const { return first_.header.type(); }

    [[nodiscard]] bool isResident() const { return first_.header.isResident(); }

    /// Continues the attribute with a further extent.
    void addPart(Part part) { further_.push_back(part); }

    [[nodiscard]] std::size_t partCount() const { return 1 + further_.size(); }

    [[nodiscard]] const Part& part(std::size_t index) const {
        return index == 0 ? first_ : further_[index - 1];
    }

private:
    class Reader;

    /// Most attributes have one extent, so the first needs no allocation.
    Part first_;
    std::vector<Part> further_;
    std::wstring name_;
    ZNtfsVolume* volume_;
    uint32 bytesPerCluster_;
    /// Most clusters to be read in one request.
    uint32 clustersPerRead_ = 256;
};

} // namespace kova
