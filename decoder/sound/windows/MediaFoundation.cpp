#include "decoder/sound/windows/MediaFoundation.h"

#include <cstring>

#include <mfapi.h>

namespace sound {

namespace {

/// A library of the system's folder, which stays loaded.
class Library {
public:
    explicit Library(const wchar_t* name)
        : module_(LoadLibraryExW(name, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32)) {}

    /// False when there is no such function.
    template <class Function>
    bool find(const char* name, Function& function) const {
        if (module_ != nullptr)
            function =
                reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module_, name)));
        return function != nullptr;
    }

private:
    HMODULE module_;
};

} // namespace

const MediaFoundation* MediaFoundation::get() {
    static const MediaFoundation instance;
    return instance.started_ ? &instance : nullptr;
}

MediaFoundation::MediaFoundation() {
    const Library objects(L"ole32.dll");
    const Library platform(L"mfplat.dll");
    const Library reading(L"mfreadwrite.dll");
    decltype(&CoInitializeEx) initialise = nullptr;
    HRESULT(STDAPICALLTYPE * start)(ULONG, DWORD) = nullptr;
    started_ = objects.find("CoInitializeEx", initialise) &&
               objects.find("CreateStreamOnHGlobal", createStream_) &&
               platform.find("MFStartup", start) &&
               platform.find("MFCreateMFByteStreamOnStream", createByteStream_) &&
               platform.find("MFCreateMediaType", createMediaType_) &&
               reading.find("MFCreateSourceReaderFromByteStream", createReader_) &&
               SUCCEEDED(initialise(nullptr, COINIT_MULTITHREADED)) &&
               SUCCEEDED(start(MF_VERSION, MFSTARTUP_LITE));
}

ComPointer<IMFSourceReader> MediaFoundation::read(std::span<const std::uint8_t> file,
                                                  const wchar_t* type) const {
    const HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, file.size());
    void* const copy = memory == nullptr ? nullptr : GlobalLock(memory);
    if (copy == nullptr)
        return nullptr;
    std::memcpy(copy, file.data(), file.size());
    GlobalUnlock(memory);
    IStream* made = nullptr;
    if (FAILED(createStream_(memory, TRUE, &made))) {
        GlobalFree(memory);
        return nullptr;
    }
    const ComPointer<IStream> stream(made); // owns the memory
    // Exact, where the memory's own size may be rounded.
    ULARGE_INTEGER size{};
    size.QuadPart = file.size();
    IMFByteStream* opened = nullptr;
    if (FAILED(stream->SetSize(size)) || FAILED(createByteStream_(stream.get(), &opened)))
        return nullptr;
    const ComPointer<IMFByteStream> bytes(opened);
    void* found = nullptr;
    if (FAILED(bytes->QueryInterface(IID_IMFAttributes, &found)))
        return nullptr;
    // Without a name that says it, this alone decides who reads it.
    const ComPointer<IMFAttributes> attributes(static_cast<IMFAttributes*>(found));
    IMFSourceReader* reader = nullptr;
    if (FAILED(attributes->SetString(MF_BYTESTREAM_CONTENT_TYPE, type)) ||
        FAILED(createReader_(bytes.get(), nullptr, &reader)))
        return nullptr;
    return ComPointer<IMFSourceReader>(reader);
}

ComPointer<IMFMediaType> MediaFoundation::pcm(std::uint32_t bits) const {
    IMFMediaType* made = nullptr;
    if (FAILED(createMediaType_(&made)))
        return nullptr;
    ComPointer<IMFMediaType> type(made);
    const bool set = SUCCEEDED(type->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Audio)) &&
                     SUCCEEDED(type->SetGUID(MF_MT_SUBTYPE, MFAudioFormat_PCM)) &&
                     (bits == 0 || SUCCEEDED(type->SetUINT32(MF_MT_AUDIO_BITS_PER_SAMPLE, bits)));
    return set ? std::move(type) : nullptr;
}

} // namespace sound
