#pragma once

namespace platform {

/// Gives up, for the rest of this process' life, all that decoding from memory to memory does not
/// need: rights, files, other programs and processes, the network. To be called before the first
/// hostile byte is read, by a process that has only standard input and output open.
///
/// False when the system cannot keep the process in; it must then not go on.
[[nodiscard]] bool enterSandbox();

} // namespace platform
