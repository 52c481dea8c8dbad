#pragma once

class QWidget;

/// The first widget below `parent` that Tab stops at, or null.
[[nodiscard]] QWidget* firstFocus(const QWidget& parent);
