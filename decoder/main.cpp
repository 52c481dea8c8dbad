#include "decoder/picture/servePicture.h"
#include "decoder/sound/serveSound.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>

/// Decodes what it is given on standard input, for the wizard: see decoder/Message.h.
int main(int argc, char** argv) {
    const std::string_view mode = argc == 2 ? argv[1] : "";
    if (mode == "picture")
        return picture::servePicture();
    if (mode == "sound")
        return sound::serveSound();
    std::fputs("orvane-decoder is started by Orvane's wizard.\n", stderr);
    return EXIT_FAILURE;
}
