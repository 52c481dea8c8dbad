#pragma once

#include <QPalette>

/// The colours of the program, dark on light whatever the desktop's theme: the pages stand on
/// white, and their style sheets name dark colours. Meant for the application, as widgets with a
/// style sheet take no colours from their parents.
[[nodiscard]] QPalette pagePalette();
