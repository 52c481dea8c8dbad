#ifdef ORVANE_SOUND_DECODER
#include "audio/decoder/serveSound.h"
#endif
#include "workers/picture/servePicture.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>

/// Decodes what it is given on standard input, for the wizard: see the calls' own headers.
int main(int argc, char** argv) {
    const std::string_view mode = argc == 2 ? argv[1] : "";
    if (mode == "picture")
        return picture::servePicture();
#ifdef ORVANE_SOUND_DECODER
    if (mode == "sound")
        return audio::serveSound();
#endif
    std::fputs("orvane-decoder is started by Orvane's wizard.\n", stderr);
    return EXIT_FAILURE;
}
