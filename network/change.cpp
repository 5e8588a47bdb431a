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
    return service + QStringLiteral(": ") + (dhcp ? QStringLiteral("DHCP") : describeFixed(address, mask, router));
}

QString describeFixed(const QString& address, const QString& mask, const QString& router)
{
    return QStringLiteral("%1 mask %2, %3")
        .arg(address, mask, router.isEmpty() ? QStringLiteral("no router") : QStringLiteral("router ") + router);
}

QString describeDns(const QStringList& servers, const QStringList& domains)
{
    QString text;
    if (!servers.isEmpty())
        text += QStringLiteral(", DNS ") + servers.join(QStringLiteral(", "));
    if (!domains.isEmpty())
        text += QStringLiteral(", search ") + domains.join(QStringLiteral(", "));
    return text;
}
