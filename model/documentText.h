#pragma once

#include <QByteArrayView>
#include <QString>

/// The start of a text file for showing it. A byte-order mark says whether the bytes are UTF-8,
/// UTF-16 or UTF-32; without one they are UTF-8 when they are valid as such, else in the code page
/// of the person's system. Of more than 2048 characters (UTF-16 units) only these are given, and
/// "\r\n...[skipped]".
///
/// Characters that a text view would act on instead of showing them are replaced by U+FFFD; tabs,
/// ends of lines and marks of direction are text, overrides of direction are not.
[[nodiscard]] QString documentText(QByteArrayView bytes);
