#include "engine/search/remnants/settlePlaces.h"

#include "engine/content/ContentKinds.h"
#include "engine/search/FreeSpace.h"
#include "engine/search/PlacedSource.h"

#include <algorithm>
#include <array>
#include <map>
#include <unordered_map>

namespace kova {

namespace {

using Item = ZFormerFiles::Item;

/// Longer files are not followed to their end.
constexpr int64 kLongestFollowed = int64{256} << 20;
constexpr std::size_t kBytesShown = 4096;

/// What a file's content says of the place that a source gives it.
enum class Verdict { Right, Broken, Foreign, CannotTell };

/// `found`: the find that begins there and lies in one piece, if there is one.
Verdict judge(const ZFileTreeNode& node, ContentSource& source, const ContentFind* found) {
    const std::wstring suffix = suffixOf(node.name);
    std::array<uint8, kBytesShown> first{};
    const auto wanted = static_cast<std::size_t>(std::min<int64>(node.size, kBytesShown));
    const std::size_t held = source.read(0, std::span(first).first(wanted));
    const Fit fit = fits(suffix, std::span(first).first(held));
    if (fit == Fit::No)
        return Verdict::Foreign;
    if (fit == Fit::CannotTell || node.size > kLongestFollowed)
        return Verdict::CannotTell;
    const RecognisedContent content = recognise(std::span(first).first(held));
    if (content.kind == nullptr || content.certainty == Certainty::Weak)
        return Verdict::CannotTell;
    // All that a large one is recognised by was there when it was found, too.
    const bool isMeasured = found != nullptr && wanted == kBytesShown;
    const MeasuredContent measured = isMeasured ? found->content : content.kind->measure(source);
    const auto size = static_cast<uint64>(node.size);
    if (measured.state == ContentState::Whole && measured.length <= size)
        return measured.verified || measured.length == size ? Verdict::Right : Verdict::CannotTell;
    return Verdict::Broken;
}

class Settling {
public:
    Settling(ZCustomMedia& media, std::vector<Item>& items, const std::vector<ByteRange>& held,
             const std::vector<ContentFind>& finds)
        : media_(media), items_(items), space_(nullptr, media.sizeBytes()) {
        taken_.add(held);
        for (const ContentFind& find : finds) {
            if (find.place.size() == 1 && find.content.state == ContentState::Whole)
                finds_.emplace(find.place.front().start, &find);
        }
    }

    void run() {
        for (const Item& item : items_) {
            if (item.isChained)
                taken_.add(item.place);
        }
        for (Item& item : items_) {
            if (item.node.isDirectory || item.place.empty() || item.isChained)
                continue;
            if (runsIntoAnother(item) || !isRight(item))
                open_.push_back(&item);
            else
                taken_.add(item.place);
        }
        for (Item* item : open_)
            tryAround(*item);
    }

private:
    /// Where the files begin, for the asking whether one runs into another.
    [[nodiscard]] bool runsIntoAnother(const Item& item) {
        if (starts_.empty()) {
            for (const Item& other : items_) {
                if (!other.place.empty() && other.node.exists)
                    ++starts_[other.place.front().start];
            }
        }
        const ByteRange& range = item.place.front();
        const auto next = starts_.upper_bound(range.start);
        return next != starts_.end() && next->first < range.end();
    }

    bool isRight(Item& item) {
        PlacedSource source(media_, space_, item.place.front().start);
        const auto found = finds_.find(item.place.front().start);
        const Verdict verdict =
            judge(item.node, source, found == finds_.end() ? nullptr : found->second);
        item.isLost = verdict == Verdict::Foreign;
        return verdict != Verdict::Broken;
    }

    void tryAround(Item& item) {
        PlacedSource source(media_, space_, item.place.front().start, &taken_);
        const Verdict verdict = judge(item.node, source, nullptr);
        auto place = source.place(static_cast<uint64>(item.node.size));
        item.isLost = verdict == Verdict::Foreign;
        item.isDoubtful = verdict != Verdict::Right;
        if (place.empty())
            return;
        item.place = std::move(place);
        if (verdict == Verdict::Right)
            taken_.add(item.place);
    }

    ZCustomMedia& media_;
    std::vector<Item>& items_;
    FreeSpace space_;
    TakenSpace taken_;
    std::unordered_map<uint64, const ContentFind*> finds_; ///< Whole ones in one piece, by start.
    std::map<uint64, int> starts_;
    std::vector<Item*> open_;
};

} // namespace

void settlePlaces(ZCustomMedia& media, std::vector<Item>& items, const std::vector<ByteRange>& held,
                  const std::vector<ContentFind>& finds) {
    Settling(media, items, held, finds).run();
}

} // namespace kova
