#include "network/change.h"

#include "network/networkmanager.h"

#include <QStringList>

namespace {

// The dotted text as a number; the text must be an address that isIPv4 accepts.
quint32 toNumber(const QString& dotted)
{
    quint32 number = 0;
    for (const QString& part : dotted.split(QLatin1Char('.')))
        number = (number << 8) | part.toUInt();
    return number;
}

QString toDotted(quint32 number)
{
    return QStringLiteral("%1.%2.%3.%4")
        .arg(number >> 24)
        .arg((number >> 16) & 0xff)
        .arg((number >> 8) & 0xff)
        .arg(number & 0xff);
}

// A subnet mask is a run of one bits followed by zero bits only.
bool isMask(quint32 mask)
{
    const quint32 hostBits = ~mask;
    return (hostBits & (hostBits + 1)) == 0;
}

} // namespace

const QString Change::DHCP = QStringLiteral("DHCP");

Change Change::toDhcp(const QString& service)
{
    Change change;
    change.service = service;
    return change;
}

QString Change::toProfile(Change& change, const QString& service, const QString& network, const QString& mask, int host,
                          const QString& router)
{
    if (!NetworkManager::isIPv4(network))
        return QStringLiteral("the profile's network \"%1\" is not an IPv4 address").arg(network);
    if (!NetworkManager::isIPv4(mask) || !isMask(toNumber(mask)))
        return QStringLiteral("the mask \"%1\" is not a valid subnet mask").arg(mask);
    if (host < 0 || host > 255)
        return QStringLiteral("host number %1 is not in 0-255").arg(host);
    if (!router.isEmpty() && !NetworkManager::isIPv4(router))
        return QStringLiteral("the router address \"%1\" is malformed").arg(router);

    const quint32 maskBits = toNumber(mask);
    const quint32 address = (toNumber(network) & 0xffffff00u) | quint32(host);
    const QString dotted = toDotted(address);
    // With 31 or 32 mask bits there is no room for a network and a broadcast address: every address is a host.
    if (~maskBits > 1) {
        if ((address & ~maskBits) == 0)
            return QStringLiteral("%1 is the network's own address under the mask %2; choose another host number")
                .arg(dotted, toDotted(maskBits));
        if ((address | maskBits) == 0xffffffffu)
            return QStringLiteral("%1 is the broadcast address under the mask %2; choose another host number")
                .arg(dotted, toDotted(maskBits));
    }
    change.service = service;
    change.dhcp = false;
    change.address = dotted;
    change.mask = toDotted(maskBits);
    change.router = router.isEmpty() ? QString() : toDotted(toNumber(router));
    return {};
}

QString Change::describe() const
{
    if (dhcp)
        return service + QStringLiteral(": DHCP");
    return QStringLiteral("%1: %2 mask %3, %4")
        .arg(service, address, mask,
             router.isEmpty() ? QStringLiteral("no router") : QStringLiteral("router ") + router);
}
