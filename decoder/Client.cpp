#include "decoder/Client.h"

namespace decoder {

std::wstring program() {
    return platform::programBesideThis(L"orvane-decoder");
}

bool Client::start(const std::wstring& program, std::wstring_view mode,
                   const platform::ChildLimits& limits, Deadline deadline) {
    const auto starts = [&](platform::ChildRights rights) {
        platform::ChildLimits limited = limits;
        limited.rights = rights;
        return process_.start(program, {std::wstring(mode)}, limited) &&
               receive(Kind::Ready, {}, deadline).has_value();
    };
    // Where less is too little to start with, the process still gives up what it can before it is
    // given the file.
    return starts(platform::ChildRights::Least) || starts(platform::ChildRights::Same);
}

bool Client::send(Kind kind, std::span<const std::uint8_t> bytes, Deadline deadline) {
    const Header header{kind, static_cast<std::uint32_t>(bytes.size())};
    return process_.write(bytesOf(header), deadline) && process_.write(bytes, deadline);
}

std::optional<std::size_t> Client::receive(Kind kind, std::span<std::uint8_t> bytes,
                                           Deadline deadline) {
    Bytes<Header> headerBytes{};
    if (process_.read(headerBytes, deadline) != headerBytes.size())
        return std::nullopt;
    const auto header = std::bit_cast<Header>(headerBytes);
    if (header.kind != kind || header.length > bytes.size() ||
        process_.read(bytes.first(header.length), deadline) != header.length)
        return std::nullopt;
    return header.length;
}

} // namespace decoder
