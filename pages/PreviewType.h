#pragma once

/// With what a file is previewed.
struct PreviewType {
    enum T { None = 0, Text = 1, Image = 2, Sound = 3 };
};
