#include "platform/CodePage.h"

#include "platform/System.h"

#include <algorithm>

namespace platform {

namespace {

bool isUpperControl(wchar_t c) {
    return c >= 0x80 && c <= 0x9F;
}

} // namespace

std::optional<std::wstring> wideFromSystemCodePage(std::span<const std::uint8_t> bytes,
                                                   CodePage page) {
    std::optional<std::wstring> text = convertFromCodePage(bytes, page);
    if (text)
        std::replace_if(text->begin(), text->end(), isUpperControl, L'\uFFFD');
    return text;
}

} // namespace platform
