#pragma once

#include <QPalette>

/// The colours of the pages, dark on light whatever the desktop's theme: they stand on the white of
/// the window, and their style sheets name dark colours.
[[nodiscard]] QPalette pagePalette();
