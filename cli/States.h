#pragma once

#include "engine/ZVolume.h"

#include <QString>

#include <set>

/// The states of files as the command line names them, and which of them the user has asked for.
class States {
public:
    /// Any state.
    States() = default;

    /// Names separated by commas. Throws `CommandError` for one that is none.
    explicit States(const QString& names);

    [[nodiscard]] bool isAny() const { return kinds_.empty(); }

    /// Looks at the file's content only when a state was asked for that shows in it.
    [[nodiscard]] bool accepts(kova::ZVolume& volume, const kova::ZFileTreeNode& file) const;

    /// One word in lower case; "unknown" when nobody can tell.
    [[nodiscard]] static const char* nameOf(kova::FileState::Kind kind);

    /// One character for a listing, a space when nobody can tell.
    [[nodiscard]] static QChar letterOf(kova::FileState::Kind kind);

    /// What the letters stand for.
    [[nodiscard]] static QString legend();

private:
    std::set<kova::FileState::Kind> kinds_;
};
