#include "cli/SearchFile.h"

#include "cli/CommandError.h"
#include "cli/outputPlace.h"
#include "engine/search/savedSearchLines.h"
#include "model/texts.h"
#include "platform/File.h"

#include <QFileInfo>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace {

constexpr std::int64_t kMostBytes = std::int64_t{1} << 30;
/// Text is written in pieces of about so many bytes.
constexpr std::size_t kPieceBytes = std::size_t{1} << 20;

QString folderOf(const QString& path) {
    return QFileInfo(path).absolutePath();
}

CommandError notRead(const QString& path, const QString& why) {
    return {ExitCode::WrongUsage, QStringLiteral("\"%1\" %2").arg(path, why)};
}

/// Appends lines to a file.
class Appending {
public:
    explicit Appending(platform::File& file) : file_(file) {}

    void add(std::string_view text) {
        piece_ += text;
        if (piece_.size() >= kPieceBytes)
            flush();
    }

    bool flush() {
        isWritten_ = isWritten_ && file_.writeAt(position_, piece_.data(), piece_.size());
        position_ += static_cast<std::int64_t>(piece_.size());
        piece_.clear();
        return isWritten_;
    }

private:
    platform::File& file_;
    std::string piece_;
    std::int64_t position_ = 0;
    bool isWritten_ = true;
};

} // namespace

kova::SavedSearch SearchFile::load(const QString& path) {
    platform::File file;
    if (!file.open(toWide(path), static_cast<std::uint32_t>(platform::Disposition::OpenExisting),
                   platform::kGenericRead))
        throw notRead(path,
                      QStringLiteral("cannot be read: %1").arg(toQString(file.failure().words)));
    const std::int64_t size = file.size();
    std::optional<kova::SavedSearch> search;
    if (size > 0 && size <= kMostBytes) {
        std::string text(static_cast<std::size_t>(size), '\0');
        if (file.readAt(0, text.data(), text.size()) == size)
            search = kova::readLines(text);
    }
    if (!search)
        throw notRead(path, QStringLiteral("is no saved search, or is damaged, or another version "
                                           "of Orvane has written it"));
    return std::move(*search);
}

SearchFile::SearchFile(const QString& path, const platform::Drive& drive, bool exists)
    : path_(path), exists_(exists) {
    refuseDriveItself(QStringLiteral("the folder of the saved search,"), folderOf(path), drive,
                      false, QString());
    const QFileInfo info(path);
    if (!exists && (info.exists() || info.isSymLink()))
        throw CommandError{ExitCode::OutputRefused,
                           QStringLiteral("\"%1\" exists already; name a new file, or go on with "
                                          "the search in it by --resume")
                               .arg(path)};
    folder_.open(toWide(folderOf(path)));
}

void SearchFile::write(const kova::SavedSearch& search) {
    failure_ = replace(search);
    exists_ = exists_ || !failure_;
}

platform::Failure SearchFile::replace(const kova::SavedSearch& search) {
    const std::wstring name = toWide(QFileInfo(path_).fileName());
    const std::wstring fresh = name + L".part";
    if (!folder_.isOpen() && !folder_.open(toWide(folderOf(path_))))
        return folder_.failure();
    folder_.remove(fresh); // Of a run that was ended by force.
    platform::File file;
    if (!file.open(folder_, fresh, static_cast<std::uint32_t>(platform::Disposition::CreateNew),
                   platform::kGenericRead | platform::kGenericWrite))
        return file.failure();
    Appending appending(file);
    kova::writeLines(search, [&](std::string_view text) { appending.add(text); });
    if (!appending.flush() || !file.sync() || !file.close()) {
        platform::Failure failure = file.failure();
        file.close();
        folder_.remove(fresh);
        return failure;
    }
    if (folder_.rename(fresh, name, platform::Folder::Taken::Replace))
        return {};
    platform::Failure failure = folder_.failure();
    folder_.remove(fresh);
    return failure;
}
