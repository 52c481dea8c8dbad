#include "engine/content/ContentKinds.h"

#include "engine/content/kinds.h"

#include <algorithm>
#include <array>
#include <bit>

namespace kova {

namespace {

using Kind = const ContentKind& (*)();

/// Of kinds that are equally sure of the same bytes the first one here is taken.
constexpr Kind kKinds[] = {jpegKind,          pngKind,          gifKind,
                           bmpKind,           tiffKind,         isoMediaKind,
                           riffKind,          psdKind,          matroskaKind,
                           asfKind,           flvKind,          mp3Kind,
                           adtsKind,          flacKind,         oggKind,
                           aiffKind,          midiKind,         pdfKind,
                           zipKind,           compoundFileKind, rtfKind,
                           sqliteKind,        sevenZipKind,     rarKind,
                           gzipKind,          bzip2Kind,        xzKind,
                           tarKind,           isoKind,          peKind,
                           elfKind,           pstKind,          fontKind,
                           iconKind,          arKind,           mpegProgramKind,
                           mpegTransportKind, cardKind,         mailKind,
                           markupKind,        auKind,           cafKind,
                           wave64Kind,        ttaKind,          apeKind,
                           dsfKind,           dffKind,          vocKind,
                           ac3Kind,           dtsKind,          wavPackKind,
                           amrKind,           amrWideKind,      rafKind,
                           ddsKind,           pnmKind,          sunRasterKind,
                           dpxKind,           dpxLittleKind,    fitsKind,
                           emfKind,           wmfKind,          icnsKind,
                           pcxKind,           sgiKind,          radianceKind,
                           qoiKind,           jpeg2000Kind,     jpeg2000CodeKind,
                           jpegXlKind,        zstdKind,         lz4Kind,
                           lzipKind,          cpioKind,         squashFsKind,
                           cabinetKind,       rpmKind,          realMediaKind,
                           mxfKind,           ivfKind,          flashKind,
                           packedFlashKind,   dvKind,           djvuKind,
                           helpKind,          mobiKind,         tgaKind,
                           textKind};

struct SuffixOf {
    std::wstring_view suffix;
    Kind kind;
};

/// In ascending order. What promises nothing about a file's first bytes is not in it.
constexpr SuffixOf kSuffixes[] = {
    {L"3fr", tiffKind},
    {L"3g2", isoMediaKind},
    {L"3gp", isoMediaKind},
    {L"3gpp", isoMediaKind},
    {L"3mf", zipKind},
    {L"7z", sevenZipKind},
    {L"a", arKind},
    {L"aab", zipKind},
    {L"aac", adtsKind},
    {L"aac", mp3Kind},
    {L"ac3", ac3Kind},
    {L"adts", adtsKind},
    {L"ai", pdfKind},
    {L"aif", aiffKind},
    {L"aifc", aiffKind},
    {L"aiff", aiffKind},
    {L"amr", amrKind},
    {L"amr", amrWideKind},
    {L"ani", riffKind},
    {L"apk", zipKind},
    {L"apng", pngKind},
    {L"arw", tiffKind},
    {L"asc", textKind},
    {L"asf", asfKind},
    {L"au", auKind},
    {L"avi", riffKind},
    {L"avif", isoMediaKind},
    {L"awb", amrWideKind},
    {L"bat", textKind},
    {L"bib", textKind},
    {L"bmp", bmpKind},
    {L"bz2", bzip2Kind},
    {L"c", textKind},
    {L"caf", cafKind},
    {L"cbr", rarKind},
    {L"cbz", zipKind},
    {L"cc", textKind},
    {L"cdr", riffKind},
    {L"cdr", zipKind},
    {L"cfg", textKind},
    {L"chm", helpKind},
    {L"cmd", textKind},
    {L"conf", textKind},
    {L"cpl", peKind},
    {L"cpp", textKind},
    {L"cr2", tiffKind},
    {L"cr3", isoMediaKind},
    {L"cs", textKind},
    {L"css", textKind},
    {L"csv", textKind},
    {L"cur", iconKind},
    {L"cxx", textKind},
    {L"dds", ddsKind},
    {L"deb", arKind},
    {L"dff", dffKind},
    {L"dib", bmpKind},
    {L"diff", textKind},
    {L"divx", riffKind},
    {L"djv", djvuKind},
    {L"djvu", djvuKind},
    {L"dll", peKind},
    {L"dng", tiffKind},
    {L"doc", compoundFileKind},
    {L"doc", zipKind},
    {L"doc", textKind},
    {L"doc", markupKind},
    {L"doc", rtfKind},
    {L"docm", zipKind},
    {L"docx", zipKind},
    {L"dot", compoundFileKind},
    {L"dotx", zipKind},
    {L"dpx", dpxKind},
    {L"dpx", dpxLittleKind},
    {L"dsf", dsfKind},
    {L"eac3", ac3Kind},
    {L"ec3", ac3Kind},
    {L"elf", elfKind},
    {L"emf", emfKind},
    {L"eml", mailKind},
    {L"eml", textKind},
    {L"eps", textKind},
    {L"epub", zipKind},
    {L"exe", peKind},
    {L"f4v", isoMediaKind},
    {L"fits", fitsKind},
    {L"flac", flacKind},
    {L"flac", mp3Kind},
    {L"flv", flvKind},
    {L"geojson", textKind},
    {L"gif", gifKind},
    {L"go", textKind},
    {L"gpx", textKind},
    {L"gz", gzipKind},
    {L"h", textKind},
    {L"hei", isoMediaKind}, // as a short name has it
    {L"heic", isoMediaKind},
    {L"heif", isoMediaKind},
    {L"hif", isoMediaKind},
    {L"hpp", textKind},
    {L"htm", markupKind},
    {L"htm", textKind},
    {L"html", markupKind},
    {L"html", textKind},
    {L"ical", cardKind},
    {L"icns", icnsKind},
    {L"ico", iconKind},
    {L"ics", cardKind},
    {L"ics", textKind},
    {L"ifb", cardKind},
    {L"iiq", tiffKind},
    {L"ini", textKind},
    {L"insp", jpegKind},
    {L"insv", isoMediaKind},
    {L"ipa", zipKind},
    {L"iso", isoKind},
    {L"j2c", jpeg2000CodeKind},
    {L"j2k", jpeg2000CodeKind},
    {L"j2k", jpeg2000Kind},
    {L"jar", zipKind},
    {L"java", textKind},
    {L"jfif", jpegKind},
    {L"jif", jpegKind},
    {L"jp2", jpeg2000Kind},
    {L"jp2", jpeg2000CodeKind},
    {L"jpc", jpeg2000CodeKind},
    {L"jpe", jpegKind},
    {L"jpeg", jpegKind},
    {L"jpf", jpeg2000Kind},
    {L"jpg", jpegKind},
    {L"jpx", jpeg2000Kind},
    {L"js", textKind},
    {L"json", textKind},
    {L"jsonl", textKind},
    {L"kar", midiKind},
    {L"key", zipKind},
    {L"kml", textKind},
    {L"kmz", zipKind},
    {L"ko", elfKind},
    {L"kt", textKind},
    {L"log", textKind},
    {L"lrc", textKind},
    {L"lua", textKind},
    {L"lz", lzipKind},
    {L"m2t", mpegTransportKind},
    {L"m2ts", mpegTransportKind},
    {L"m3u", textKind},
    {L"m3u8", textKind},
    {L"m4a", isoMediaKind},
    {L"m4b", isoMediaKind},
    {L"m4p", isoMediaKind},
    {L"m4v", isoMediaKind},
    {L"mbox", mailKind},
    {L"mbox", textKind},
    {L"md", textKind},
    {L"mid", midiKind},
    {L"midi", midiKind},
    {L"mjs", textKind},
    {L"mk3d", matroskaKind},
    {L"mka", matroskaKind},
    {L"mks", matroskaKind},
    {L"mkv", matroskaKind},
    {L"mobi", mobiKind},
    {L"mov", isoMediaKind},
    {L"mp2", mp3Kind},
    {L"mp3", mp3Kind},
    {L"mp4", isoMediaKind},
    {L"mpeg", mpegProgramKind},
    {L"mpg", mpegProgramKind},
    {L"mpo", jpegKind},
    {L"mpp", compoundFileKind},
    {L"msg", compoundFileKind},
    {L"msg", textKind},
    {L"msi", compoundFileKind},
    {L"mts", mpegTransportKind},
    {L"mxf", mxfKind},
    {L"nef", tiffKind},
    {L"nrw", tiffKind},
    {L"numbers", zipKind},
    {L"nupkg", zipKind},
    {L"ocx", peKind},
    {L"odb", zipKind},
    {L"odg", zipKind},
    {L"odp", zipKind},
    {L"ods", zipKind},
    {L"odt", zipKind},
    {L"oga", oggKind},
    {L"ogg", oggKind},
    {L"ogv", oggKind},
    {L"ogx", oggKind},
    {L"opus", oggKind},
    {L"orf", tiffKind},
    {L"ost", pstKind},
    {L"otf", fontKind},
    {L"otp", zipKind},
    {L"ots", zipKind},
    {L"ott", zipKind},
    {L"pages", zipKind},
    {L"patch", textKind},
    {L"pbm", pnmKind},
    {L"pbm", textKind},
    {L"pcx", pcxKind},
    {L"pdf", pdfKind},
    {L"pef", tiffKind},
    {L"pgm", pnmKind},
    {L"pgm", textKind},
    {L"php", textKind},
    {L"pl", textKind},
    {L"png", pngKind},
    {L"pnm", pnmKind},
    {L"pnm", textKind},
    {L"po", textKind},
    {L"pot", compoundFileKind},
    {L"potx", zipKind},
    {L"ppm", pnmKind},
    {L"ppm", textKind},
    {L"pps", compoundFileKind},
    {L"ppsx", zipKind},
    {L"ppt", compoundFileKind},
    {L"pptm", zipKind},
    {L"pptx", zipKind},
    {L"properties", textKind},
    {L"ps", textKind},
    {L"ps1", textKind},
    {L"psb", psdKind},
    {L"psd", psdKind},
    {L"pst", pstKind},
    {L"pub", compoundFileKind},
    {L"py", textKind},
    {L"qoi", qoiKind},
    {L"qt", isoMediaKind},
    {L"r", textKind},
    {L"raf", rafKind},
    {L"rar", rarKind},
    {L"ras", sunRasterKind},
    {L"raw", tiffKind},
    {L"rb", textKind},
    {L"reg", textKind},
    {L"rmi", midiKind},
    {L"rmi", riffKind},
    {L"rpm", rpmKind},
    {L"rs", textKind},
    {L"rtf", rtfKind},
    {L"rw2", tiffKind},
    {L"sb3", zipKind},
    {L"scr", peKind},
    {L"sf2", riffKind},
    {L"sgi", sgiKind},
    {L"sh", textKind},
    {L"snap", squashFsKind},
    {L"so", elfKind},
    {L"spx", oggKind},
    {L"sql", textKind},
    {L"sqlite", sqliteKind},
    {L"sqlite3", sqliteKind},
    {L"squashfs", squashFsKind},
    {L"sr2", tiffKind},
    {L"srt", textKind},
    {L"srw", tiffKind},
    {L"sub", textKind},
    {L"svg", markupKind},
    {L"svg", textKind},
    {L"svgz", gzipKind},
    {L"sys", peKind},
    {L"tar", tarKind},
    {L"tbz", bzip2Kind},
    {L"tbz2", bzip2Kind},
    {L"tex", textKind},
    {L"text", textKind},
    {L"tga", tgaKind},
    {L"tgz", gzipKind},
    {L"tif", tiffKind},
    {L"tiff", tiffKind},
    {L"toml", textKind},
    {L"tp", mpegTransportKind},
    {L"trp", mpegTransportKind},
    {L"ts", mpegTransportKind},
    {L"ts", textKind},
    {L"tsv", textKind},
    {L"tta", ttaKind},
    {L"tta", mp3Kind},
    {L"ttf", fontKind},
    {L"txt", textKind},
    {L"txz", xzKind},
    {L"tzst", zstdKind},
    {L"url", textKind},
    {L"usdz", zipKind},
    {L"vcard", cardKind},
    {L"vcf", cardKind},
    {L"vcf", textKind},
    {L"vob", mpegProgramKind},
    {L"vsd", compoundFileKind},
    {L"vsdx", zipKind},
    {L"vsix", zipKind},
    {L"vtt", textKind},
    {L"w64", wave64Kind},
    {L"war", zipKind},
    {L"wav", riffKind},
    {L"web", matroskaKind}, // "webm" and "webp" in an 8.3 name.
    {L"web", riffKind},
    {L"webm", matroskaKind},
    {L"webp", riffKind},
    {L"whl", zipKind},
    {L"wma", asfKind},
    {L"wmv", asfKind},
    {L"woff", fontKind},
    {L"woff2", fontKind},
    {L"wv", wavPackKind},
    {L"xhtml", markupKind},
    {L"xhtml", textKind},
    {L"xls", compoundFileKind},
    {L"xls", zipKind},
    {L"xls", textKind},
    {L"xls", markupKind},
    {L"xlsb", zipKind},
    {L"xlsm", zipKind},
    {L"xlsx", zipKind},
    {L"xlt", compoundFileKind},
    {L"xltx", zipKind},
    {L"xml", textKind},
    {L"xpi", zipKind},
    {L"xsd", textKind},
    {L"xsl", textKind},
    {L"xslt", textKind},
    {L"xz", xzKind},
    {L"yaml", textKind},
    {L"yml", textKind},
    {L"zip", zipKind},
    {L"zst", zstdKind},
};

/// Some of the kinds, by their places in the list of all.
class KindSet {
public:
    void add(std::size_t kind) { words_[kind / kWordBits] |= uint64{1} << (kind % kWordBits); }

