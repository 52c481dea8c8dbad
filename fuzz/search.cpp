#include "fuzz/VolumeRun.h"

/// Any bytes, mostly those of volumes, as a drive on which no file system is recognised.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kova::fuzz::runSearch({data, size});
    return 0;
}
