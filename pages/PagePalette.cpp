#include "pages/PagePalette.h"

QPalette pagePalette() {
    const QColor ground(Qt::white);
    const QColor button(0xef, 0xef, 0xef);
    const QColor faded(0x90, 0x90, 0x90);
    const QColor accent(0x2b, 0x5c, 0x8a);
    QPalette palette(button, ground);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, faded);
    palette.setColor(QPalette::AlternateBase, QColor(0xf5, 0xf7, 0xfa));
    palette.setColor(QPalette::Highlight, accent);
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Disabled, QPalette::Highlight, Qt::lightGray);
    palette.setColor(QPalette::PlaceholderText, faded);
    palette.setColor(QPalette::Link, accent);

    // A widget takes from its palette what was set one by one, and the rest from the desktop's.
    for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        for (int role = 0; role < QPalette::NColorRoles; ++role) {
            if (role != QPalette::NoRole)
                palette.setBrush(group, static_cast<QPalette::ColorRole>(role),
                                 palette.brush(group, static_cast<QPalette::ColorRole>(role)));
        }
    }
    return palette;
}
