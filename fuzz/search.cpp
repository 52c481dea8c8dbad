#include "fuzz/SearchedDrive.h"
#include "fuzz/VolumeRun.h"

#include <zlib.h>

namespace {

/// Lines of a saved search but for the last, which vouches for them.
void runLines(std::string text) {
    const uLong crc = crc32_z(0, reinterpret_cast<const Bytef*>(text.data()), text.size());
    text += "{\"end\":" + std::to_string(crc) + "}\n";
    static kova::test::TestMedia media = kova::fuzz::searchedDrive();
    kova::fuzz::runSavedSearch(media, text);
}

} // namespace

/// Any bytes, mostly those of volumes, as a drive on which no file system is recognised; or as what
/// is kept of a search.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 0 && data[0] == '{')
        runLines({data, data + size});
    else
        kova::fuzz::runSearch({data, size});
    return 0;
}
