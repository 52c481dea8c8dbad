#include "engine/content/VorbisComment.h"

#include "engine/LittleEndian.h"
#include "engine/content/ContentText.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace kova {

namespace {

constexpr uint32 kMostFields = 1000;
constexpr std::size_t kMostText = 512;

/// Takes a text with its length from the front of `rest`; nothing when it is not all there.
std::optional<std::string_view> takeText(std::span<const uint8>& rest) {
    if (rest.size() < 4)
        return std::nullopt;
    const auto length = loadLe<uint32>(rest.data());
    if (rest.size() - 4 < length)
        return std::nullopt;
    const std::string_view text(reinterpret_cast<const char*>(rest.data()) + 4, length);
    rest = rest.subspan(4 + std::size_t{length});
    return text;
}

/// The value of a field when it has this name (in capitals), whatever its letters' case.
std::wstring valueOf(std::string_view field, std::string_view name) {
    if (field.size() <= name.size() || field[name.size()] != '=')
        return {};
    const auto same = [](char a, char b) { return (a >= 'a' && a <= 'z' ? a - 32 : a) == b; };
    if (!std::equal(name.begin(), name.end(), field.begin(),
                    [&same](char n, char f) { return same(f, n); }))
        return {};
    return text::fromUtf8(field.substr(name.size() + 1, kMostText));
}

} // namespace

std::wstring vorbisTitle(std::span<const uint8> comment) {
    if (!takeText(comment) || comment.size() < 4)
        return {};
    const uint32 fields = std::min(loadLe<uint32>(comment.data()), kMostFields);
    comment = comment.subspan(4);
    std::wstring artist;
    std::wstring title;
    for (uint32 i = 0; i < fields; ++i) {
        const auto field = takeText(comment);
        if (!field)
            break;
        if (title.empty())
            title = valueOf(*field, "TITLE");
        if (artist.empty())
            artist = valueOf(*field, "ARTIST");
    }
    return artist.empty() || title.empty() ? title : artist + L" - " + title;
}

} // namespace kova
