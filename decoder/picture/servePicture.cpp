#include "decoder/picture/servePicture.h"

#include "decoder/Server.h"
#include "decoder/picture/PictureDecoder.h"
#include "decoder/picture/PictureMessage.h"
#include "platform/Environment.h"

#include <cstdlib>

namespace picture {

namespace server = decoder::server;

int servePicture() {
    // JPEG 2000 takes far longer to decode than all others. Each thread takes address space.
    platform::setEnvironment("OPJ_NUM_THREADS", "4");
    const PictureDecoder pictures; // may load what it needs
    if (!server::enter())
        return EXIT_FAILURE;
    const auto file = server::receiveFile();
    if (!file)
        return EXIT_FAILURE;
    const Thumbnail thumbnail = pictures.decode(*file);
    const decoder::PictureMessage message{static_cast<std::uint32_t>(thumbnail.outcome),
                                          thumbnail.width, thumbnail.height};
    const bool answered = server::send(decoder::Kind::Picture, decoder::bytesOf(message)) &&
                          server::send(decoder::Kind::Pixels, thumbnail.pixels);
    return answered ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace picture
