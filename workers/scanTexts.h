#pragma once

#include "engine/VolumeNote.h"

#include <QString>

/// What a volume had to do without, and what that means for what was found: a clause without a
/// capital letter or a full stop.
[[nodiscard]] QString textOf(kova::VolumeNote note);
