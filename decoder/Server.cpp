#include "decoder/Server.h"

#include "platform/Sandbox.h"
#include "platform/StandardStreams.h"

namespace decoder::server {

namespace {

std::optional<Header> receiveHeader(Kind kind) {
    Bytes<Header> bytes{};
    if (platform::readInput(bytes) != bytes.size())
        return std::nullopt;
    const auto header = std::bit_cast<Header>(bytes);
    return header.kind == kind ? std::optional(header) : std::nullopt;
}

} // namespace

bool enter() {
    return platform::enterSandbox() && send(Kind::Ready, {});
}

bool send(Kind kind, std::span<const std::uint8_t> bytes) {
    const Header header{kind, static_cast<std::uint32_t>(bytes.size())};
    return platform::writeOutput(bytesOf(header)) && platform::writeOutput(bytes);
}

std::optional<std::vector<std::uint8_t>> receiveFile() {
    const auto header = receiveHeader(Kind::File);
    if (!header || header->length > kMostFileBytes)
        return std::nullopt;
    std::vector<std::uint8_t> file(header->length);
    if (platform::readInput(file) != file.size())
        return std::nullopt;
    return file;
}

bool receive(Kind kind, std::span<std::uint8_t> bytes) {
    const auto header = receiveHeader(kind);
    return header && header->length == bytes.size() && platform::readInput(bytes) == bytes.size();
}

} // namespace decoder::server
