#pragma once

#include "engine/ZStream.h"
#include "platform/File.h"
#include "platform/Folder.h"

#include <string>

namespace kova {

/// A stream over one file of the system. Every failing system call throws the `int` 0.
class ZFileStream : public ZStream {
public:
    /// Opens `path` as `open` does; with a null path no file is open. Whether the open succeeded
    /// is told by `isOpen`.
    ZFileStream(const wchar_t* path, uint32 creationDisposition, uint32 desiredAccess);

    int64 seek(int64 offset, int origin) override;
    uint64 read(void* buffer, uint32 count) override;
    uint64 write(const void* buffer, uint32 count) override;
    uint64 fill(uint8 value, uint32 count) override;
    void fillZeros(int64 count) override;
    int64 size() override;

    /// Sets the length. A longer stream keeps its position; a shorter or equal one stands at its
    /// new end afterwards.
    void resize(int64 newSize) override;

    /// Opens `path`, closing what was open. `creationDisposition` is a value of
    /// `platform::Disposition` (1 to 5), `desiredAccess` a combination of
    /// `platform::kGenericRead` and `platform::kGenericWrite`. Others may read the file meanwhile.
    /// Returns whether the file is open.
    virtual bool open(const wchar_t* path, uint32 creationDisposition, uint32 desiredAccess);

    /// The same with the file `name` in a folder; see `platform::File`.
    bool open(const platform::Folder& folder, const std::wstring& name, uint32 creationDisposition,
              uint32 desiredAccess, platform::Links links);

    [[nodiscard]] bool isOpen() const { return file_.isOpen(); }

    /// The file behind the stream, for what a stream has no word for: times, identity, errors.
    [[nodiscard]] platform::File& file() { return file_; }

    [[nodiscard]] const platform::File& file() const { return file_; }

private:
    platform::File file_;
    int64 position_ = 0;
};

} // namespace kova
