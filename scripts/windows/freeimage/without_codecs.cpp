// Formats are known by their place in the list of codecs, so what is left out keeps its place: a
// codec that recognises nothing and reads nothing.

#include "FreeImage.h"
#include "Utilities.h"

namespace {

const char* DLL_CALLCONV noFormat() {
    return "left out";
}

} // namespace

void DLL_CALLCONV InitJXR(Plugin* plugin, int) {
    plugin->format_proc = noFormat;
}
