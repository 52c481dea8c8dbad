#include "engine/content/misnamed.h"

#include "engine/content/ContentKinds.h"
#include "engine/content/kinds.h"

#include <algorithm>
#include <string>

namespace kova {

namespace {

/// In ascending order: suffixes that stand for files of their kinds and, by another program or in
/// another time, for something else: pages saved as tables, keys as text, libraries that are
/// scripts of the linker.
constexpr std::wstring_view kShared[] = {
    L"a",       L"ai",    L"asc", L"cfg", L"conf", L"doc", L"dot", L"eps", L"ico",
    L"ics",     L"key",   L"ko",  L"log", L"mpeg", L"mpg", L"mpp", L"msg", L"mts",
    L"numbers", L"pages", L"pot", L"pps", L"ppt",  L"ps",  L"pub", L"r",   L"raw",
    L"scr",     L"so",    L"sub", L"sys", L"ts",   L"vcf", L"xls", L"xlt"};

/// Texts are in encodings that are not known here, too. Only what is full of bytes that none of
/// them has, as compressed data is, is no text.
bool isHardlyText(std::span<const uint8> first) {
    constexpr std::size_t kFewest = 256;
    constexpr std::size_t kMostShare = 14; // One in so many; one in ten among any bytes.
    constexpr uint8 kFirstPrintable = 0x20;
    // These switch between character sets.
    constexpr uint8 kShiftIn = 0x0F;
    constexpr uint8 kEscape = 0x1B;
    const auto isControl = [](uint8 byte) {
        const bool isSpaceOrShift = byte >= '\b' && byte <= kShiftIn;
        return byte != 0 && byte < kFirstPrintable && byte != kEscape && !isSpaceOrShift;
    };
    const auto controls = static_cast<std::size_t>(std::ranges::count_if(first, isControl));
    return first.size() >= kFewest && controls > first.size() / kMostShare;
}

} // namespace

bool isMisnamed(std::wstring_view name, std::span<const uint8> first) {
    const std::wstring suffix = suffixOf(name);
    if (suffix.empty() || std::ranges::binary_search(kShared, std::wstring_view(suffix)) ||
        fits(suffix, first) != Fit::No)
        return false;
    const auto kinds = kindsForSuffix(suffix);
    if (std::ranges::find(kinds, &textKind()) == kinds.end())
        return true;
    return recognise(first).certainty == Certainty::Structure || isHardlyText(first);
}

} // namespace kova
