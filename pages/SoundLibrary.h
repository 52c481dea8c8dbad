#pragma once

#include "audio/Bass.h"

#include <vector>

/// The audio library while the results page uses it. Without a device, or without the library,
/// the page works all the same; sounds are then unavailable.
class SoundLibrary {
public:
    /// Takes the default output.
    SoundLibrary();
    SoundLibrary(const SoundLibrary&) = delete;
    SoundLibrary& operator=(const SoundLibrary&) = delete;
    /// Every stream has been freed by then.
    ~SoundLibrary();

    /// Loads what there is of the extensions for further formats.
    void loadPlugins();

private:
    bool initialised;
    std::vector<HPLUGIN> plugins; ///< In the order they were loaded.
};
