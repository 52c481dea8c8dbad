#pragma once

namespace picture {

/// The decoder process' side of a picture: reads one file from standard input and answers with
/// its thumbnail on standard output. Returns the exit status.
int servePicture();

} // namespace picture
