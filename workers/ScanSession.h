#pragma once

#include "engine/search/SearchOptions.h"
#include "workers/ScannedVolume.h"

#include <functional>
#include <memory>
#include <string>

/// One scan of one drive: opens it, chooses its engine, fills a tree and says how that ended.
///
/// `open`, then `prepare`, then `scan`, each once and only after the one before has succeeded, in
/// the thread that made the session. Nothing is thrown.
class ScanSession {
public:
    enum class End {
        Done,      ///< So far: nothing has gone wrong.
        Stopped,   ///< The watcher asked for it. What was found until then is there.
        Removed,   ///< The drive went away while it was scanned. The same.
        BrokenOff, ///< The engine gave up in the middle. The same.

        // Nothing could be scanned.
        NoRights,     ///< To read the drive below its file system.
        Gone,         ///< The drive is not there, or not any more.
        NoSectorSize, ///< The drive does not tell the size of its sectors.
        Unreadable,   ///< The drive does not give what is needed; see `errorText`.
        NotSupported, ///< There is no engine for what it holds; see `fileSystem`.
        Damaged,      ///< No engine can make use of it; there may be a volume all the same.
    };

    /// Called before every request to the drive, every few milliseconds while one takes its time,
    /// and whenever the engine reports, with a progress of 0 to 1. Its answer false asks to stop.
    /// Must not throw.
    using Watcher = std::function<bool(double progress)>;

    explicit ScanSession(const kova::ScanOptions& options, Watcher watcher);
    ScanSession(const ScanSession&) = delete;
    ScanSession& operator=(const ScanSession&) = delete;
    ~ScanSession() = default;

    /// Each returns whether one can go on; if not, `end` tells why.
    bool open(char letter);
    bool prepare();
    bool scan();

    /// Searches the whole drive for what its file system does not lead to, and adds it to the tree.
    /// After `scan`, however that ended, or after `open` or `prepare` have found a drive without a
    /// file system that can be used. From then on `volume` gives out what was found too.
    bool search(const kova::SearchOptions& options);

    /// Whether there is a drive to search.
    [[nodiscard]] bool canSearch() const {
        return hasScanned() || end_ == End::NotSupported || end_ == End::Damaged;
    }

    [[nodiscard]] End end() const { return end_; }

    /// Whether there was a scan, however it ended.
    [[nodiscard]] bool hasScanned() const { return end_ < End::NoRights; }

    /// The system's own words for the last request that failed; empty without one.
    [[nodiscard]] std::wstring errorText() const;

    /// What the drive says it holds, as Windows names it; empty when that is not known.
    [[nodiscard]] std::string fileSystem() const;

    /// May be given a filter before `scan`.
    [[nodiscard]] kova::ZFileTree& tree() const { return *found_.tree(); }

    /// Null before `open`, and when there is no engine for the drive.
    [[nodiscard]] kova::ZVolume* volume() const { return found_.volume(); }

    [[nodiscard]] kova::ZCustomMedia& media() const { return *found_.media(); }

    /// Gives all of it away; the session is of no use afterwards.
    [[nodiscard]] ScannedVolume take();

private:
    /// Unwinds what reads from the drive once the watcher has asked to stop.
    struct StopRequest {};

    class Watched;

    void onRead();
    bool onProgress(double value);
    void watchProgress();
    bool initialise();
    bool recognize();
    bool endWith(End end);
    [[nodiscard]] End whyNot(End otherwise) const;
    [[nodiscard]] bool isGone() const;
    [[nodiscard]] bool isOurs() const;

    kova::ScanOptions options_;
    Watcher watcher_;
    ScannedVolume found_;
    End end_ = End::Done;
    double progress_ = 0.0;
    bool stopped_ = false;
    bool isSearching_ = false;
};
