#include "cli/Filters.h"

#include "cli/CommandError.h"
#include "format/FileTime.h"
#include "model/texts.h"

#include <QDateTime>
#include <QTimeZone>

#include <array>
#include <limits>
#include <utility>

namespace {

using kova::int64;

const QString kTypes = QStringLiteral("types");
const QString kName = QStringLiteral("name");
const QString kMinSize = QStringLiteral("min-size");
const QString kMaxSize = QStringLiteral("max-size");
const QString kState = QStringLiteral("state");
const QString kModifiedAfter = QStringLiteral("modified-after");
const QString kModifiedBefore = QStringLiteral("modified-before");

constexpr std::array<std::pair<const char*, ExtensionFilter::Family>, 6> kFamilies{{
    {"documents", ExtensionFilter::Family::Documents},
    {"pictures", ExtensionFilter::Family::Pictures},
    {"videos", ExtensionFilter::Family::Videos},
    {"sounds", ExtensionFilter::Family::Sounds},
    {"programs", ExtensionFilter::Family::Programs},
    {"other", ExtensionFilter::Family::Other},
}};

constexpr qsizetype kDateLength = 10; // 2024-05-31

ExtensionFilter parseTypes(const QString& text) {
    QList<ExtensionFilter::Family> wanted;
    for (const QString& part : text.split(u',', Qt::SkipEmptyParts)) {
        const QString name = part.trimmed().toLower();
        bool known = false;
        for (const auto& [familyName, family] : kFamilies) {
            if (name != QLatin1String(familyName))
                continue;
            wanted.append(family);
            known = true;
        }
        if (!known)
            throw CommandError{ExitCode::WrongUsage,
                               QStringLiteral("--types: \"%1\" is none of documents, pictures, "
                                              "videos, sounds, programs, other")
                                   .arg(part)};
    }
    if (wanted.isEmpty())
        throw CommandError{ExitCode::WrongUsage, QStringLiteral("--types: no type is given")};
    return ExtensionFilter::of(wanted);
}

/// The value of an option as `parse` understands it; nothing when the option is not given.
template <typename Parse>
std::optional<int64> valueOf(const QCommandLineParser& parser, const QString& option, Parse parse,
                             const char* expected) {
    if (!parser.isSet(option))
        return std::nullopt;
    const QString text = parser.value(option);
    const std::optional<int64> value = parse(text);
    if (!value)
        throw CommandError{
            ExitCode::WrongUsage,
            QStringLiteral("--%1: \"%2\" is not %3").arg(option, text, QLatin1String(expected))};
    return value;
}

/// A glob of paths lets "*" and "?" not match separators; in a name they are characters like any
/// other. Two that stand for nothing take their place.
QString withoutSeparators(QString text) {
    constexpr char16_t kForSlash = 0xFDD0;
    constexpr char16_t kForBackslash = 0xFDD1;
    return text.replace(u'/', QChar(kForSlash)).replace(u'\\', QChar(kForBackslash));
}

} // namespace

void Filters::addOptions(QCommandLineParser& parser) {
    parser.addOptions({
        {kTypes,
         QStringLiteral("Only files of these types, by their suffix: documents, pictures, videos, "
                        "sounds, programs, other."),
         QStringLiteral("TYPE,...")},
        {kName,
         QStringLiteral("Only files whose name matches: * stands for anything, ? for one "
                        "character, [a-z] for one of them. Case does not matter."),
         QStringLiteral("GLOB")},
        {kMinSize, QStringLiteral("Only files of at least this size: bytes, or 10K, 5M, 1G."),
         QStringLiteral("SIZE")},
        {kMaxSize, QStringLiteral("Only files of at most this size."), QStringLiteral("SIZE")},
        {kState,
         QStringLiteral("Only files in these states: whole, partly or overwritten (other files "
                        "hold some or all of their place), uncertain (where they lay is a guess), "
                        "unreadable, erased (only zeros are left), mismatched (not of the kind "
                        "that the name says), inconsistent (breaks off), unknown."),
         QStringLiteral("STATE,...")},
        {kModifiedAfter,
         QStringLiteral("Only files modified then or later: 2024-05-31 or 2024-05-31T18:30, local "
                        "time, or UTC with a Z at the end."),
         QStringLiteral("TIME")},
        {kModifiedBefore, QStringLiteral("Only files modified before that."),
         QStringLiteral("TIME")},
    });
}

