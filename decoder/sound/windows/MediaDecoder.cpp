#include "decoder/sound/windows/MediaDecoder.h"

#include "decoder/sound/SoundMessage.h"
#include "decoder/sound/windows/MediaFoundation.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <utility>

#include <mfapi.h>

namespace sound {

namespace {

/// The system counts time in these.
constexpr std::uint64_t kTicksPerSecond = 10'000'000;
constexpr std::uint64_t kMostSeconds = std::uint64_t{1} << 20;

// No honest decoder is asked more often for one piece, or gives more at once.
constexpr int kMostAttempts = 1000;
constexpr DWORD kMostPieceBytes = DWORD{16} << 20;

constexpr std::uint32_t kMostSourceChannels = 64;

// What lies further ahead is sought, not decoded up to; and before a place that is sought some is
// decoded for nothing, as decoders have to settle.
constexpr std::uint64_t kMostSecondsAhead = 2;
constexpr std::uint64_t kSettlingPartOfSecond = 5;

constexpr DWORD kSound = static_cast<DWORD>(MF_SOURCE_READER_FIRST_AUDIO_STREAM);

bool holds(std::span<const std::uint8_t> file, std::size_t at, std::string_view word) {
    return file.size() >= at + word.size() &&
           std::memcmp(file.data() + at, word.data(), word.size()) == 0;
}

/// The MIME type that a file's first bytes tell; null for what is no sound that is known here. The
/// system is not let guess: it knows lists of other files' addresses as well.
const wchar_t* typeOf(std::span<const std::uint8_t> file) {
    constexpr std::size_t kFormAt = 8;  // in a RIFF file
    constexpr std::size_t kBrandAt = 4; // in an MP4 file
    constexpr std::string_view kAsf("\x30\x26\xB2\x75\x8E\x66\xCF\x11", 8);
    if (holds(file, 0, "RIFF") && holds(file, kFormAt, "WAVE"))
        return L"audio/wav";
    if (holds(file, 0, "fLaC"))
        return L"audio/x-flac";
    if (holds(file, kBrandAt, "ftyp"))
        return L"audio/mp4";
    if (holds(file, 0, kAsf))
        return L"audio/x-ms-wma";
    if (holds(file, 0, "ID3"))
        return L"audio/mpeg";
    // Frames without a header begin with eleven bits; the layer, 0 in AAC only, comes two later.
    if (file.size() < 2 || file[0] != 0xFF || (file[1] & 0xE0) != 0xE0)
        return nullptr;
    return (file[1] & 0x06) == 0 ? L"audio/aac" : L"audio/mpeg";
}

} // namespace

void SoundDecoder::prepare() {
    MediaFoundation::get();
}

std::unique_ptr<SoundDecoder> SoundDecoder::open(std::span<const std::uint8_t> file) {
    return MediaDecoder::open(file);
}

std::unique_ptr<MediaDecoder> MediaDecoder::open(std::span<const std::uint8_t> file) {
    const wchar_t* type = typeOf(file);
    const MediaFoundation* media = MediaFoundation::get();
    if (type == nullptr || media == nullptr)
        return nullptr;
    auto reader = media->read(file, type);
    if (!reader)
        return nullptr;
    std::unique_ptr<MediaDecoder> decoder(new MediaDecoder(std::move(reader)));
    // Of what cannot be heard at all the first piece tells.
    if (!decoder->choose() || !decoder->learnFormat() || !decoder->learnLength() ||
        !decoder->next())
        return nullptr;
    return decoder;
}

MediaDecoder::MediaDecoder(ComPointer<IMFSourceReader> reader) : reader_(std::move(reader)) {}

bool MediaDecoder::choose() {
    constexpr auto kAll = static_cast<DWORD>(MF_SOURCE_READER_ALL_STREAMS);
    if (FAILED(reader_->SetStreamSelection(kAll, FALSE)) ||
        FAILED(reader_->SetStreamSelection(kSound, TRUE)))
        return false;
    for (const std::uint32_t bits : {16U, 0U}) {
        const auto wanted = MediaFoundation::get()->pcm(bits);
        if (wanted && SUCCEEDED(reader_->SetCurrentMediaType(kSound, nullptr, wanted.get())))
            return true;
    }
    return false;
}

bool MediaDecoder::learnFormat() {
    IMFMediaType* current = nullptr;
    if (FAILED(reader_->GetCurrentMediaType(kSound, &current)))
        return false;
    const ComPointer<IMFMediaType> type(current);
    UINT32 rate = 0;
    UINT32 count = 0;
    UINT32 bits = 0;
    if (FAILED(type->GetUINT32(MF_MT_AUDIO_SAMPLES_PER_SECOND, &rate)) ||
        FAILED(type->GetUINT32(MF_MT_AUDIO_NUM_CHANNELS, &count)) ||
        FAILED(type->GetUINT32(MF_MT_AUDIO_BITS_PER_SAMPLE, &bits)))
        return false;
    const bool known = bits == 8 || bits == 16 || bits == 24 || bits == 32;
    if (!known || count == 0 || count > kMostSourceChannels || rate == 0 ||
        rate > decoder::kMostRate)
        return false;
    // What has been said of the sound stays true.
    if (rate_ != 0 && (rate != rate_ || (count == 1) != (pcm_.channels == 1)))
        return false;
    rate_ = rate;
    pcm_ = {count, bits};
    return true;
}

std::uint64_t MediaDecoder::framesIn(std::uint64_t ticks) const {
    ticks = std::min(ticks, kMostSeconds * kTicksPerSecond);
    return (ticks * rate_ + kTicksPerSecond / 2) / kTicksPerSecond;
}

bool MediaDecoder::learnLength() {
    PROPVARIANT duration{};
    if (FAILED(reader_->GetPresentationAttribute(static_cast<DWORD>(MF_SOURCE_READER_MEDIASOURCE),
                                                 MF_PD_DURATION, &duration)) ||
        duration.vt != VT_UI8)
        return false;
    frames_ = framesIn(duration.uhVal.QuadPart);
    return frames_ > 0;
}

std::size_t MediaDecoder::read(std::uint64_t position, std::span<std::uint8_t> samples) {
    std::uint64_t frame = position / frameBytes();
    std::size_t filled = 0;
    while (frame < frames_ && samples.size() - filled >= frameBytes()) {
        reach(frame);
        const std::size_t room = (samples.size() - filled) / frameBytes();
        const std::uint64_t wanted = std::min<std::uint64_t>(room, frames_ - frame);
        std::uint64_t count = 0;
        if (frame >= start_ && frame < pieceEnd()) {
            count = std::min(wanted, pieceEnd() - frame);
            std::memcpy(samples.data() + filled,
                        piece_.data() + static_cast<std::size_t>(frame - start_) * channels(),
                        static_cast<std::size_t>(count) * frameBytes());
        } else {
            // Silent until the next piece, or for good.
            count = frame < start_ ? std::min(wanted, start_ - frame) : wanted;
            std::memset(samples.data() + filled, 0, static_cast<std::size_t>(count) * frameBytes());
        }
        filled += static_cast<std::size_t>(count) * frameBytes();
        frame += count;
    }
    return filled;
}

void MediaDecoder::reach(std::uint64_t frame) {
    if (frame >= start_ && (ended_ || frame < pieceEnd()))
        return;
    if (frame < start_ || frame - pieceEnd() > kMostSecondsAhead * rate_)
        seek(frame);
    while (pieceEnd() <= frame && next()) {
    }
}

void MediaDecoder::seek(std::uint64_t frame) {
    frame -= std::min<std::uint64_t>(frame, rate_ / kSettlingPartOfSecond);
    PROPVARIANT place{};
    place.vt = VT_I8;
    place.hVal.QuadPart = static_cast<LONGLONG>(frame * kTicksPerSecond / rate_);
    piece_.clear();
    start_ = frame;
    sought_ = true;
    // A sound that cannot be sought is silent from then on.
    ended_ = FAILED(reader_->SetCurrentPosition(GUID_NULL, place));
}

bool MediaDecoder::next() {
    for (int attempts = 0; !ended_ && attempts < kMostAttempts; ++attempts) {
        DWORD stream = 0;
        DWORD flags = 0;
        LONGLONG ticks = 0;
        IMFSample* read = nullptr;
        const HRESULT result = reader_->ReadSample(kSound, 0, &stream, &flags, &ticks, &read);
        const ComPointer<IMFSample> sample(read);
        constexpr auto kEnd = static_cast<DWORD>(MF_SOURCE_READERF_ENDOFSTREAM) |
                              static_cast<DWORD>(MF_SOURCE_READERF_ERROR);
        if (FAILED(result) || (flags & kEnd) != 0 ||
            ((flags & MF_SOURCE_READERF_CURRENTMEDIATYPECHANGED) != 0 && !learnFormat()))
            break;
        IMFMediaBuffer* joined = nullptr;
        if (!sample || FAILED(sample->ConvertToContiguousBuffer(&joined)))
            continue;
        const ComPointer<IMFMediaBuffer> buffer(joined);
        BYTE* bytes = nullptr;
        DWORD size = 0;
        if (FAILED(buffer->Lock(&bytes, nullptr, &size)))
            continue;
        const std::uint64_t end = pieceEnd();
        piece_.clear();
        appendStereo({bytes, std::min(size, kMostPieceBytes)}, pcm_, channels(), piece_);
        buffer->Unlock();
        // Times are rounded: only a place that was sought is told by them.
        start_ = std::exchange(sought_, false)
                     ? framesIn(static_cast<std::uint64_t>(std::max<LONGLONG>(ticks, 0)))
                     : end;
        if (!piece_.empty())
            return true;
    }
    ended_ = true;
    return false;
}

} // namespace sound
