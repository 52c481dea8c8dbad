#include "workers/picture/servePicture.h"

#include "platform/Environment.h"
#include "platform/Sandbox.h"
#include "platform/StandardStreams.h"
#include "workers/picture/PictureDecoder.h"
#include "workers/picture/Protocol.h"

#include <array>
#include <bit>
#include <cstdlib>

namespace picture {

namespace {

using LengthBytes = std::array<std::uint8_t, sizeof(protocol::Length)>;
using ReplyBytes = std::array<std::uint8_t, sizeof(protocol::Reply)>;

bool writeByte(std::uint8_t byte) {
    return platform::writeOutput({&byte, 1});
}

} // namespace

int servePicture() {
    // JPEG 2000 takes far longer to decode than all others. Each thread takes address space.
    platform::setEnvironment("OPJ_NUM_THREADS", "4");
    const PictureDecoder decoder; // may load what it needs
    if (!platform::enterSandbox() || !writeByte(protocol::kReady))
        return EXIT_FAILURE;
    LengthBytes length{};
    if (platform::readInput(length) != length.size() ||
        std::bit_cast<protocol::Length>(length) > protocol::kMostFileBytes)
        return EXIT_FAILURE;
    std::vector<std::uint8_t> file(std::bit_cast<protocol::Length>(length));
    if (platform::readInput(file) != file.size())
        return EXIT_FAILURE;

    const Thumbnail thumbnail = decoder.decode(file);
    const protocol::Reply reply{static_cast<std::uint32_t>(thumbnail.outcome), thumbnail.width,
                                thumbnail.height};
    const bool answered = platform::writeOutput(std::bit_cast<ReplyBytes>(reply)) &&
                          platform::writeOutput(thumbnail.pixels);
    return answered ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace picture
