#pragma once

#include "engine/ByteRange.h"
#include "engine/ClusterLayout.h"
#include "engine/ExtractReport.h"
#include "engine/FileState.h"
#include "engine/VolumeNote.h"
#include "engine/ZCustomMedia.h"
#include "engine/ZFileTree.h"
#include "engine/ZStream.h"

#include <functional>
#include <optional>
#include <vector>

namespace kova {

/// Rules beyond the engines' classic ones, for what today's drives hold. All off unless set.
struct ScanOptions {
    /// NTFS: a record without a Win32 name is listed under its first POSIX name. Volumes without
    /// 8.3 names, the default since Windows 8, and all files written from Linux need it.
    bool posixNames = false;
    /// FAT: an entry whose creation or access date is unset (0) is listed, that time being 0.
    /// Cameras and recorders write such entries.
    bool unsetDates = false;
    /// NTFS: what a file's record says in full. Off, an attribute that begins in the base record
    /// ends there even if extension records continue it, the first stream found stands for the
    /// unnamed one, the length of a sparse run is cut to 32 bits, and a file counts as extracted
    /// whose run list has gaps, which ends beyond the device, or whose clusters are all in use;
    /// each can give a file that is not what was deleted. Compressed files are then failures, a
    /// folder's record stands for every folder that ever had it, and damage to what only some files
    /// need ends the whole volume. On FAT: a file that begins nowhere, leaves the device, or lies
    /// where others lie now, comes out as if it were whole.
    bool wholeFiles = false;
    /// NTFS: the named streams of files and folders are listed beside them, as "file_stream".
    bool streams = false;

    /// NTFS: what was deleted from Windows' recycle bin gets its name and folder back, see
    /// `RecycleBin`.
    bool recycleBin = false;
    /// With `recycleBin`: what still lies there is listed as well, though it is not deleted.
    bool liveRecycleBin = false;

    /// FAT: what volumes are like beyond the classic rules. Names: a long name ends at its first
    /// 0, which keeps what pads names of 248 to 254 characters out of them; one that cannot be the
    /// short entry's is not taken; a lost suffix comes from the short name, whose bytes are
    /// characters of the system's code page. Entries: any date is taken. The volume: the root
    /// directory is walked even where the FAT's first entry has been wiped, the second FAT stands
    /// in for a first one that is unreadable or empty, the last cluster counts, and what has the
    /// fields of FAT32 is FAT32.
    bool lenientFat = false;
    /// FAT, and exFAT where it does not say otherwise: times are what local clocks showed, and are
    /// told in UTC.
    bool localTimes = false;
    /// FAT: files are looked for where they really lay. The high half of a first cluster, which
    /// Windows clears, is found again; clusters that other files held before are stepped over, and
    /// so are those of other deleted files where content says so; no
    /// entry is lost to another, and each has an id of its own.
    bool findPlaces = false;

    /// A volume that the system does not know, or whose engine cannot use it, is recognised by what
    /// it says itself: see `recognizeVolume`. That is also what finds exFAT.
    bool recognized = false;

    /// What the programs use.
    static ScanOptions today() {
        ScanOptions options;
        options.posixNames = true;
        options.unsetDates = true;
        options.wholeFiles = true;
        options.recycleBin = true;
        options.lenientFat = true;
        options.recognized = true;
        options.localTimes = true;
        options.findPlaces = true;
        return options;
    }
};

/// One file system on a media: finds what was deleted and reads it out.
///
/// Set up with `init` once, then `scan` once, then `extract` any number of times, by one thread
/// at a time. Whatever the volume holds, each of them ends in time and memory bounded by the
/// volume's size.
class ZVolume {
public:
    /// `media` is opened, not owned, and outlives the calls made here.
    explicit ZVolume(ZCustomMedia* media) : media_(media) {}

    ZVolume(const ZVolume&) = delete;
    ZVolume& operator=(const ZVolume&) = delete;
    virtual ~ZVolume() = default;

    /// Reads the boot record and the geometry. Throws (the `int` 0 or an empty structure) when
    /// the volume cannot be used.
    virtual bool init() = 0;

