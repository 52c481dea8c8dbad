#pragma once

#include "workers/RecoveredFile.h"
#include "workers/RecoveryOutcome.h"

#include <QString>

/// What there is to say about a recovered file, for a list of such files: why it is not complete,
/// or what is to be known of one that is. Empty when there is nothing.
[[nodiscard]] QString remarkOn(const RecoveredFile& file);

/// Why a recovery ended before all files were written: a clause without a capital letter or a full
/// stop. Empty when it was not so, or the user has asked for it.
[[nodiscard]] QString reasonForEnd(const RecoveryOutcome& outcome);
