#include "workers/promisedBytes.h"

#include "model/texts.h"

#include <algorithm>
#include <limits>

using kova::int64;
using kova::uint64;

uint64 promisedBytes(const kova::ZFileTree& tree) {
    constexpr uint64 kMost = std::numeric_limits<int64>::max(); // as texts show it
    uint64 sum = 0;
    for (const auto& [id, node] : tree.allNodes()) {
        if (!node.isDirectory && node.size > 0)
            sum = std::min(kMost, sum + static_cast<uint64>(node.size));
    }
    return sum;
}

QString warningOfPromise(uint64 promised, uint64 driveBytes) {
    if (driveBytes == 0 || promised <= driveBytes)
        return {};
    return QStringLiteral("the files found come to %1, more than the drive holds (%2): they share "
                          "clusters, or their sizes are wrong, and some will not be what they were")
        .arg(formatSize(static_cast<int64>(promised)), formatSize(static_cast<int64>(driveBytes)));
}
