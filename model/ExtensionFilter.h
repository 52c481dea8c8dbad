#pragma once

#include "engine/ZFileTreeNode.h"

#include <QSet>
#include <QString>
#include <QStringList>

/// Decides by its suffix whether a found file is wanted. Directories always are.
///
/// The suffix is what follows the last dot of the name, in lower case; without a dot it is empty.
/// A suffix in `denied` is never wanted; otherwise one in `allowed` is, and every one when
/// `allowed` holds "*". Some suffixes belong to two families: they are wanted only when both are.
class ExtensionFilter {
public:
    enum class Family { Documents, Pictures, Videos, Sounds, Programs, Other };

    /// Every family, in the order in which they are offered.
    static QList<Family> families();

    /// The suffixes of a family; empty for `Other`, which stands for all that no family lists.
    static QSet<QString> suffixes(Family family);

    /// Wants nothing.
    ExtensionFilter() = default;
    ExtensionFilter(QSet<QString> allowed, QSet<QString> denied);

    /// Wants every file.
    static ExtensionFilter everything();

    /// Wants the files of the given families only.
    static ExtensionFilter of(const QList<Family>& wanted);

    [[nodiscard]] const QSet<QString>& allowed() const { return allowed_; }

    [[nodiscard]] const QSet<QString>& denied() const { return denied_; }

    [[nodiscard]] bool accepts(const kova::ZFileTreeNode& node) const;

private:
    QSet<QString> allowed_;
    QSet<QString> denied_;
};
