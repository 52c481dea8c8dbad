#pragma once

#include "engine/PatientThread.h"
#include "engine/types.h"
#include "platform/Device.h"

#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace kova {

/// Read-only access to a volume in whole sectors.
///
/// Reading never fails towards the caller: what the device does not give is zero in the buffer.
/// A read that fails is narrowed down, so that one bad sector costs one sector, except where
/// nothing was given for long: there a group of sectors whose first and last are bad is given up.
/// `unreadableSectors` counts what stayed zero.
///
/// The position is shared state: a media is used by one thread at a time.
class ZCustomMedia {
public:
    /// `sectorSize` in bytes; `openDrive` replaces it, a media opened by path needs it here.
    explicit ZCustomMedia(uint32 sectorSize = 0);

    ZCustomMedia(const ZCustomMedia&) = delete;
    ZCustomMedia& operator=(const ZCustomMedia&) = delete;
    /// Closes the volume.
    virtual ~ZCustomMedia() = default;

    /// Opens a volume by its device path ("\\.\X:"), or another device or image; see
    /// `platform::Device`. The path is stored even when that fails.
    virtual bool open(const wchar_t* path);

    /// Closes the volume and forgets the path; returns whether nothing is open afterwards.
    virtual bool close();

    /// Reads `sectors` whole sectors at the position into `buffer` and moves past them, as far
    /// as the volume reaches. Returns the sectors that the device gave; the rest of the buffer
    /// is zero.
    virtual uint32 read(void* buffer, uint32 sectors);

    /// The media is read-only: does nothing and returns false.
    virtual bool write(const void* buffer, uint32 sectors);

    /// The sector that the next `read` starts at.
    virtual uint64 position();

    /// Moves to `sector`. Returns whether the low 32 bits of the new byte position are other
    /// than 0, true also when the move fails; callers do not look at it.
    virtual bool seek(uint64 sector);

    /// Bytes that the volume holds, 0 when unknown.
    [[nodiscard]] virtual uint64 sizeBytes() const;

    /// Opens the drive with this letter: learns its sector size, then opens "\\.\X:". False when
    /// either fails, typically for want of rights (see `failure`, which is none when the drive is
    /// there but does not tell its sector size).
    bool openDrive(char letter);

    /// The name of the file system that the drive opened by letter holds, as Windows names it, so
    /// that it need not be asked for again; nothing when another path was opened.
    [[nodiscard]] const std::optional<std::string>& fileSystem() const { return fileSystem_; }

    /// The path given to `open`, empty when closed.
    [[nodiscard]] std::wstring path() const { return path_; }

    /// Bytes per sector; 0 until `openDrive`, unless given at construction.
    [[nodiscard]] uint32 sectorSize() const { return sectorSize_; }

    /// Two settings that the NTFS scan makes; no operation of the media reads them.
    void setFlags(uint8 a, uint8 b) {
        flagA_ = a;
        flagB_ = b;
    }

    /// Sectors that the device refused to give since `open`.
    [[nodiscard]] uint64 unreadableSectors() const { return unreadableSectors_; }

    /// Requests made to the device since `open`, that under way too.
    [[nodiscard]] uint64 deviceRequests() const { return requests_; }

    /// Why the last open or device read failed.
    [[nodiscard]] const platform::Failure& failure() const { return failure_; }

    /// Whether it failed because the device has been removed.
    [[nodiscard]] virtual bool wasRemoved() const {
        return failure_.kind == platform::Error::DeviceGone;
    }

    /// Called before every request to the device, and every few milliseconds while one takes its
    /// time, so that an engine that reports nothing while it works can be watched, and a disk that
    /// hangs cannot hold its reader up. What it throws passes out of the read or the opening. With
    /// a hook, requests that have to wait for the device are made in another thread. Empty: none.
    void setReadHook(std::function<void()> hook) { readHook_ = std::move(hook); }

    /// While one lives, sectors that the device has refused are not asked for again: a scan comes
    /// by some places more than once, and a failing drive takes seconds to refuse. They nest.
    class RefusalMemory {
    public:
        explicit RefusalMemory(ZCustomMedia& media) : media_(media) { ++media_.memories_; }

        RefusalMemory(const RefusalMemory&) = delete;
        RefusalMemory& operator=(const RefusalMemory&) = delete;
        ~RefusalMemory();

