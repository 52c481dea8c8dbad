#pragma once

#include "workers/ScanSession.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

/// The search of a whole drive in a thread of its own, so that nothing it does can hold a window
/// up.
class SearchRun {
public:
    /// How far it has come.
    struct Status {
        double progress = 0.0;     ///< 0 to 1.
        kova::uint64 searched = 0; ///< Bytes.
        kova::uint64 toSearch = 0; ///< Bytes; 0 while that is not known.
        kova::uint64 begunAt = 0;  ///< Bytes that an earlier search had come to.
        bool isReading = true;     ///< False: it makes files of what it has found.
        std::vector<std::pair<std::wstring, kova::uint64>> found; ///< By kind.
        std::chrono::steady_clock::duration elapsed{};
    };

    /// Begins. `session`, which has something to search, is not owned and is left alone until this
    /// is gone. `ended` is called in that thread.
    SearchRun(ScanSession& session, const kova::SearchOptions& options,
              std::function<void()> ended);
    SearchRun(const SearchRun&) = delete;
    SearchRun& operator=(const SearchRun&) = delete;

    /// Breaks off what still runs, and waits for it.
    ~SearchRun();

    /// Keeps what has been found, and ends soon.
    void finish() { session_.finishSearch(); }

    /// Ends at once; what has been found is of no use any more.
    void breakOff() { isBrokenOff_ = true; }

    [[nodiscard]] Status status() const;

private:
    bool onProgress(double progress);

    ScanSession& session_;
    const std::chrono::steady_clock::time_point begun_ = std::chrono::steady_clock::now();
    std::atomic<bool> isBrokenOff_{false};
    mutable std::mutex mutex_;
    Status status_; ///< Guarded by the mutex.
    std::thread thread_;
};
