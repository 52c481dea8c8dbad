#include "cli/Output.h"

#include "cli/CommandError.h"
#include "model/texts.h"
#include "platform/Terminal.h"

#include <QStringList>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

constexpr std::size_t kBufferBytes = std::size_t{256} << 10;

/// Cleaned line by line, as a line end is a control character too.
QString cleaned(const QString& text) {
    QStringList lines = text.split(u'\n');
    for (QString& line : lines)
        line = displayName(line);
    return lines.join(u'\n');
}

} // namespace

Output::Output() : isTerminal_(platform::isTerminal(platform::StandardStream::Output)) {
    buffer_.reserve(2 * kBufferBytes);
}

Output::~Output() {
    std::fwrite(buffer_.data(), 1, buffer_.size(), stdout);
    std::fflush(stdout);
}

void Output::print(const QString& line) {
    const QByteArray bytes = (isTerminal_ ? displayName(line) : line).toUtf8();
    append({bytes.constData(), static_cast<std::size_t>(bytes.size())});
}

void Output::printRaw(std::string_view line) {
    append(line);
}

void Output::append(std::string_view line) {
    buffer_ += line;
    buffer_ += '\n';
    if (buffer_.size() >= kBufferBytes)
        flush();
}

void Output::flush() {
    const std::string pending = std::move(buffer_);
    buffer_.clear();
    const bool written = std::fwrite(pending.data(), 1, pending.size(), stdout) == pending.size();
    if (written && std::fflush(stdout) == 0)
        return;
    if (errno == EPIPE)
        throw ClosedPipe();
    throw CommandError{ExitCode::SomeFailed,
                       QStringLiteral("the output cannot be written: %1")
                           .arg(QString::fromLocal8Bit(std::strerror(errno)))};
}

void printError(const QString& message) {
    printNotice(QStringLiteral("orvane-cli: ") + message);
}

void printNotice(const QString& message) {
    const QByteArray bytes = cleaned(message).toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stderr);
}
