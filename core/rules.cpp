#include "core/rules.h"

#include "config/configmanager.h"
#include "network/networkmanager.h"

#include <QStringList>

namespace {

QString toDotted(quint32 number)
{
    return QStringLiteral("%1.%2.%3.%4")
        .arg(number >> 24)
        .arg((number >> 16) & 0xff)
        .arg((number >> 8) & 0xff)
        .arg(number & 0xff);
}

} // namespace

QString proposedRouter(const Profile& profile)
{
    return NetworkManager::proposedRouter(profile.network, profile.gateway);
}

ChangeVerdict changeFor(const QString& service, const Profile& profile, int host, const QString& router)
{
    ChangeVerdict verdict;
    if (profile.name == Change::DHCP) {
        verdict.change = Change::toDhcp(service);
        verdict.problem = setDns(verdict.change, profile);
        return verdict;
    }
    if (!NetworkManager::isIPv4(profile.network))
        verdict.problem = QStringLiteral("the profile's network \"%1\" is not an IPv4 address").arg(profile.network);
    else if (!NetworkManager::isIPv4(profile.mask))
        verdict.problem = QStringLiteral("the mask \"%1\" is not a valid subnet mask").arg(profile.mask);
    else if (!NetworkManager::isNetmask(profile.mask))
        verdict.problem =
            QStringLiteral("the mask \"%1\" is not a subnet mask: its one bits must come first").arg(profile.mask);
    else if (host < 0 || host > 255)
        verdict.problem = QStringLiteral("host number %1 is not in 0-255").arg(host);
    else if (!router.isEmpty() && !NetworkManager::isIPv4(router))
        verdict.problem = QStringLiteral("the router address \"%1\" is malformed").arg(router);
    if (!verdict.ok())
        return verdict;

    const quint32 maskBits = NetworkManager::toNumber(profile.mask);
    const quint32 address = (NetworkManager::toNumber(profile.network) & 0xffffff00u) | quint32(host);
    const QString dotted = toDotted(address);
    // With 31 or 32 mask bits there is no room for a network and a broadcast address: every address is a host.
    if (~maskBits > 1) {
        if ((address & ~maskBits) == 0) {
            verdict.problem =
                QStringLiteral("%1 is the network's own address under the mask %2; choose another host number")
                    .arg(dotted, toDotted(maskBits));
            return verdict;
        }
        if ((address | maskBits) == 0xffffffffu) {
            verdict.problem =
                QStringLiteral("%1 is the broadcast address under the mask %2; choose another host number")
                    .arg(dotted, toDotted(maskBits));
            return verdict;
        }
    }
    Change& change = verdict.change;
    change.service = service;
    change.dhcp = false;
    change.address = dotted;
    change.mask = toDotted(maskBits);
    change.router = router.isEmpty() ? QString() : toDotted(NetworkManager::toNumber(router));
    verdict.problem = setDns(change, profile);
    return verdict;
}

QString setDns(Change& change, const Profile& profile)
{
    const auto items = [](const QString& stored) {
        return stored == ConfigManager::AUTOMATIC ? QStringList() : stored.split(QLatin1Char('\n'));
    };
    change.setDns = !profile.dns.isEmpty();
    change.dnsServers = change.setDns ? items(profile.dns) : QStringList();
    change.setSearch = !profile.search.isEmpty();
    change.searchDomains = change.setSearch ? items(profile.search) : QStringList();
    for (const QString& server : std::as_const(change.dnsServers)) {
        if (!NetworkManager::isDnsServer(server))
            return QStringLiteral("the DNS server \"%1\" is not an IPv4 or IPv6 address").arg(server);
    }
    for (const QString& domain : std::as_const(change.searchDomains)) {
        if (!NetworkManager::isSearchDomain(domain))
            return QStringLiteral("the search domain \"%1\" is not a domain name").arg(domain);
    }
    return {};
}
