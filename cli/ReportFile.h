#pragma once

#include "cli/Source.h"
#include "platform/File.h"
#include "platform/Folder.h"

#include <QString>

#include <string>
#include <string_view>

/// The file that a report goes to. Until all of it is written it has another name, and it never
/// takes the place of a file that is there.
class ReportFile {
public:
    enum class Format { Html, Csv, Json };

    /// Sees to it, before anything else is done, that the name ends in ".html", ".csv" or ".json".
    /// Throws `CommandError`.
    explicit ReportFile(const QString& path);
    ReportFile(const ReportFile&) = delete;
    ReportFile& operator=(const ReportFile&) = delete;

    /// Removes what has not been finished.
    ~ReportFile();

    [[nodiscard]] Format format() const { return format_; }

    /// Sees to it, before the scan, that it can be written, harms nothing and replaces nothing.
    /// Throws `CommandError`. `isForced`: it need not be known where what is written goes.
    void check(const Source& source, bool isForced);

    /// Takes room on the drive for so many bytes, as the recovered files may leave none. Throws
    /// `CommandError` when there is not so much.
    void reserve(kova::uint64 bytes);

    /// Adds to it. Throws `CommandError`.
    void write(std::string_view bytes);

    /// Gives it its name, with a number if that has been taken meanwhile. Returns its path. Throws
    /// `CommandError`.
    QString finish();

private:
    [[nodiscard]] CommandError cannotWrite(const platform::Failure& failure) const;
    void create();
    void put(std::string_view bytes);
    void flush();

    QString path_;
    Format format_;
    platform::Folder folder_;
    std::wstring part_; ///< Its name until it is finished; empty while there is no file.
    platform::File file_;
    std::string buffer_;
    kova::int64 written_ = 0; ///< Bytes in the file.
};
