#pragma once

namespace sound {

/// The work of a process that does nothing else: decodes the one file it is given, and gives the
/// pieces that are asked for, as SoundMessage.h says. Returns the exit status.
int serveSound();

} // namespace sound
