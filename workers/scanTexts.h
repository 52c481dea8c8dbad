#pragma once

#include "engine/VolumeNote.h"

#include <QString>

#include <chrono>

/// For how long something goes on, roughly: "less than a minute", "about 40 minutes", "about 2.5
/// hours". Empty for 0, which stands for what is not known.
[[nodiscard]] QString durationText(std::chrono::seconds duration);

/// What a volume had to do without, and what that means for what was found: a clause without a
/// capital letter or a full stop.
[[nodiscard]] QString textOf(kova::VolumeNote note);