Filters::Filters(const QCommandLineParser& parser) {
    if (parser.isSet(kTypes))
        types_ = parseTypes(parser.value(kTypes));
    if (parser.isSet(kState))
        states_ = States(parser.value(kState));
    if (parser.isSet(kName)) {
        name_.emplace(parser.value(kName));
        if (!name_->isValid())
            throw CommandError{
                ExitCode::WrongUsage,
                QStringLiteral("--name: \"%1\" is not a pattern").arg(parser.value(kName))};
    }
    constexpr const char* kSize = "a size, such as 500, 10K, 5M or 1G";
    constexpr const char* kTime = "a time, such as 2024-05-31 or 2024-05-31T18:30";
    minSize_ = valueOf(parser, kMinSize, parseSize, kSize);
    maxSize_ = valueOf(parser, kMaxSize, parseSize, kSize);
    modifiedAfter_ = valueOf(parser, kModifiedAfter, parseTime, kTime);
    modifiedBefore_ = valueOf(parser, kModifiedBefore, parseTime, kTime);
}

bool Filters::isNarrow() const {
    return types_ || name_ || minSize_ || maxSize_ || modifiedAfter_ || modifiedBefore_ ||
           !states_.isAny();
}

void Filters::install(kova::ZFileTree& tree) const {
    if (types_)
        tree.filter = [types = *types_](const auto& node) { return types.accepts(node); };
}

bool Filters::accepts(kova::ZVolume& volume, const kova::ZFileTreeNode& file) const {
    if ((minSize_ && file.size < *minSize_) || (maxSize_ && file.size > *maxSize_))
        return false;
    const bool timeMatters = modifiedAfter_ || modifiedBefore_;
    if (timeMatters && file.modificationTime == 0)
        return false; // Unknown.
    if ((modifiedAfter_ && file.modificationTime < *modifiedAfter_) ||
        (modifiedBefore_ && file.modificationTime >= *modifiedBefore_))
        return false;
    if (name_ && !name_->matches(toQString(file.name)))
        return false;
    return states_.isAny() || states_.accepts(volume, file);
}

std::optional<int64> Filters::parseSize(const QString& text) {
    static const QRegularExpression form(QStringLiteral("^([0-9]+)([KMGT]?)(?:I?B)?$"),
                                         QRegularExpression::CaseInsensitiveOption);
    static const QString units = QStringLiteral("KMGT");
    constexpr int kBitsPerUnit = 10;
    const QRegularExpressionMatch match = form.match(text.trimmed());
    bool fits = false;
    const int64 number = match.captured(1).toLongLong(&fits);
    const QString unit = match.captured(2).toUpper();
    const auto bits = unit.isEmpty() ? 0 : kBitsPerUnit * (units.indexOf(unit) + 1);
    if (!fits || number > std::numeric_limits<int64>::max() >> bits)
        return std::nullopt;
    return number << bits;
}

std::optional<int64> Filters::parseTime(const QString& text) {
    QString plain = text.trimmed();
    const bool utc = plain.endsWith(u'Z', Qt::CaseInsensitive);
    if (utc)
        plain.chop(1);
    const Qt::TimeSpec spec = utc ? Qt::UTC : Qt::LocalTime;
    QDateTime time;
    if (const QDate date = QDate::fromString(plain, Qt::ISODate);
        date.isValid() && plain.size() == kDateLength) {
        time = date.startOfDay(spec);
    } else {
        time = QDateTime::fromString(plain, Qt::ISODateWithMs);
        if (utc)
            time.setTimeSpec(spec);
    }
    if (!time.isValid())
        return std::nullopt;
    return time.toMSecsSinceEpoch() * format::kFileTimeTicksPerMillisecond +
           format::kFileTimeOf1970;
}

Filters::Glob::Glob(const QString& pattern)
    : expression_(QRegularExpression::wildcardToRegularExpression(withoutSeparators(pattern)),
                  QRegularExpression::CaseInsensitiveOption) {}

bool Filters::Glob::matches(const QString& name) const {
    // Text with half a surrogate pair is refused by the expression.
    const QString text = name.isValidUtf16() ? name : QString::fromUtf8(name.toUtf8());
    return expression_.match(withoutSeparators(text)).hasMatch();
}
