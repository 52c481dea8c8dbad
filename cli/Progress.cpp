#include "cli/Progress.h"

#include "model/texts.h"
#include "platform/Terminal.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr std::chrono::milliseconds kInterval{100};
/// A longer line would wrap on the narrowest usual terminal and could not be taken back.
constexpr int kMostColumns = 78;
/// Most characters from here on may take two columns.
constexpr char16_t kFirstWide = 0x1100;

constexpr int kSecondsPerMinute = 60;
constexpr int kMinutesPerHour = 60;

void put(const QByteArray& bytes) {
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stderr);
    std::fflush(stderr);
}

} // namespace

Progress::Progress()
    : isTerminal_(platform::isTerminal(platform::StandardStream::Error)), begun_(Clock::now()),
      next_(begun_) {}

bool Progress::isDue() const {
    return isTerminal_ && Clock::now() >= next_;
}

void Progress::show(const QString& line) {
    if (!isTerminal_)
        return;
    next_ = Clock::now() + kInterval;
    QString shown;
    int columns = 0;
    for (const QChar character : displayName(line)) {
        const int width = character.unicode() >= kFirstWide ? 2 : 1;
        if (columns + width > kMostColumns)
            break;
        columns += width;
        shown += character;
    }
    if (!shown.isEmpty() && shown.back().isHighSurrogate())
        shown.chop(1);
    const int rest = std::max(0, shownColumns_ - columns);
    put('\r' + shown.toUtf8() + QByteArray(rest, ' '));
    shownColumns_ = columns;
}

void Progress::clear() {
    if (shownColumns_ > 0)
        put('\r' + QByteArray(shownColumns_, ' ') + '\r');
    shownColumns_ = 0;
}

QString Progress::elapsed() const {
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - begun_).count();
    const auto minutes = seconds / kSecondsPerMinute;
    const auto hours = minutes / kMinutesPerHour;
    const QString tail = QStringLiteral("%1:%2")
                             .arg(hours == 0 ? minutes : minutes % kMinutesPerHour,
                                  hours == 0 ? 1 : 2, 10, QChar(u'0'))
                             .arg(seconds % kSecondsPerMinute, 2, 10, QChar(u'0'));
    return hours == 0 ? tail : QStringLiteral("%1:%2").arg(hours).arg(tail);
}
