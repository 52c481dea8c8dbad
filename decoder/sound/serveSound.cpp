#include "decoder/sound/serveSound.h"

#include "decoder/Server.h"
#include "decoder/sound/SoundDecoder.h"
#include "decoder/sound/SoundMessage.h"

#include <cstdlib>
#include <memory>
#include <vector>

namespace sound {

namespace server = decoder::server;
using decoder::Kind;

int serveSound() {
    SoundDecoder::prepare();
    if (!server::enter())
        return EXIT_FAILURE;
    const auto file = server::receiveFile();
    if (!file)
        return EXIT_FAILURE;
    const std::unique_ptr<SoundDecoder> sound = SoundDecoder::open(*file);
    decoder::SoundFormat format{};
    if (sound)
        format = {sound->length(), sound->rate(), sound->channels()};
    if (!server::send(Kind::Sound, decoder::bytesOf(format)) || !sound)
        return EXIT_FAILURE;

    decoder::Bytes<decoder::SoundRequest> bytes{};
    std::vector<std::uint8_t> piece;
    while (server::receive(Kind::Request, bytes)) {
        const auto request = std::bit_cast<decoder::SoundRequest>(bytes);
        if (request.count > decoder::kMostPieceBytes)
            break;
        piece.resize(request.count);
        piece.resize(sound->read(request.position, piece));
        if (!server::send(Kind::Samples, piece))
            break;
    }
    return EXIT_SUCCESS;
}

} // namespace sound