    private:
        ZCustomMedia& media_;
    };

    /// While one lives, small reads that go forward through a region are served from windows of
    /// `kWindowBytes`, so that a walk over many records costs few device requests. Reads
    /// elsewhere are not affected. They nest: a walk within another one begins anew.
    class ReadWindow {
    public:
        explicit ReadWindow(ZCustomMedia& media);
        ReadWindow(const ReadWindow&) = delete;
        ReadWindow& operator=(const ReadWindow&) = delete;
        ~ReadWindow();

    private:
        RefusalMemory memory_;
        ZCustomMedia& media_;
    };

    static constexpr uint32 kWindowBytes = 1024 * 1024;

protected:
    /// One request to the device: up to `bytes.size()` bytes from byte `offset`. Returns the
    /// bytes read (fewer only at the end), -1 when the device failed. Tests put other devices
    /// here.
    virtual int64 readDevice(uint64 offset, std::span<uint8> bytes);

    /// False once the device has been removed, so that no sector is asked for again.
    [[nodiscard]] virtual bool isPresent() const;

private:
    /// A request that the other thread makes, and what came of it.
    struct Request {
        std::vector<uint8> bytes;
        int64 got = 0;
    };

    /// What came of filling a buffer from a place on the volume.
    struct Filled {
        uint32 given = 0;   ///< Sectors that the device gave.
        uint32 covered = 0; ///< Sectors up to the end of the volume, given or not.
    };

    static constexpr uint64 kNoGroup = std::numeric_limits<uint64>::max();

    Filled fill(uint64 sector, std::span<uint8> bytes);
    uint32 salvage(uint64 sector, std::span<uint8> bytes, bool gaveNothing);
    uint32 narrowDown(uint64 sector, std::span<uint8> bytes, bool gaveNothing);
    bool isDead(uint64 sector, std::span<uint8> bytes);
    int64 request(uint64 sector, std::span<uint8> bytes);
    bool fillFromWindow(uint64 sector, std::span<uint8> bytes);
    bool fillFromGroup(uint64 sector, std::span<uint8> bytes);
    void giveUp(uint64 sector, std::span<uint8> bytes);
    void refuse(uint64 sector, uint64 sectors);
    void refuseTheDead(uint64 sector, uint64 end);
    [[nodiscard]] uint64 refusedFrom(uint64 sector) const;
    [[nodiscard]] uint64 refusedTo(uint64 sector) const;

    void notePresence();
    void patiently(std::function<void()> work);

    uint32 sectorSize_;
    std::shared_ptr<platform::Device> device_; ///< Shared with a request that was given up.
    platform::Failure failure_;
    PatientThread thread_; ///< Makes the requests while there is a hook.
    std::shared_ptr<Request> request_;
    std::wstring path_;
    std::optional<std::string> fileSystem_;
    uint8 flagA_ = 0;
    uint8 flagB_ = 2;

    uint64 position_ = 0; ///< In sectors.
    uint64 unreadableSectors_ = 0;
    uint64 requests_ = 0;
    std::function<void()> readHook_;

    uint32 windows_ = 0;  ///< Reads are served from windows while there is one.
    uint32 memories_ = 0; ///< Refused sectors are kept while there is one.
    std::vector<uint8> window_;
    uint64 windowSector_ = 0;    ///< First sector in the window.
    uint32 windowSectors_ = 0;   ///< Sectors in the window, all given by the device.
    uint64 lastWindowedEnd_ = 0; ///< Where the last small read ended.
    uint64 badWindowEnd_ = 0;    ///< Up to here the window could not be filled.
    std::vector<uint8> group_;   ///< Stands for the window where that could not be filled.
    uint64 groupSector_ = kNoGroup;
    bool groupIsProbed_ = false;
    uint32 groupSectors_ = 0; ///< Sectors in it, all given by the device.

    uint32 failuresInARow_ = 0; ///< Requests since the device last gave something.
    bool isGone_ = false;       ///< The device was removed: nothing more is asked of it.
    uint64 presentAfter_ = 0;   ///< Requests that had been made when it was last asked for.
    /// Ranges of sectors that the device has refused, as far as kept: first, and after last.
    std::map<uint64, uint64> refused_;
};

} // namespace kova
