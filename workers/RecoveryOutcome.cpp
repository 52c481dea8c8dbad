#include "workers/RecoveryOutcome.h"

using kova::uint64;
using Kind = kova::FileState::Kind;

void RecoveryOutcome::add(const RecoveredFile& file) {
    const bool isThere = file.writtenBytes > 0;
    complete += file.isComplete() ? 1U : 0U;
    incomplete += !file.isComplete() && isThere ? 1U : 0U;
    failed += !file.isComplete() && !isThere ? 1U : 0U;
    doubtful += file.isDoubtful() ? 1U : 0U;
    guessed += file.isDoubtful() && file.state.kind == Kind::Uncertain ? 1U : 0U;
    partlyOverwritten += file.isOverwritten() && isThere ? 1U : 0U;
    erased += file.isErased() && isThere ? 1U : 0U;
    encrypted += file.report.encrypted && isThere ? 1U : 0U;
    verified += file.isVerified ? 1U : 0U;
    gaveWay += file.gaveWay ? 1U : 0U;
    completeBytes += file.isComplete() ? static_cast<uint64>(file.writtenBytes) : 0U;
}

void RecoveryOutcome::doubt(const RecoveredFile& file) {
    inDoubt += file.path;
    (file.isComplete() ? complete : incomplete) -= 1;
    ++failed;
    doubtful -= file.isDoubtful() ? 1U : 0U;
    guessed -= file.isDoubtful() && file.state.kind == Kind::Uncertain ? 1U : 0U;
    partlyOverwritten -= file.isOverwritten() ? 1U : 0U;
    erased -= file.isErased() ? 1U : 0U;
    encrypted -= file.report.encrypted ? 1U : 0U;
    verified -= file.isVerified ? 1U : 0U;
    completeBytes -= file.isComplete() ? static_cast<uint64>(file.writtenBytes) : 0U;
}
