#pragma once

#include <cstdint>

// Sound from memory: the operations of the BASS programming interface that the player uses, in
// our own declarations. They are done here, by a decoder process and the system's audio output. On
// Windows they lead to the library's DLL instead where that lies beside the program, which must
// not be an administrator's.
//
// Positions and lengths are bytes of the decoded stream, in whole sample frames. An operation
// that is given 0 or a handle that is no longer valid fails and changes nothing. Failure is 0,
// except where noted. Any thread may call. Apart from BASS_Init, BASS_StreamCreateFile and
// BASS_Free, no operation waits for a device or a decoder.

/// A sound that can be played; 0 is none.
using HSTREAM = std::uint32_t;
/// A loaded extension for further formats; 0 is none.
using HPLUGIN = std::uint32_t;

/// The file name of BASS_PluginLoad is a string of wchar_t.
inline constexpr std::uint32_t BASS_UNICODE = 0x80000000;
/// A position counted in bytes.
inline constexpr std::uint32_t BASS_POS_BYTE = 0;
/// What BASS_ChannelGetPosition and BASS_ChannelGetLength return on failure.
inline constexpr std::uint64_t BASS_NO_POSITION = ~std::uint64_t{0};

/// Takes the output `device`, -1 for the default one, preferably at `frequency` Hz. `flags` are
/// 0, `window` and `classId` null. Returns non-zero when there is sound, and 0 also when it was
/// taken already.
int BASS_Init(int device, std::uint32_t frequency, std::uint32_t flags, void* window,
              const void* classId);

/// Loads the extension in `file`, null-terminated, with the flag BASS_UNICODE.
HPLUGIN BASS_PluginLoad(const void* file, std::uint32_t flags);

/// Makes a stream of the `length` bytes at `file` + `offset`. `fromMemory` is non-zero and
/// `flags` 0. The bytes stay the caller's and must stay as they are until the stream is freed or
/// stopped for good; no copy of them is kept in this process. Returns 0 when they are of no known
/// format, and at the latest after 3 seconds.
HSTREAM BASS_StreamCreateFile(int fromMemory, const void* file, std::uint64_t offset,
                              std::uint64_t length, std::uint32_t flags);

/// Plays on from the present position, or from the start if `restart` is non-zero or the stream
/// has ended.
int BASS_ChannelPlay(std::uint32_t handle, int restart);

/// Keeps the position. Fails when the stream is not playing.
int BASS_ChannelPause(std::uint32_t handle);

/// Silent at once. Succeeds also for a stream that does not play.
int BASS_ChannelStop(std::uint32_t handle);

/// Moves to byte `position`, rounded down to a whole sample frame, whether playing or not. Fails
/// beyond the length.
int BASS_ChannelSetPosition(std::uint32_t handle, std::uint64_t position, std::uint32_t mode);

/// How far the stream was played: what the device has got. BASS_NO_POSITION on failure.
std::uint64_t BASS_ChannelGetPosition(std::uint32_t handle, std::uint32_t mode);

/// Length of the whole stream; BASS_NO_POSITION on failure.
std::uint64_t BASS_ChannelGetLength(std::uint32_t handle, std::uint32_t mode);

/// Ends and releases a stream, playing or not.
int BASS_StreamFree(HSTREAM handle);

int BASS_PluginFree(HPLUGIN handle);

/// Releases the device and every stream. Nothing of the library runs afterwards.
int BASS_Free();
