#pragma once

class QWidget;

/// Turns the sides in the style sheets of `window` and of all below it around, and lets its labels
/// begin at the right: layouts follow a desktop that reads from right to left by themselves, style
/// sheets, and texts that are not translated, do not. Meant to be called once for each widget.
void mirrorSheets(QWidget& window);
