#pragma once

#include "audio/Bass.h"

/// The stream that the player plays, freed with its holder or when another takes its place.
class SoundStream {
public:
    SoundStream() = default;
    SoundStream(const SoundStream&) = delete;
    SoundStream& operator=(const SoundStream&) = delete;

    ~SoundStream() { free(); }

    /// Takes `newHandle` over, also 0 for none.
    void replace(HSTREAM newHandle) {
        free();
        handle = newHandle;
        owned = true;
    }

    /// 0 when there is none; operations on it then fail and do nothing.
    [[nodiscard]] HSTREAM get() const { return handle; }

private:
    void free() const {
        if (owned && handle != 0)
            BASS_StreamFree(handle);
    }

    HSTREAM handle = 0;
    bool owned = false;
};
