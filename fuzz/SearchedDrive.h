#pragma once

#include "engine/search/SavedSearch.h"
#include "tests/support/ExFatBuilder.h"
#include "tests/support/TestMedia.h"

#include <algorithm>
#include <string>

namespace kova::fuzz {

/// The drive that saved searches are tried on: what an exFAT volume has left, with texts on it.
inline test::TestMedia searchedDrive() {
    test::ExFatBuilder builder({.clusterBytes = 512, .clusters = 600});
    const uint32 folder = builder.addFolder(0, {.name = u"folder"});
    std::string text;
    for (int i = 0; i < 200; ++i)
        text += "line " + std::to_string(i) + " of a text\n";
    for (const std::u16string name : {u"one.txt", u"two.txt", u"three.html"})
        builder.addFile(folder, {.name = name}, text);
    builder.addFile(folder, {.name = u"page.html"}, "<!DOCTYPE html><html>" + text + "</html>");
    constexpr std::size_t kBootRegions = 24 * 512;
    std::fill_n(builder.bytes().begin(), kBootRegions, uint8{0});
    return test::TestMedia(builder.bytes());
}

} // namespace kova::fuzz
