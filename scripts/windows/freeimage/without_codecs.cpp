// Formats are known by their place in the list of codecs, so what is left out keeps its place: a
// codec that recognises nothing and reads nothing.

#include "FreeImage.h"
#include "Utilities.h"

namespace {

const char* DLL_CALLCONV noFormat() {
    return "left out";
}

void leaveOut(Plugin* plugin) {
    plugin->format_proc = noFormat;
}

} // namespace

void DLL_CALLCONV InitEXR(Plugin* plugin, int) {
    leaveOut(plugin);
}

void DLL_CALLCONV InitJ2K(Plugin* plugin, int) {
    leaveOut(plugin);
}

void DLL_CALLCONV InitJP2(Plugin* plugin, int) {
    leaveOut(plugin);
}

void DLL_CALLCONV InitJXR(Plugin* plugin, int) {
    leaveOut(plugin);
}

void DLL_CALLCONV InitRAW(Plugin* plugin, int) {
    leaveOut(plugin);
}

void DLL_CALLCONV InitWEBP(Plugin* plugin, int) {
    leaveOut(plugin);
}
