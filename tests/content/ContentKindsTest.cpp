// Files by the programs that people make them with: what they are, and where they end.
#include "engine/content/ContentKinds.h"
#include "engine/content/MemorySource.h"
#include "tests/platform/Tools.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

namespace kova::test {
namespace {

namespace tools = platform::test;

using Bytes = std::vector<uint8>;

Bytes fileAt(const std::filesystem::path& path) {
    const std::string content = tools::contentOf(path);
    return {content.begin(), content.end()};
}

MeasuredContent measure(const Bytes& bytes) {
    const RecognisedContent content =
        recognise(std::span(bytes).first(std::min<std::size_t>(bytes.size(), 4096)));
    if (content.kind == nullptr)
        return {};
    MemorySource source(bytes);
    return content.kind->measure(source);
}

/// What a drive has behind a file: zeros to the end of the cluster, then anything.
Bytes withRest(Bytes bytes) {
    bytes.resize((bytes.size() + 4095) / 4096 * 4096);
    std::mt19937 random(7);
    for (int i = 0; i < 100'000; ++i)
        bytes.push_back(static_cast<uint8>(random() | 0x80U));
    return bytes;
}

struct Expected {
    const wchar_t* suffix; ///< Of what it is taken for.
    bool tellsDamage;      ///< A wrong byte in the middle shows.
    bool tellsCut;         ///< And that it was cut off does.
};

class ContentKinds : public testing::Test {
protected:
    /// What single bytes have refused without asking would have said no.
    static void expectAllAsked(std::span<const uint8> first) {
        Certainty surest = Certainty::No;
        for (const ContentKind* kind : contentKinds())
            surest = std::max(surest, kind->begins(first));
        EXPECT_EQ(recognise(first).certainty, surest);
    }

    void check(const std::filesystem::path& path, const Expected& expected) const {
        SCOPED_TRACE(path.filename().string());
        const Bytes bytes = fileAt(path);
        for (std::size_t at = 0; at < bytes.size(); at += 512)
            expectAllAsked(
                std::span(bytes).subspan(at).first(std::min<std::size_t>(bytes.size() - at, 4096)));
        for (const Bytes& content : {bytes, withRest(bytes)}) {
            const MeasuredContent measured = measure(content);
            ASSERT_EQ(measured.state, ContentState::Whole);
            EXPECT_EQ(measured.length, bytes.size());
            EXPECT_STREQ(measured.type->suffix, expected.suffix);
        }
        EXPECT_NE(fits(path.extension().wstring().substr(1), bytes), Fit::No);
        EXPECT_EQ(fits(L"jpg", bytes) == Fit::No, expected.suffix != std::wstring(L"jpg"));
        Bytes damaged = withRest(bytes);
        for (std::size_t i = bytes.size() / 2; i < bytes.size() / 2 + 64; ++i)
            damaged[i] ^= 0x5A;
        if (expected.tellsDamage) {
            EXPECT_NE(measure(damaged).state, ContentState::Whole);
        }
        Bytes cut = bytes;
        cut.resize(bytes.size() * 3 / 4);
        if (expected.tellsCut) {
            EXPECT_NE(measure(cut).state, ContentState::Whole);
        }
        EXPECT_LE(measure(cut).length, cut.size());
    }
};

TEST_F(ContentKinds, WhatTheTestsHold) {
    const std::map<std::string, Expected> files{{"pictures/small.bmp", {L"bmp", false, true}},
                                                {"pictures/small.gif", {L"gif", false, true}},
                                                {"pictures/small.jpg", {L"jpg", true, true}},
                                                {"pictures/small.png", {L"png", true, true}},
                                                {"pictures/small.psd", {L"psd", false, true}},
                                                {"pictures/small.tif", {L"tif", false, true}},
                                                {"audio/data/chirp.flac", {L"flac", true, true}},
                                                {"audio/data/chirp.ogg", {L"ogg", true, true}},
                                                {"audio/data/chirp.m4a", {L"m4a", false, true}},
                                                {"audio/data/vbr.mp3", {L"mp3", true, false}}};
    for (const auto& [path, expected] : files)
        check(std::filesystem::path(ORVANE_SOURCE_DIR) / "tests" / path, expected);
    check(std::filesystem::path(ORVANE_SOURCE_DIR) / "resources/fonts/OpenSans-Regular.ttf",
          {L"ttf", true, true});
}

TEST_F(ContentKinds, WhatIsMadeHere) {
    const std::map<std::string, Expected> files{
        {"a.zip", {L"zip", true, true}},        {"b.docx", {L"docx", true, true}},
        {"c.xlsx", {L"xlsx", true, true}},      {"d.odt", {L"odt", true, true}},
        {"e.jar", {L"jar", true, true}},        {"f.gz", {L"gz", true, true}},
        {"g.bz2", {L"bz2", false, true}},       {"h.xz", {L"xz", false, true}},
        {"i.tar", {L"tar", false, true}},       {"j.wav", {L"wav", false, true}},
        {"k.sqlite", {L"sqlite", false, true}}, {"l.pdf", {L"pdf", false, true}},
        {"m.html", {L"html", false, false}},    {"n.vcf", {L"vcf", false, false}},
        {"o.txt", {L"txt", false, false}},      {"p.ico", {L"ico", false, true}},
        {"q.a", {L"a", false, true}},           {"r.jpg", {L"jpg", false, true}},
        {"s.jpg", {L"jpg", false, true}},       {"t.mp3", {L"mp3", false, false}},
        {"00.au", {L"au", false, true}},        {"01.caf", {L"caf", false, true}},
        {"02.amr", {L"amr", false, false}},     {"03.wv", {L"wv", false, false}},
        {"04.raf", {L"raf", false, true}},      {"05.ppm", {L"ppm", false, true}},
        {"06.pcx", {L"pcx", false, true}},      {"07.tga", {L"tga", false, true}},
        {"08.j2k", {L"j2k", false, true}},      {"09.jp2", {L"jp2", false, true}},
        {"10.zst", {L"zst", false, true}},      {"11.lz4", {L"lz4", false, true}},
        {"12.lz", {L"lz", false, true}},        {"13.cpio", {L"cpio", false, true}},
        {"14.mxf", {L"mxf", false, false}},     {"15.dv", {L"dv", false, true}},
        {"16.emf", {L"emf", false, true}},      {"17.hdr", {L"hdr", false, true}}};
    const TempDir folder;
    const std::filesystem::path script =
        std::filesystem::path(ORVANE_SOURCE_DIR) / "tests/content/make-files";
    tools::run("python3 " + forShell(script) + " " + forShell(folder / ""));
    for (const auto& [name, expected] : files)
        check(folder / name, expected);
}

} // namespace
} // namespace kova::test
