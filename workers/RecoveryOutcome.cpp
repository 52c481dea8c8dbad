#include "workers/RecoveryOutcome.h"

void RecoveryOutcome::add(const RecoveredFile& file) {
    if (file.isComplete()) {
        ++complete;
        completeBytes += static_cast<kova::uint64>(file.writtenBytes);
    } else if (file.writtenBytes > 0) {
        ++incomplete;
        partlyOverwritten += file.isOverwritten() ? 1U : 0U;
    } else {
        ++failed;
    }
    if (file.report.encrypted && file.writtenBytes > 0)
        ++encrypted;
}
