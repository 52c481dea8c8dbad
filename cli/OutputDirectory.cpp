#include "cli/OutputDirectory.h"

#include "cli/CommandError.h"
#include "cli/outputPlace.h"
#include "model/texts.h"
#include "platform/Drives.h"
#include "platform/File.h"
#include "workers/writeTrial.h"

#include <QDir>
#include <QFileInfo>

#include <filesystem>
#include <system_error>

namespace {

CommandError refused(const QString& message) {
    return {ExitCode::OutputRefused, message};
}

std::filesystem::path toPath(const QString& path) {
    return path.toStdU16String();
}

/// Whether `file` lies in `directory` or a folder below it, however either is spelled.
bool liesBelow(const QString& file, const QString& directory) {
    std::error_code error;
    const std::filesystem::path top = toPath(directory);
    std::filesystem::path folder = std::filesystem::canonical(toPath(file), error).parent_path();
    for (; !folder.empty(); folder = folder.parent_path()) {
        if (std::filesystem::equivalent(folder, top, error))
            return true;
        if (folder == folder.parent_path())
            break;
    }
    return false;
}

} // namespace

OutputDirectory::OutputDirectory(const QString& path, const Source& source, bool replaces,
                                 bool isForced)
    : path_(QDir::fromNativeSeparators(path)) {
    if (path_.isEmpty())
        throw CommandError{ExitCode::WrongUsage, QStringLiteral("--to: the name is empty")};
    while (path_.size() > 1 && path_.endsWith(u'/'))
        path_.chop(1);
    refuseHarm(source, replaces, isForced);
    create();
    const platform::Failure refusal =
        folder_->open(toWide(path_)) ? tryWriting(*folder_) : folder_->failure();
    if (refusal)
        throw refused(QStringLiteral("the output directory \"%1\" cannot be written: %2")
                          .arg(path_, toQString(refusal.words)));
}

OutputDirectory::CreatedFolders::~CreatedFolders() {
    while (!paths.isEmpty() && QDir().rmdir(paths.constLast()))
        paths.removeLast();
}

void OutputDirectory::refuseHarm(const Source& source, bool replaces, bool isForced) const {
    if (platform::isImageFile(toWide(path_), source.drive().letter))
        throw refused(
            QStringLiteral("\"%1\" is the image that is read; name a directory").arg(path_));
    refuseDriveItself(QStringLiteral("the output directory"), path_, source.drive(), isForced,
                      QStringLiteral(", or give --force-output if you know that it is not"));
    if (replaces && source.drive().isImage && liesBelow(source.imagePath(), path_))
        throw refused(QStringLiteral("the image lies below the output directory \"%1\", where "
                                     "--overwrite could replace it; choose another directory, or "
                                     "leave --overwrite out")
                          .arg(path_));
    if (QFileInfo::exists(path_) && !QFileInfo(path_).isDir())
        throw refused(QStringLiteral("\"%1\" is a file, not a directory").arg(path_));
}

void OutputDirectory::create() {
    for (QString folder = path_; !QFileInfo::exists(folder); folder = QFileInfo(folder).path())
        created_.paths.prepend(folder);
    if (const platform::Failure failure = platform::makePath(toWide(path_)))
        throw refused(QStringLiteral("the output directory \"%1\" cannot be created: %2")
                          .arg(path_, toQString(failure.words)));
}
