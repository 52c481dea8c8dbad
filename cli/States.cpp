#include "cli/States.h"

#include "cli/CommandError.h"

#include <QStringList>

#include <algorithm>
#include <array>

namespace {

using Kind = kova::FileState::Kind;

struct State {
    Kind kind;
    const char* name;
    char letter;
    bool isInContent = false; ///< Only a look at its content tells.
};

constexpr std::array<State, 10> kStates{{
    {Kind::Whole, "whole", 'w'},
    {Kind::Resident, "whole", 'w'},
    {Kind::Partly, "partly", 'p'},
    {Kind::Overwritten, "overwritten", 'o'},
    {Kind::Uncertain, "uncertain", 'u'},
    {Kind::Unreadable, "unreadable", 'x'},
    {Kind::Erased, "erased", 'e', true},
    {Kind::NotWhatItsNameSays, "mismatched", 'm', true},
    {Kind::Inconsistent, "inconsistent", 'i', true},
    {Kind::Unknown, "unknown", ' '},
}};

const State& stateOf(Kind kind) {
    return *std::find_if(kStates.begin(), kStates.end() - 1,
                         [kind](const State& state) { return state.kind == kind; });
}

} // namespace

States::States(const QString& names) {
    for (const QString& part : names.split(u',', Qt::SkipEmptyParts)) {
        const QString name = part.trimmed().toLower();
        const std::size_t before = kinds_.size();
        for (const State& state : kStates) {
            if (name == QLatin1String(state.name))
                kinds_.insert(state.kind);
        }
        if (kinds_.size() == before)
            throw CommandError{ExitCode::WrongUsage,
                               QStringLiteral("--state: \"%1\" is none of whole, partly, "
                                              "overwritten, uncertain, unreadable, erased, "
                                              "mismatched, inconsistent, unknown, or is given "
                                              "twice")
                                   .arg(part)};
    }
    if (kinds_.empty())
        throw CommandError{ExitCode::WrongUsage, QStringLiteral("--state: no state is given")};
}

bool States::accepts(kova::ZVolume& volume, const kova::ZFileTreeNode& file) const {
    const bool looks = std::any_of(kinds_.begin(), kinds_.end(),
                                   [](Kind kind) { return stateOf(kind).isInContent; });
    const bool follows = kinds_.count(Kind::Inconsistent) != 0;
    const kova::FileState state = follows ? volume.assessWholeContent(file)
                                  : looks ? volume.assessContent(file)
                                          : volume.assess(file);
    return kinds_.count(state.kind) != 0;
}

const char* States::nameOf(Kind kind) {
    return stateOf(kind).name;
}

QChar States::letterOf(Kind kind) {
    return QLatin1Char(stateOf(kind).letter);
}

QString States::legend() {
    return QStringLiteral("w whole, p partly overwritten, o overwritten, u place uncertain, "
                          "x unreadable");
}
