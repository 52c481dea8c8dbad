#pragma once

#include <QString>

/// With what a file is previewed.
struct PreviewType {
    enum T { None = 0, Text = 1, Image = 2, Sound = 3 };
};

/// By the suffix of a file's name alone. Without one, as in README, it is a text.
[[nodiscard]] PreviewType::T previewTypeOf(const QString& fileName);
