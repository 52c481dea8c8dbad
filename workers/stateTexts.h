#pragma once

#include "engine/FileState.h"

#include <QString>

/// What state a file is in, as a sentence for someone who thinks about recovering it. Empty when
/// nobody can tell.
[[nodiscard]] QString stateInWords(const kova::FileState& state);

/// Why a file that was recovered in full may all the same not be what it was: a clause without a
/// capital letter or a full stop. Empty when nothing says so.
[[nodiscard]] QString doubtAbout(const kova::FileState& state);
