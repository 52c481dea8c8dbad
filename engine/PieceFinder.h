#pragma once

#include "engine/ByteRange.h"
#include "engine/ClusterLayout.h"
#include "engine/FormerStarts.h"
#include "engine/ZCustomMedia.h"
#include "engine/content/judgeContent.h"

#include <functional>
#include <string_view>
#include <vector>

namespace kova {

/// Clusters that follow each other.
struct ClusterRun {
    uint32 first = 0;
    uint64 count = 0;
};

/// Finds the pieces of a deleted file of which only the first cluster is known.
///
/// A file was written into what was free then: clusters that are in use now are stepped over. Where
/// another deleted file began it either still lies, and was stepped over too, or this one was
/// written over it. What lies there mostly tells; where it does not, or was misleading, both ways
/// are tried until the content is a whole file of the kind that the name promises.
class PieceFinder {
public:
    /// The free clusters that hold `cluster`, from their first on, or the next ones; none: count 0.
    using FreeRun = std::function<ClusterRun(uint64 cluster)>;

    /// Clusters are numbered from `kFirstCluster` on. Neither media nor starts are owned.
    PieceFinder(ZCustomMedia& media, const ClusterLayout& layout, FormerStarts& starts,
                FreeRun freeRun);

    static constexpr uint32 kFirstCluster = 2;

    /// What content says about a file that lies in some pieces.
    struct Answer : ContentVerdict {
        uint64 bytesRead = 0;
    };

    [[nodiscard]] Answer ask(const std::vector<ClusterRun>& runs, uint64 bytes,
                             std::wstring_view name);

    struct Found {
        std::vector<ClusterRun> runs;
        Answer answer;
    };

    /// The likeliest pieces of `bytes` bytes that begin in a free cluster. Reads at most 256 MiB.
    [[nodiscard]] Found find(uint32 first, uint64 bytes, std::wstring_view name);

private:
    /// A start that lay in the way.
    struct Choice {
        uint64 offset = 0; ///< Bytes of the file before it.
        bool isSteppedOver = false;
        bool isSecond = false; ///< The other way has been tried.
    };

    [[nodiscard]] std::vector<ClusterRun> layOut(uint32 first, uint64 count);
    [[nodiscard]] bool choose(FormerStarts::Start& start, std::size_t index, uint64 offset);
    [[nodiscard]] FormerStarts::Remains lookAt(FormerStarts::Start& start);
    [[nodiscard]] bool turn(const Answer& answer);

    ZCustomMedia& media_;
    ClusterLayout layout_;
    FormerStarts& starts_;
    FreeRun freeRun_;
    std::vector<Choice> choices_; ///< Those up to the one that was changed last, then what follows.
    std::size_t stepsLeft_ = 0;   ///< Starts that may still be met.
    std::vector<uint8> buffer_;
};

} // namespace kova