    /// Always true.
    virtual bool isReady() { return true; }

    /// Walks the file system and stores what it finds in `tree`. Exceptions of the progress
    /// callback pass out.
    virtual void scan(ZFileTree* tree) = 0;

    /// Writes a node's data to `out` at its position; false when that did not succeed, in which
    /// case `out` may hold a part.
    virtual bool extract(const ZFileTreeNode& node, ZStream* out) = 0;

    /// How much of a file is still its own, without reading its content. `Unknown` where an engine
    /// cannot tell. After `scan`; changes nothing.
    [[nodiscard]] virtual FileState assess(const ZFileTreeNode& node);

    /// The same for a file that nothing seems to have been written over, after a look at its first
    /// and last bytes: `Erased`, `NotWhatItsNameSays`, or what `assess` says. Reads from the media.
    [[nodiscard]] FileState assessContent(const ZFileTreeNode& node);

    /// The same, but follows the whole content by the structure that its suffix promises, if that
    /// tells right from wrong: `Inconsistent` when it breaks.
    [[nodiscard]] FileState assessWholeContent(const ZFileTreeNode& node);

    /// Where the clusters lie. After `init`.
    [[nodiscard]] virtual ClusterLayout clusterLayout() const;

    /// Whether a live file, or the file system itself, holds the cluster with this index of
    /// `clusterLayout`. False where nothing tells.
    [[nodiscard]] virtual bool isInUse(uint64 index) const;

    /// Where a file's content lies, in its order and cut to its size. Empty when it lies in a
    /// record, has to be expanded, or is not known. After `scan`; changes nothing.
    [[nodiscard]] virtual std::vector<ByteRange> placeOf(const ZFileTreeNode& node);

    /// The byte of the media at which a file's content begins, however little is known of the rest
    /// of it. Nothing when that is not known. After `scan`; changes nothing.
    [[nodiscard]] virtual std::optional<uint64> startOf(const ZFileTreeNode& node);

    /// What the last `extract` has found out; everything unset before the first.
    [[nodiscard]] const ExtractReport& extractReport() const { return extractReport_; }

    /// What the volume could not be read as it says itself, in the order it was met, each once.
    [[nodiscard]] const std::vector<VolumeNote>& notes() const { return notes_; }

    /// Replaces the callback that progress is reported to: 0 to 1; its answer false asks the
    /// engine to stop.
    void setProgressCallback(std::function<bool(double)> callback);

    /// Stores and reports a progress. Returns the callback's answer, true without one. Above 1
    /// it throws `std::runtime_error`.
    bool setProgress(double value);

    [[nodiscard]] double progress() const { return progress_; }

    [[nodiscard]] ZCustomMedia* media() const { return media_; }

    /// Takes effect on what is scanned and extracted from now on.
    void setScanOptions(const ScanOptions& options) { options_ = options; }

    [[nodiscard]] const ScanOptions& scanOptions() const { return options_; }

protected:
    void addNote(VolumeNote note);

    /// Keeps why the file being extracted is not complete; only the first reason counts.
    void setShortfall(ExtractReport::Reason reason);

    /// To be reset by each `extract`, and filled by it.
    ExtractReport extractReport_;

    /// The closing steps of every scan: while parents are missing, `resolve(id)` is asked for
    /// each in ascending order whether it could bring the parent in; if not, its children go to
    /// the lost folder. Progress rises by 0.01 a pass while below 0.99.
    void collectOrphans(ZFileTree& tree, const std::function<bool(int64)>& resolve);

    /// Reads `count` sectors of `bytesPerSector` bytes, as the file system counts them, starting
    /// at `sector`, whatever the media's own sector size. What cannot be read is zero.
    void readSectors(uint64 sector, uint32 count, uint32 bytesPerSector, uint8* buffer);

private:
    ZCustomMedia* media_;
    std::function<bool(double)> progressCallback_;
    double progress_ = 0.0;
    ScanOptions options_;
    std::vector<VolumeNote> notes_;
};

} // namespace kova
