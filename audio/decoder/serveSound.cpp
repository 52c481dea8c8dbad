#include "audio/decoder/serveSound.h"

#include "audio/SoundProtocol.h"
#include "audio/decoder/SoundDecoder.h"
#include "platform/Sandbox.h"
#include "platform/StandardStreams.h"

extern "C" {
#include <libavutil/log.h>
}

#include <cstdlib>
#include <memory>
#include <vector>

namespace audio {

namespace {

template <class Message>
bool receive(Message& message) {
    protocol::Bytes<Message> bytes{};
    if (platform::readInput(bytes) != bytes.size())
        return false;
    message = std::bit_cast<Message>(bytes);
    return true;
}

template <class Message>
bool send(const Message& message) {
    return platform::writeOutput(protocol::bytesOf(message));
}

/// Null when the file is cut short or no sound.
std::unique_ptr<SoundDecoder> receiveSound() {
    protocol::Length length = 0;
    if (!receive(length) || length > protocol::kMostFileBytes)
        return nullptr;
    std::vector<std::uint8_t> file(length);
    if (platform::readInput(file) != file.size())
        return nullptr;
    return SoundDecoder::open(file);
}

} // namespace

int serveSound() {
    av_log_set_level(AV_LOG_QUIET);
    if (!platform::enterSandbox() || !send(protocol::kReady))
        return EXIT_FAILURE;
    const std::unique_ptr<SoundDecoder> decoder = receiveSound();
    protocol::Format format{};
    if (decoder)
        format = {decoder->length(), decoder->rate(), decoder->channels()};
    if (!send(format) || !decoder)
        return EXIT_FAILURE;

    protocol::Request request{};
    std::vector<std::uint8_t> piece;
    while (receive(request) && request.count <= protocol::kMostPieceBytes) {
        piece.resize(request.count);
        piece.resize(decoder->read(request.position, piece));
        if (!send(protocol::Length{piece.size()}) || !platform::writeOutput(piece))
            break;
    }
    return EXIT_SUCCESS;
}

} // namespace audio
