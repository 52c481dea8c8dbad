#pragma once

#include "engine/content/ContentKind.h"

/// The families of formats, each in the source file named after its class, or after what a group of
/// small ones has in common.
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
[[nodiscard]] const ContentKind& auKind();
[[nodiscard]] const ContentKind& cafKind();
[[nodiscard]] const ContentKind& wave64Kind();
[[nodiscard]] const ContentKind& ttaKind();
[[nodiscard]] const ContentKind& apeKind();
[[nodiscard]] const ContentKind& dsfKind();
[[nodiscard]] const ContentKind& dffKind();
[[nodiscard]] const ContentKind& vocKind();
[[nodiscard]] const ContentKind& ac3Kind();
[[nodiscard]] const ContentKind& dtsKind();
[[nodiscard]] const ContentKind& wavPackKind();
[[nodiscard]] const ContentKind& amrKind();
[[nodiscard]] const ContentKind& amrWideKind();
[[nodiscard]] const ContentKind& rafKind();
[[nodiscard]] const ContentKind& ddsKind();
[[nodiscard]] const ContentKind& pnmKind();
[[nodiscard]] const ContentKind& sunRasterKind();
[[nodiscard]] const ContentKind& dpxKind();
[[nodiscard]] const ContentKind& dpxLittleKind();
[[nodiscard]] const ContentKind& fitsKind();
[[nodiscard]] const ContentKind& emfKind();
[[nodiscard]] const ContentKind& wmfKind();
[[nodiscard]] const ContentKind& icnsKind();
[[nodiscard]] const ContentKind& pcxKind();
[[nodiscard]] const ContentKind& sgiKind();
[[nodiscard]] const ContentKind& radianceKind();
[[nodiscard]] const ContentKind& qoiKind();
[[nodiscard]] const ContentKind& jpeg2000Kind();
[[nodiscard]] const ContentKind& jpeg2000CodeKind();
[[nodiscard]] const ContentKind& jpegXlKind();
[[nodiscard]] const ContentKind& zstdKind();
[[nodiscard]] const ContentKind& lz4Kind();
[[nodiscard]] const ContentKind& lzipKind();
[[nodiscard]] const ContentKind& cpioKind();
[[nodiscard]] const ContentKind& squashFsKind();
[[nodiscard]] const ContentKind& cabinetKind();
[[nodiscard]] const ContentKind& rpmKind();
[[nodiscard]] const ContentKind& realMediaKind();
[[nodiscard]] const ContentKind& mxfKind();
[[nodiscard]] const ContentKind& ivfKind();
[[nodiscard]] const ContentKind& flashKind();
[[nodiscard]] const ContentKind& packedFlashKind();
[[nodiscard]] const ContentKind& dvKind();
[[nodiscard]] const ContentKind& djvuKind();
[[nodiscard]] const ContentKind& helpKind();
[[nodiscard]] const ContentKind& mobiKind();
[[nodiscard]] const ContentKind& tgaKind();

} // namespace kova