    void add(const KindSet& others) {
        for (std::size_t i = 0; i < kWords; ++i)
            words_[i] |= others.words_[i];
    }

    void keep(const KindSet& others) {
        for (std::size_t i = 0; i < kWords; ++i)
            words_[i] &= others.words_[i];
    }

    [[nodiscard]] bool isEmpty() const { return *this == KindSet(); }

    bool operator==(const KindSet&) const = default;

    template <typename Take>
    void forEach(Take take) const {
        for (std::size_t i = 0; i < kWords; ++i) {
            for (uint64 left = words_[i]; left != 0; left &= left - 1)
                take(i * kWordBits + static_cast<std::size_t>(std::countr_zero(left)));
        }
    }

private:
    static constexpr std::size_t kWordBits = 64;
    static constexpr std::size_t kWords = (std::size(kKinds) + kWordBits - 1) / kWordBits;

    std::array<uint64, kWords> words_{};
};

/// The kinds that a file may be of by single bytes of it, without asking any of them.
class BeginningIndex {
public:
    BeginningIndex() : kinds_(contentKinds()) {
        for (std::size_t i = 0; i < kinds_.size(); ++i) {
            addTo(first_, kinds_[i]->firstBytes(), i);
            addTo(second_, kinds_[i]->secondBytes(), i);
            if (kinds_[i]->marks().empty())
                unmarked_.add(i);
            for (const Mark& mark : kinds_[i]->marks()) {
                Place& place = placeAt(mark.offset);
                addTo(place.kinds, mark.bytes, i);
                for (std::size_t byte = 0; byte < place.kinds.size(); ++byte)
                    place.hasKinds[byte] = !place.kinds[byte].isEmpty();
            }
        }
    }

