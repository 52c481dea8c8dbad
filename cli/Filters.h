#pragma once

#include "cli/States.h"
#include "engine/ZFileTree.h"
#include "model/ExtensionFilter.h"

#include <QCommandLineParser>
#include <QRegularExpression>
#include <QString>

#include <optional>

/// Which of the found files a command is about, by the options the user gave. Folders are never
/// asked for: they are there for the files in them.
class Filters {
public:
    static void addOptions(QCommandLineParser& parser);

    /// Throws `CommandError` when a value makes no sense.
    explicit Filters(const QCommandLineParser& parser);

    /// False when every file is wanted.
    [[nodiscard]] bool isNarrow() const;

    /// Lets the tree keep only files of the wanted types. Before the scan.
    void install(kova::ZFileTree& tree) const;

    /// Whether a file passes all filters but that of `install`.
    [[nodiscard]] bool accepts(kova::ZVolume& volume, const kova::ZFileTreeNode& file) const;

    /// A byte count with an optional suffix K, M, G or T (1024 each), as in "10K" and "5MB".
    [[nodiscard]] static std::optional<kova::int64> parseSize(const QString& text);

    /// An ISO 8601 date or date and time as FILETIME: local time, or UTC with a "Z" at the end.
    /// A date alone is its first moment.
    [[nodiscard]] static std::optional<kova::int64> parseTime(const QString& text);

    /// Whether the whole of `name` matches the glob `pattern` ("*", "?", "[...]"), in any case.
    class Glob {
    public:
        explicit Glob(const QString& pattern);

        [[nodiscard]] bool isValid() const { return expression_.isValid(); }

        [[nodiscard]] bool matches(const QString& name) const;

    private:
        QRegularExpression expression_;
    };

private:
    std::optional<ExtensionFilter> types_;
    std::optional<Glob> name_;
    States states_;
    std::optional<kova::int64> minSize_;
    std::optional<kova::int64> maxSize_;
    std::optional<kova::int64> modifiedAfter_;
    std::optional<kova::int64> modifiedBefore_;
};
