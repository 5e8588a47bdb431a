#include "core/servicestate.h"

#include "network/networkmanager.h"

#include <QDebug>
#include <QStringList>

namespace {

QString seconds(int milliseconds)
{
    return QString::number(milliseconds / 1000.0);
}

// What each service is asked, in this order, after the listing.
const QStringList perService{QStringLiteral("-getinfo"), QStringLiteral("-getdnsservers"),
                             QStringLiteral("-getsearchdomains")};

// One item a line; "There aren't any DNS Servers set on Wi-Fi." when none is set by hand.
QStringList parseList(const QString& text)
{
    QStringList items;
    for (const QString& line : text.split(QLatin1Char('\n'))) {
        const QString item = line.trimmed();
        if (item.startsWith(QLatin1String("There aren't any")))
            return {};
        if (!item.isEmpty())
            items.append(item);
    }
    return items;
}

QHostAddress address(const QMap<QString, QString>& entry, const QString& key)
{
    const QString text = entry.value(key);
    return NetworkManager::isIPv4(text) ? QHostAddress(text) : QHostAddress();
}

} // namespace

QString ReadOutcome::text(bool withArguments) const
{
    const QString who = withArguments ? command : command.section(QLatin1Char(' '), 0, 0);
    switch (kind) {
    case Kind::Read:
        return {};
    case Kind::TimedOut:
        return QStringLiteral("%1 did not answer within %2 s").arg(who, seconds(waitedMs));
    case Kind::Failed:
        return QStringLiteral("%1 failed: %2").arg(who, error);
    }
    return {};
}

QString ReadOutcome::kindText() const
{
    switch (kind) {
    case Kind::Read:
        return QStringLiteral("ok");
    case Kind::TimedOut:
        return QStringLiteral("timed out");
    case Kind::Failed:
        return QStringLiteral("failed");
    }
    return {};
}

QString ServiceState::methodText() const
{
    switch (method) {
    case Method::Dhcp:
        return QStringLiteral("dhcp");
    case Method::Manual:
        return QStringLiteral("manual");
    case Method::None:
        break;
    }
    return QStringLiteral("none");
}

QString ServiceState::describe() const
{
    QString text = QStringLiteral("no IPv4 configuration");
    if (method == Method::Dhcp)
        text = QStringLiteral("DHCP");
    else if (method == Method::Manual)
        text = describeFixed(address.toString(), mask.toString(), router.isNull() ? QString() : router.toString());
    return text + describeDns(dnsText(), searchDomains);
}

QStringList ServiceState::dnsText() const
{
    QStringList servers;
    for (const QHostAddress& server : dnsServers)
        servers.append(server.toString());
    return servers;
}

const ServiceState* MachineReading::find(const QString& name) const
{
    for (const ServiceState& service : services) {
        if (service.name == name)
            return &service;
    }
    return nullptr;
}

ServiceState::Method parseMethod(const QString& info)
{
    // The first line names the configuration: "DHCP Configuration", "BOOTP Configuration", "Manual
    // Configuration", "Manually Using DHCP Router Configuration" (a fixed address all the same).
    const QString first = info.section(QLatin1Char('\n'), 0, 0).trimmed();
    if (first.startsWith(QLatin1String("Manual")))
        return ServiceState::Method::Manual;
    if (first == QLatin1String("DHCP Configuration") || first == QLatin1String("BOOTP Configuration"))
        return ServiceState::Method::Dhcp;
    return ServiceState::Method::None;
}

ReadOutcome judgeReading(const System::Command& command, const System::Outcome& outcome, int timeoutMs)
{
    ReadOutcome result;
    result.command = command.text();
    if (!outcome.started) {
        result.kind = ReadOutcome::Kind::Failed;
        result.error = QStringLiteral("it could not be started");
    } else if (!outcome.finished) {
        result.kind = ReadOutcome::Kind::TimedOut;
        result.waitedMs = timeoutMs;
    } else if (outcome.out.trimmed().isEmpty() || outcome.out.contains(QLatin1String("** Error"))) {
        // networksetup prints its refusals on standard output, with "** Error".
        result.kind = ReadOutcome::Kind::Failed;
        const QString said = (outcome.out + QLatin1Char('\n') + outcome.err).simplified();
        result.error = said.isEmpty() ? QStringLiteral("it printed nothing") : said;
    }
    return result;
}

MachineReading readMachine(const std::atomic<bool>* cancel, int timeoutMs, int parallel)
{
    MachineReading machine;
    const System::Command listing{QStringLiteral("networksetup"), {QStringLiteral("-listnetworkserviceorder")}};
    const System::Outcome listed = System::runAll({listing}, cancel, timeoutMs).constFirst();
    machine.reading = judgeReading(listing, listed, timeoutMs);
    if (!machine.reading.ok()) {
        qWarning() << "Erreur : Impossible de récupérer la liste des interfaces réseau.";
        return machine;
    }

    const QList<NetworkManager::Service> services = NetworkManager::parseServiceOrder(listed.out);
    QList<System::Command> commands;
    for (const NetworkManager::Service& service : services) {
        for (const QString& verb : perService)
            commands.append({QStringLiteral("networksetup"), {verb, service.name}});
    }
    const System::Command ifconfig{QStringLiteral("ifconfig"), {}};
    commands.append(ifconfig);
    const QList<System::Outcome> answers = System::runAll(commands, cancel, timeoutMs, parallel);

    machine.reading = judgeReading(ifconfig, answers.constLast(), timeoutMs);
    if (!machine.reading.ok()) {
        qWarning() << "Erreur : Impossible de récupérer ifconfig.";
        return machine;
    }
    const InterfaceMap devices = NetworkManager::parseIfconfig(answers.constLast().out);
    for (qsizetype i = 0; i < services.size(); ++i) {
        const NetworkManager::Service& listed = services.at(i);
        // A service whose device the system does not show (a tether unplugged) cannot be used.
        if (!devices.contains(listed.device))
            continue;
        ServiceState state;
        state.name = listed.name;
        state.device = listed.device;
        state.hardwarePort = listed.hardware;
        const qsizetype first = i * perService.size();
        for (qsizetype k = 0; k < perService.size() && state.reading.ok(); ++k)
            state.reading = judgeReading(commands.at(first + k), answers.at(first + k), timeoutMs);
        if (state.reading.ok()) {
            const QString& info = answers.at(first).out;
            QMap<QString, QString> entry;
            NetworkManager::parseServiceInfo(info, entry);
            state.method = parseMethod(info);
            state.address = address(entry, QStringLiteral("IP address"));
            state.mask = address(entry, QStringLiteral("Subnet mask"));
            state.router = address(entry, QStringLiteral("Router"));
            for (const QString& server : parseList(answers.at(first + 1).out))
                state.dnsServers.append(QHostAddress(server));
            state.searchDomains = parseList(answers.at(first + 2).out);
        }
        machine.services.append(state);
    }
    return machine;
}
