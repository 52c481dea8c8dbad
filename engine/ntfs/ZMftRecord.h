#pragma once

#include "engine/ntfs/NtfsLayout.h"
#include "engine/ntfs/NtfsStream.h"
#include "engine/ntfs/ZAttribute.h"
#include "engine/types.h"

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

    /// By today's rules (see `ScanOptions::wholeFiles`), for which attributes are looked up as
    /// they are asked for and damage costs what it hit.
    ///
    /// Describes the stream of this type and name; false when the records never tell of one. The
    /// value of a resident one is valid until the next call of this group.
    bool findStream(uint32 type, const std::wstring& name, NtfsStream& out);

    /// Names of the streams beside the file's content, each once.
    std::vector<std::wstring> streamNames();

    /// What stands behind the content, a tag of 0 when nothing does.
    ntfs::ReparsePoint reparsePoint();

    /// The extent of an attribute that begins at `firstVcn`, in this record or in the extension
    /// record `record`; missing when it is not there. Valid until the next call of this group.
    ntfs::AttributeHeader extentHeader(int64 record, uint32 type, const std::wstring& name,
                                       int64 firstVcn);

    /// The size that came with the file's name, often older than the file.
    [[nodiscard]] int64 sizeByName() const { return sizeByName_; }

    /// The sequence number that the chosen name gives its folder.
    [[nodiscard]] uint16 parentSequence() const { return parentSequence_; }

    /// The sequence number of this record.
    [[nodiscard]] uint16 sequence() const;

    /// Whether the record is in use; false: its file was deleted.
    [[nodiscard]] bool isInUse() const;

    /// Whether it is one of the volume's own indexes, which have no content.
    [[nodiscard]] bool isViewIndex() const;

    /// Whether it is a directory; false also without standard information.
    [[nodiscard]] bool isDirectory();

    /// False when the record has none; `ZAttribute::EInvalid` when it is not resident.
    bool readStandardInformation(ntfs::StandardInformation& out);

    /// The name that people know the file by: the first Win32 one, or, with the option
    /// `posixNames`, else the first POSIX one. Empty when there is none.
    const std::wstring& fileName();

    /// The same, given away: for who needs the record for nothing else that the name tells.
    std::wstring takeFileName();

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
    bool takeName(ZAttribute& attribute, bool posix);
    bool chooseName(bool posix);
    void chooseNameToday();
    bool considerName(std::span<const uint8> bytes);
    bool loadListToday();
    const ntfs::RecordBuffer* extensionToday(int64 number);
    template <typename Visit>
    void visitListed(uint32 type, Visit visit);
    [[nodiscard]] bool isToday() const;
    [[nodiscard]] uint16 flags() const;

    ZNtfsVolume* volume_;
    int64 number_;
    /// The base record, then every extension record read. Attributes point into them.
    std::list<ntfs::RecordBuffer> buffers_;
    std::unordered_map<int64, ntfs::RecordBuffer*> extensions_;
    std::list<ZAttribute> attributes_; ///< Costs nothing as long as none is asked for.
    std::vector<uint8> attributeList_;
    std::wstring name_;
    int64 parentRef_ = -1;
    uint16 parentSequence_ = 0;
    int64 sizeByName_ = 0;
    bool nameIsChosen_ = false;
    bool listIsLoaded_ = false;
    /// By today's rules, the one extension record that is kept.
    int64 extensionNumber_ = -1;
    ntfs::RecordBuffer extension_;
    bool extensionIsOurs_ = false;
};

} // namespace kova
