#pragma once

#include "engine/types.h"

#include <QString>

/// "1 file", "2 files".
[[nodiscard]] inline QString counted(kova::int64 number, const char* noun) {
    return QStringLiteral("%1 %2%3").arg(QString::number(number), QLatin1String(noun),
                                         QLatin1String(number == 1 ? "" : "s"));
}
