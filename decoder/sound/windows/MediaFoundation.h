#pragma once

#include "decoder/sound/windows/ComPointer.h"

#include <cstdint>
#include <span>

#include <windows.h>

#include <mfidl.h>
#include <mfreadwrite.h>

namespace sound {

/// The system's own decoders, of which an edition of the system may have none: what is called of
/// them is looked up in the system's folder, once, and not linked.
class MediaFoundation {
public:
    /// Null when there is none. Never ends: the process does.
    static const MediaFoundation* get();

    MediaFoundation(const MediaFoundation&) = delete;
    MediaFoundation& operator=(const MediaFoundation&) = delete;

    /// Reads sound from a copy of `file`, of the MIME type `type`; null when it is no such sound.
    [[nodiscard]] ComPointer<IMFSourceReader> read(std::span<const std::uint8_t> file,
                                                   const wchar_t* type) const;

    /// 16-bit PCM when `bits` is 16, any PCM when it is 0; null on failure.
    [[nodiscard]] ComPointer<IMFMediaType> pcm(std::uint32_t bits) const;

private:
    MediaFoundation();

    bool started_ = false;
    decltype(&CreateStreamOnHGlobal) createStream_ = nullptr;
    HRESULT(STDAPICALLTYPE* createByteStream_)(IStream*, IMFByteStream**) = nullptr;
    HRESULT(STDAPICALLTYPE* createMediaType_)(IMFMediaType**) = nullptr;
    decltype(&MFCreateSourceReaderFromByteStream) createReader_ = nullptr;
};

} // namespace sound
