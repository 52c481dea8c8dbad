#pragma once

namespace audio {

/// The work of a process that does nothing else: gets one file from standard input, decodes it
/// within a sandbox and gives the pieces that are asked for to standard output, as
/// audio/SoundProtocol.h says. Returns the exit status.
int serveSound();

} // namespace audio
