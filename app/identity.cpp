#include "app/identity.h"

#include <QCoreApplication>

void setIdentity() {
    QCoreApplication::setApplicationName(QStringLiteral("Orvane"));
    QCoreApplication::setApplicationVersion(QStringLiteral(ORVANE_VERSION));
    QCoreApplication::setOrganizationName(QStringLiteral("Kestrine Research"));
    QCoreApplication::setOrganizationDomain(QStringLiteral("kestrineresearch.com"));
}
