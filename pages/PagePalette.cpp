#include "pages/PagePalette.h"

QPalette pagePalette() {
    const QColor ground(Qt::white);
    const QColor button(0xef, 0xef, 0xef);
    const QColor faded(0x90, 0x90, 0x90);
    const QColor accent(0x2b, 0x5c, 0x8a);
    const QColor selection(0x30, 0x8c, 0xc6); // Black and white can be read on it.
    QPalette palette(button, ground);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, faded);
    palette.setColor(QPalette::AlternateBase, QColor(0xf5, 0xf7, 0xfa));
    palette.setColor(QPalette::Highlight, selection);
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Disabled, QPalette::Highlight, Qt::lightGray);
    palette.setColor(QPalette::PlaceholderText, faded);
    palette.setColor(QPalette::Link, accent);

    // Set one by one, they win over the desktop's; what is only constructed does not.
    for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        for (int i = 0; i < QPalette::NColorRoles; ++i) {
            const auto role = static_cast<QPalette::ColorRole>(i);
            if (role != QPalette::NoRole)
                palette.setBrush(group, role, palette.brush(group, role));
        }
    }
    return palette;
}
