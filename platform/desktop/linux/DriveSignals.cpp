#include "platform/desktop/DriveSignals.h"

#include "platform/DriveService.h"

#include <QDBusConnection>

void connectDriveSignals(QObject* receiver, const char* slot) {
    if (!platform::hasDriveService())
        return; // Qt would wait for a bus that hangs for longer.
    const QString service = QStringLiteral("org.freedesktop.UDisks2");
    const QString root = QStringLiteral("/org/freedesktop/UDisks2");
    const QString objects = QStringLiteral("org.freedesktop.DBus.ObjectManager");
    QDBusConnection bus = QDBusConnection::systemBus();
    for (const char* const signal : {"InterfacesAdded", "InterfacesRemoved"})
        bus.connect(service, root, objects, QString::fromLatin1(signal), receiver, slot);
    // Of any object: a card in its reader, a label.
    bus.connect(service, QString(), QStringLiteral("org.freedesktop.DBus.Properties"),
                QStringLiteral("PropertiesChanged"), receiver, slot);
}
