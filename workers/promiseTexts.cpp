#include "workers/promiseTexts.h"

#include "model/texts.h"

using kova::int64;
using kova::uint64;

QString warningOfPromise(uint64 promised, uint64 driveBytes) {
    if (driveBytes == 0 || promised <= driveBytes)
        return {};
    return QStringLiteral("the files found come to %1, more than the drive holds (%2): they share "
                          "clusters, or their sizes are wrong, and some will not be what they were")
        .arg(formatSize(static_cast<int64>(promised)), formatSize(static_cast<int64>(driveBytes)));
}
