#include "network/change.h"

const QString Change::DHCP = QStringLiteral("DHCP");

Change Change::toDhcp(const QString& service)
{
    Change change;
    change.service = service;
    return change;
}

QString Change::describe() const
{
    if (dhcp)
        return service + QStringLiteral(": DHCP");
    return QStringLiteral("%1: %2 mask %3, %4")
        .arg(service, address, mask,
             router.isEmpty() ? QStringLiteral("no router") : QStringLiteral("router ") + router);
}
