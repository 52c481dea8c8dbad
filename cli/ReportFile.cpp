#include "cli/ReportFile.h"

#include "cli/CommandError.h"
#include "cli/outputPlace.h"
#include "model/texts.h"

#include <QFileInfo>

#include <algorithm>

namespace {

using platform::Disposition;

constexpr std::size_t kBufferBytes = std::size_t{256} << 10;
constexpr int kMostNames = 1000;

CommandError refused(const QString& message) {
    return {ExitCode::OutputRefused, message};
}

ReportFile::Format formatOf(const QString& path) {
    const QString suffix = QFileInfo(path).suffix().toLower();
    if (suffix == QStringLiteral("html"))
        return ReportFile::Format::Html;
    if (suffix == QStringLiteral("csv"))
        return ReportFile::Format::Csv;
    if (suffix == QStringLiteral("json"))
        return ReportFile::Format::Json;
    throw CommandError{
        ExitCode::WrongUsage,
        QStringLiteral("--report: \"%1\" ends neither in .html nor in .csv nor in .json")
            .arg(path)};
}

/// Links that lead nowhere are something, too.
bool isSomething(const QString& path) {
    const QFileInfo info(path);
    return info.exists() || info.isSymLink();
}

QString numbered(const QString& path, int number) {
    if (number == 1)
        return path;
    const QFileInfo info(path);
    return QStringLiteral("%1/%2 (%3).%4")
        .arg(info.path(), info.completeBaseName(), QString::number(number), info.suffix());
}

} // namespace

ReportFile::ReportFile(const QString& path) : path_(path), format_(formatOf(path)) {}

ReportFile::~ReportFile() {
    if (part_.empty())
        return;
    file_.close();
    folder_.remove(part_);
}

CommandError ReportFile::cannotWrite(const platform::Failure& failure) const {
    return refused(QStringLiteral("the report \"%1\" cannot be written: %2")
                       .arg(path_, toQString(failure.words)));
}

void ReportFile::check(const Source& source, bool isForced) {
    const std::wstring folder = toWide(QFileInfo(path_).path());
    const QString hint = QStringLiteral(", or give --force-output if you know that it is not");
    refuseDriveItself(QStringLiteral("the report"), path_, source.drive(), isForced, hint);
    refuseDriveItself(QStringLiteral("the report's directory"), toQString(folder), source.drive(),
                      isForced, hint);
    if (isSomething(path_))
        throw refused(QStringLiteral("\"%1\" is there already; name another file for the report, "
                                     "or move that one away")
                          .arg(path_));
    if (!folder_.open(folder))
        throw cannotWrite(folder_.failure());
    create();
}

void ReportFile::create() {
    const std::wstring name = toWide(QFileInfo(path_).fileName());
    for (int number = 1; number < kMostNames; ++number) {
        const std::wstring part = name + L".part" + std::to_wstring(number);
        if (file_.open(folder_, part, static_cast<std::uint32_t>(Disposition::CreateNew),
                       platform::kGenericRead | platform::kGenericWrite)) {
            part_ = part;
            return;
        }
        if (file_.failure().kind != platform::Error::Exists)
            break;
    }
    throw cannotWrite(file_.failure());
}

void ReportFile::reserve(kova::uint64 bytes) {
    // Zeros that are written take room on every file system; a longer file need not.
    buffer_.assign(static_cast<std::size_t>(std::min<kova::uint64>(bytes, kBufferBytes)), '\0');
    for (kova::uint64 done = 0; done < bytes; done += buffer_.size())
        put(buffer_);
    buffer_.clear();
    if (!file_.sync())
        throw cannotWrite(file_.failure());
    written_ = 0;
}

void ReportFile::put(std::string_view bytes) {
    if (!file_.writeAt(written_, bytes.data(), bytes.size()))
        throw cannotWrite(file_.failure());
    written_ += static_cast<kova::int64>(bytes.size());
}

void ReportFile::write(std::string_view bytes) {
    buffer_ += bytes;
    if (buffer_.size() >= kBufferBytes)
        flush();
}

void ReportFile::flush() {
    put(buffer_);
    buffer_.clear();
}

QString ReportFile::finish() {
    flush();
    if (!file_.truncate(written_) || !file_.sync() || !file_.close())
        throw cannotWrite(file_.failure());
    for (int number = 1; number < kMostNames; ++number) {
        QString path = numbered(path_, number);
        if (folder_.rename(part_, toWide(QFileInfo(path).fileName()),
                           platform::Folder::Taken::Keep)) {
            part_.clear();
            return path;
        }
        if (folder_.failure().kind != platform::Error::Exists)
            break;
    }
    throw refused(QStringLiteral("the report \"%1\" cannot be given its name: %2")
                      .arg(path_, toQString(folder_.failure().words)));
}
