#pragma once

#include "engine/content/ContentReader.h"

#include <memory>

namespace kova {

struct MeasuredContent;

/// What is known of a file up to one of its bytes, so that what may come next is tried without
/// going over all that lies before. Immutable; belongs to one thread. The readers that it is given
/// have the same file up to that byte.
class ContentTrace {
public:
    ContentTrace() = default;
    ContentTrace(const ContentTrace&) = delete;
    ContentTrace& operator=(const ContentTrace&) = delete;
    virtual ~ContentTrace() = default;

    /// What is known up to a later byte; nothing when the file is not right up to there.
    [[nodiscard]] virtual std::unique_ptr<ContentTrace> upTo(ContentReader& reader,
                                                             uint64 offset) const = 0;

    /// Whether what `reader` has from its byte on may go on with the file: it looks at a few
    /// clusters, and a wrong one passes hardly ever.
    [[nodiscard]] virtual bool goesOn(ContentReader& reader) const = 0;

    /// Says in `found` how far the file reaches, as measuring all of it would.
    virtual void follow(ContentReader& reader, MeasuredContent& found) const = 0;

    /// Whether a wrong byte shows wherever it is, at the end at the latest. Where it does not,
    /// there may be several places at which the file can have been broken off.
    [[nodiscard]] virtual bool tellsExactly() const { return true; }
};

} // namespace kova
