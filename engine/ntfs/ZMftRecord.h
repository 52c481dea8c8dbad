#pragma once

#include "engine/ntfs/NtfsLayout.h"
#include "engine/ntfs/ZAttribute.h"
#include "engine/types.h"

#include <deque>
#include <functional>
#include <list>
#include <string>
#include <unordered_map>
#include <vector>

namespace kova {

class ZNtfsVolume;

/// One file record with its attributes, those in extension records included.
///
/// Reads the record afresh when made; attributes are found on the first lookup. Everything can
/// throw: the generic failure for what the record says and cannot be, `EOutOfRange` for what runs
/// off its end.
class ZMftRecord {
public:
    struct EOutOfRange {};

    /// Reads record `number`. `volume` is not owned. An unreadable record, one that is no file
    /// record, and an extension record are the generic failure.
    ZMftRecord(ZNtfsVolume* volume, int64 number);
    ZMftRecord(const ZMftRecord&) = delete;
    ZMftRecord& operator=(const ZMftRecord&) = delete;
    ~ZMftRecord() = default;

    /// The `index`-th attribute of a type (and, if `name` is not null, of exactly that name);
    /// null when there is none. Owned by the record.
    ZAttribute* findAttribute(uint32 type, uint32 index = 0, const std::wstring* name = nullptr);

    /// The attribute that holds the file's content: the first $DATA, or, with the option
    /// `wholeFiles`, the unnamed one with all its extents. Null when there is none.
    ZAttribute* findData();

    /// Adds to `attribute`, which begins in the base record, the extents that extension records
    /// hold. `found`, if set, is called after each.
    void completeExtents(ZAttribute& attribute,
                         const std::function<void(const ZAttribute::Part&)>& found = {});

    /// Whether the record is in use; false: its file was deleted.
    [[nodiscard]] bool isInUse() const;

    /// Whether it is a directory; false also without standard information.
    [[nodiscard]] bool isDirectory();

    /// False when the record has none; `ZAttribute::EInvalid` when it is not resident.
    bool readStandardInformation(ntfs::StandardInformation& out);

    /// The name that people know the file by: the first Win32 one, or, with the option
    /// `posixNames`, else the first POSIX one. Empty when there is none.
    const std::wstring& fileName();

    /// Record number of the directory that the chosen name is in, -1 when there is none.
    int64 parentReference();

private:
    ntfs::RecordBuffer& readExtension(int64 number);
    void parseAttributes();
    [[nodiscard]] bool isAttributeListValid() const;
    ZAttribute* findListed(uint32 type, uint32 index, const std::wstring* name);
    /// Fills `found` from an extension record; false when it has no such attribute.
    bool findInExtension(const ntfs::RecordBuffer& record, uint32 type, uint32 index,
                         const std::wstring* name, ZAttribute::Part& found) const;
    [[nodiscard]] bool isExtensionOfThis(const ntfs::RecordBuffer& record) const;
    bool takeName(ZAttribute& attribute, bool posix);
    bool chooseName(bool posix);
    [[nodiscard]] uint16 flags() const;

    ZNtfsVolume* volume_;
    int64 number_;
    /// The base record, then every extension record read. Attributes point into them.
    std::list<ntfs::RecordBuffer> buffers_;
    std::unordered_map<int64, ntfs::RecordBuffer*> extensions_;
    std::deque<ZAttribute> attributes_;
    std::vector<uint8> attributeList_;
    std::wstring name_;
    int64 parentRef_ = -1;
};

} // namespace kova
