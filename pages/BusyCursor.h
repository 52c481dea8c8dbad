#pragma once

#include <QGuiApplication>

/// The cursor while the window does not answer.
class BusyCursor {
public:
    BusyCursor() { QGuiApplication::setOverrideCursor(Qt::WaitCursor); }

    BusyCursor(const BusyCursor&) = delete;
    BusyCursor& operator=(const BusyCursor&) = delete;

    ~BusyCursor() { QGuiApplication::restoreOverrideCursor(); }
};
