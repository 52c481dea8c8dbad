#pragma once

namespace audio {

/// The decoder process's side of sound: reads a file's bytes from the descriptor `input`, then
/// answers on `output` with its format and with pieces of decoded sound as they are asked for,
/// until `input` ends. What it reads is hostile, so the process should have nothing to lose.
/// Returns the process's exit status.
int serveSound(int input, int output);

} // namespace audio