    /// The kinds by their numbers.
    [[nodiscard]] const ContentKind& kind(std::size_t number) const { return *kinds_[number]; }

    /// `first` is not empty.
    [[nodiscard]] KindSet candidates(std::span<const uint8> first) const {
        KindSet set = unmarked_;
        for (const Place& place : places_) {
            if (place.offset < first.size() && place.hasKinds[first[place.offset]])
                set.add(place.kinds[first[place.offset]]);
        }
        set.keep(first_[first[0]]);
        if (first.size() > 1)
            set.keep(second_[first[1]]);
        return set;
    }

private:
    using ByByte = std::array<KindSet, 256>;

    struct Place {
        std::size_t offset = 0;
        std::array<bool, 256> hasKinds{}; ///< Small enough to stay near: most bytes have none.
        ByByte kinds;
    };

    static void addTo(ByByte& sets, std::string_view bytes, std::size_t kind) {
        for (std::size_t byte = 0; byte < sets.size(); ++byte) {
            if (bytes.empty() || bytes.find(static_cast<char>(byte)) != std::string_view::npos)
                sets[byte].add(kind);
        }
    }

    Place& placeAt(std::size_t offset) {
        const auto place = std::ranges::find(places_, offset, &Place::offset);
        return place == places_.end() ? places_.emplace_back(Place{offset, {}, {}}) : *place;
    }

