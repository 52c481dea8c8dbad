#include "engine/content/TextRun.h"
#include "engine/content/kinds.h"

#include <algorithm>

namespace kova {

namespace {

constexpr ContentType kTypes[] = {{L"Text", L"txt", ContentGroup::Documents}};

/// So much of a file tells whether it is text.
constexpr std::size_t kTold = 512;

class TextKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return {}; }

    std::size_t bytesNeeded() const override { return 1; }

    Certainty begins(std::span<const uint8> first) const override {
        const auto told = first.first(std::min(first.size(), kTold));
        return isText(told, false) ? Certainty::Weak : Certainty::No;
    }

    Fit mayContinue(std::span<const uint8> block, uint64) const override {
        return isText(block, true) ? Fit::Yes : Fit::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        const TextRun run = textRun(reader);
        if (run.end > 0)
            run.tell(found);
    }
};

} // namespace

const ContentKind& textKind() {
    static const TextKind kind;
    return kind;
}

} // namespace kova
