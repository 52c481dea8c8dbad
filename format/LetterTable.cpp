#include "format/LetterTable.h"

#include <algorithm>

namespace format {

LetterTable::LetterTable(std::string_view order) {
    for (const char letter : order)
        entries_.push_back({letter, std::nullopt, nullptr});
}

std::optional<char> LetterTable::assign(const VolumeSource& source, const IsGone& isGone,
                                        std::uint32_t blocked) {
    const std::scoped_lock lock(mutex_);
    for (Entry& entry : entries_) {
        if (entry.source && entry.source->isSame(source)) {
            entry.source = source;
            return entry.letter;
        }
    }
    const auto isFreed = [&](const Entry& entry) {
        return entry.source && !entry.isHeld() && isGone(*entry.source);
    };
    const auto isBlocked = [&](const Entry& entry) {
        return ((blocked >> (entry.letter - 'A')) & 1U) != 0;
    };
    if (!source.fingerprint.empty()) {
        for (Entry& entry : entries_) {
            if (entry.source && entry.source->fingerprint == source.fingerprint &&
                !isBlocked(entry) && isFreed(entry))
                return give(entry, source);
        }
    }
    for (Entry& entry : entries_) {
        if (!entry.source && !isBlocked(entry))
            return give(entry, source);
    }
    for (Entry& entry : entries_) {
        if (!isBlocked(entry) && isFreed(entry))
            return give(entry, source);
    }
    return std::nullopt;
}

std::optional<VolumeSource> LetterTable::find(char letter) const {
    const std::scoped_lock lock(mutex_);
    const Entry* const entry = entryOf(letter);
    return entry != nullptr ? entry->source : std::nullopt;
}

std::optional<LetterTable::Held> LetterTable::hold(char letter) const {
    const std::scoped_lock lock(mutex_);
    const Entry* const entry = entryOf(letter);
    if (entry == nullptr || !entry->source)
        return std::nullopt;
    return Held{*entry->source, entry->lease};
}

std::vector<std::pair<char, VolumeSource>> LetterTable::all() const {
    std::vector<std::pair<char, VolumeSource>> given;
    {
        const std::scoped_lock lock(mutex_);
        for (const Entry& entry : entries_) {
            if (entry.source)
                given.emplace_back(entry.letter, *entry.source);
        }
    }
    std::sort(given.begin(), given.end(),
              [](const auto& left, const auto& right) { return left.first < right.first; });
    return given;
}

std::optional<char> LetterTable::give(Entry& entry, const VolumeSource& source) {
    entry.source = source;
    entry.lease = std::make_shared<int>();
    return entry.letter;
}

const LetterTable::Entry* LetterTable::entryOf(char letter) const {
    const auto found = std::find_if(entries_.begin(), entries_.end(), [letter](const Entry& entry) {
        return entry.letter == letter;
    });
    return found != entries_.end() ? &*found : nullptr;
}

} // namespace format
