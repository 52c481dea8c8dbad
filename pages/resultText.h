#pragma once

#include <QCoreApplication>

/// A text of the results page, translated; one context for all its parts.
[[nodiscard]] inline QString resultText(const char* text, const char* comment = nullptr) {
    return QCoreApplication::translate("ResultFrame", text, comment);
}
