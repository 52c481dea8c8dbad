#pragma once

#include "engine/search/SearchForecast.h"
#include "engine/search/SearchOptions.h"
#include "engine/search/ZDeepSearch.h"
#include "workers/ScannedVolume.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

/// One scan of one drive: opens it, chooses its engine, fills a tree and says how that ended.
///
/// `open`, then `prepare`, then `scan`, each once and only after the one before has succeeded, by
/// one thread at a time. Nothing is thrown.
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
        Unreadable,   ///< The drive does not give what is needed; see `failure`.
        NotSupported, ///< There is no engine for what it holds; see `fileSystem`.
        Damaged,      ///< No engine can make use of it; there may be a volume all the same.
    };

    /// Called before every request to the drive, every few milliseconds while one takes its time,
    /// and whenever the engine reports, with a progress of 0 to 1. Its answer false asks to stop.
    /// Must not throw.
    using Watcher = std::function<bool(double progress)>;

    explicit ScanSession(const kova::ScanOptions& options, Watcher watcher);

    /// Goes on with what an earlier session has given away, as if it had scanned it.
    ScanSession(const kova::ScanOptions& options, ScannedVolume found);

    ScanSession(const ScanSession&) = delete;
    ScanSession& operator=(const ScanSession&) = delete;
    ~ScanSession() = default;

    /// Replaces the watcher; not while anything runs.
    void setWatcher(Watcher watcher) { watcher_ = std::move(watcher); }

    /// Each returns whether one can go on; if not, `end` tells why.
    bool open(char letter);
    bool prepare();
    bool scan();

    /// Searches the whole drive for what its file system does not lead to, and adds it to the tree.
    /// After `scan`, however that ended, or after `open` or `prepare` have found a drive without a
    /// file system that can be used. From then on `volume` gives out what was found too.
    ///
    /// Its watcher's answer false breaks it off: the drive is read no more. `finishSearch` ends it
    /// softly. One that was ended so is gone on with, if it had not read all. `keeping` says where
    /// it begins, and who is told how far it has come.
    bool search(const kova::SearchOptions& options, kova::SearchKeeping keeping = {});

    /// What tells the drive from all others, when it could be read; after `scan`, or what stands
    /// for it before `search`.
    [[nodiscard]] std::optional<kova::SearchedVolume> searchedVolume();

    /// Lets a running search make files of what it has found until now, and end. By any thread.
    void finishSearch() { isFinishing_ = true; }

    /// While a search runs, and in its thread; null otherwise.
    [[nodiscard]] const kova::ZDeepSearch* runningSearch() const { return search_; }

    /// Whether the last search was ended before it had read all.
    [[nodiscard]] bool canGoOnSearching() const;

    /// What a search of the drive would take, told in no more than a few seconds, whatever the
    /// drive does. Where `canSearch`.
    [[nodiscard]] kova::SearchForecast forecast();

    /// Whether there is a drive to search.
    [[nodiscard]] bool canSearch() const {
        return hasScanned() || end_ == End::NotSupported || end_ == End::Damaged;
    }

    [[nodiscard]] End end() const { return end_; }

    /// Whether there was a scan, however it ended.
    [[nodiscard]] bool hasScanned() const { return end_ < End::NoRights; }

    /// Why the last request to the drive failed.
    [[nodiscard]] const platform::Failure& failure() const;

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
    [[nodiscard]] bool mayReadOn();
    bool onProgress(double value);
    void watchProgress();
    bool initialise();
    bool recognize();
    bool endWith(End end);
    [[nodiscard]] End whyNot(End otherwise) const;
    [[nodiscard]] bool isOurs() const;

    kova::ScanOptions options_;
    bool stopped_ = false;
    std::atomic<bool> isFinishing_{false};
    bool isHanging_ = false; ///< The drive did not answer the last request in time.
    End end_ = End::Done;
    Watcher watcher_;
    ScannedVolume found_;
    double progress_ = 0.0;
    kova::ZDeepSearch* search_ = nullptr; ///< While it runs; it is the volume.
    /// Memory that a scan leaves for what is done with what it has found, should it run out.
    std::unique_ptr<char[]> reserve_;
    kova::uint64 lastRequest_ = 0; ///< The one that the finishing search waits for.
    std::chrono::steady_clock::time_point lastRequestBegun_;
};