    std::span<const ContentKind* const> kinds_;
    ByByte first_;
    ByByte second_;
    KindSet unmarked_; ///< Those that have no place of their own.
    std::vector<Place> places_;
};

std::wstring lower(std::wstring_view text) {
    std::wstring result(text);
    for (wchar_t& c : result) {
        if (c >= L'A' && c <= L'Z')
            c = static_cast<wchar_t>(c - L'A' + L'a');
    }
    return result;
}

} // namespace

std::span<const ContentKind* const> contentKinds() {
    static const auto kKindList = [] {
        std::array<const ContentKind*, std::size(kKinds)> list{};
        std::ranges::transform(kKinds, list.begin(), [](Kind kind) { return &kind(); });
        return list;
    }();
    return kKindList;
}

RecognisedContent recognise(std::span<const uint8> first) {
    static const BeginningIndex kIndex;
    RecognisedContent best;
    if (first.empty())
        return best;
    kIndex.candidates(first).forEach([&](std::size_t number) {
        const ContentKind& kind = kIndex.kind(number);
        const Certainty certainty = kind.begins(first);
        if (certainty > best.certainty)
            best = {&kind, certainty, kind.landmark(first)};
    });
    return best;
}

std::wstring suffixOf(std::wstring_view name) {
    const auto dot = name.rfind(L'.');
    return dot == std::wstring_view::npos ? std::wstring{} : lower(name.substr(dot + 1));
}

std::vector<const ContentKind*> kindsForSuffix(std::wstring_view suffix) {
    std::vector<const ContentKind*> kinds;
    const std::wstring wanted = lower(suffix);
    const auto* entry = std::ranges::lower_bound(kSuffixes, wanted, {}, &SuffixOf::suffix);
    for (; entry != std::end(kSuffixes) && entry->suffix == wanted; ++entry)
        kinds.push_back(&entry->kind());
    return kinds;
}

Fit fits(std::wstring_view suffix, std::span<const uint8> first) {
    return fits(kindsForSuffix(suffix), first);
}

Fit fits(std::span<const ContentKind* const> kinds, std::span<const uint8> first) {
    bool canTell = !kinds.empty();
    for (const ContentKind* kind : kinds) {
        if (kind->begins(first) != Certainty::No)
            return Fit::Yes;
        canTell = canTell && first.size() >= kind->bytesNeeded();
    }
    return canTell ? Fit::No : Fit::CannotTell;
}

} // namespace kova
