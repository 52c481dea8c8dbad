#pragma once

#include "engine/content/ContentKind.h"

/// The families of formats, each in the source file named after its class.
namespace kova {

[[nodiscard]] const ContentKind& jpegKind();
[[nodiscard]] const ContentKind& pngKind();
[[nodiscard]] const ContentKind& gifKind();
[[nodiscard]] const ContentKind& bmpKind();
[[nodiscard]] const ContentKind& tiffKind();
[[nodiscard]] const ContentKind& isoMediaKind();
[[nodiscard]] const ContentKind& riffKind();
[[nodiscard]] const ContentKind& psdKind();
[[nodiscard]] const ContentKind& matroskaKind();
[[nodiscard]] const ContentKind& asfKind();
[[nodiscard]] const ContentKind& mpegProgramKind();
[[nodiscard]] const ContentKind& mpegTransportKind();
[[nodiscard]] const ContentKind& flvKind();
[[nodiscard]] const ContentKind& mp3Kind();
[[nodiscard]] const ContentKind& adtsKind();
[[nodiscard]] const ContentKind& flacKind();
[[nodiscard]] const ContentKind& oggKind();
[[nodiscard]] const ContentKind& aiffKind();
[[nodiscard]] const ContentKind& midiKind();
[[nodiscard]] const ContentKind& pdfKind();
[[nodiscard]] const ContentKind& zipKind();
[[nodiscard]] const ContentKind& compoundFileKind();
[[nodiscard]] const ContentKind& rtfKind();
[[nodiscard]] const ContentKind& markupKind();
[[nodiscard]] const ContentKind& textKind();
[[nodiscard]] const ContentKind& mailKind();
[[nodiscard]] const ContentKind& cardKind();
[[nodiscard]] const ContentKind& sqliteKind();
[[nodiscard]] const ContentKind& sevenZipKind();
[[nodiscard]] const ContentKind& rarKind();
[[nodiscard]] const ContentKind& gzipKind();
[[nodiscard]] const ContentKind& bzip2Kind();
[[nodiscard]] const ContentKind& xzKind();
[[nodiscard]] const ContentKind& tarKind();
[[nodiscard]] const ContentKind& isoKind();
[[nodiscard]] const ContentKind& peKind();
[[nodiscard]] const ContentKind& elfKind();
[[nodiscard]] const ContentKind& pstKind();
[[nodiscard]] const ContentKind& fontKind();
[[nodiscard]] const ContentKind& iconKind();
[[nodiscard]] const ContentKind& arKind();

} // namespace kova
