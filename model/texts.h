#pragma once

#include "engine/types.h"

#include <QString>

#include <string>
#include <string_view>

/// A byte count for people: "1023 bytes", "1.50 KB", "20.00 MB", "3.00 GB". From 1024 GB on the
/// number stays in gigabytes and the unit is empty.
[[nodiscard]] QString formatSize(kova::int64 bytes);

/// A FILETIME as local date and time, "d MMM yyyy hh:mm"; 0 gives an empty text.
[[nodiscard]] QString formatFileTime(kova::int64 fileTime);

/// Wide text of the engine as a QString and back. Surrogates without a partner are kept.
[[nodiscard]] QString toQString(std::wstring_view text);
[[nodiscard]] std::wstring toWide(const QString& text);

/// A name from a volume made fit to be shown: control characters, and characters that change the
/// direction of the text around them, are replaced by U+FFFD. Only for display: two names can
/// look the same afterwards.
[[nodiscard]] QString displayName(const QString& name);

/// A clause as a sentence: with a capital letter and a full stop.
[[nodiscard]] QString sentence(const QString& clause);

/// Any text as what a tooltip shows as it is, broken into lines where it is long.
[[nodiscard]] QString asToolTip(const QString& text);
