#include "cli/cli.h"

#include "config/configmanager.h"
#include "network/networkmanager.h"

#include <QCommandLineParser>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTextStream>

namespace Cli {

namespace {

const QString& dhcpProfile = Change::DHCP;
const QString& settingsSection = ConfigManager::SETTINGS;
const QString& configName = ConfigManager::FILE_NAME;
const QString& defaultConfig = ConfigManager::DEFAULT_RESOURCE;

struct Service
{
    QString name;
    QString device;
    QString address;
    QString mask;
    QString router;
};

// What the user asked apply to do, before anything is checked.
struct Request
{
    QString service;
    QString profile;
    bool withHost = false; // without: the stored default host number
    QString host;
    bool withRouter = false;
    QString router; // empty with withRouter: the router the window would propose
};

int badUsage(QTextStream& err, const QString& message)
{
    err << "tarnwick-cli: " << message << '\n';
    return BadUsage;
}

// The services the window offers, from the same reading and merge, in the same order, without the ones
// the user has forbidden.
QList<Service> readServices(const QStringList& forbidden)
{
    NetworkManager network;
    network.update();
    QList<Service> services;
    for (const QString& device : network.getInterfaces()) {
        const QString name = network.getName(device);
        if (!forbidden.contains(name))
            services.append(
                {name, device, network.getIp4(device), network.getNetmask(device), network.getRouter(device)});
    }
    return services;
}

QStringList serviceNames(const QList<Service>& services)
{
    QStringList names;
    for (const Service& service : services)
        names.append(service.name);
    return names;
}

ConfigManager readProfiles(const Environment& environment)
{
    if (environment.euid != 0 || environment.sudoUser.isEmpty())
        return ConfigManager(configName, defaultConfig);
    // Under sudo the profiles are the invoking user's, read in place. Nothing is created there: a file
    // made by root would later be unwritable for the window. Without a file the built-in default is read.
    const QString home = environment.homeOf ? environment.homeOf(environment.sudoUser) : QString();
    const QString file = ConfigManager::configDirIn(home) + configName;
    ConfigManager profiles;
    profiles.load(!home.isEmpty() && QFile::exists(file) ? file : defaultConfig);
    return profiles;
}

// Columns padded to their widest cell; an empty cell shows as "-" so that every line splits alike.
void printTable(QTextStream& out, QList<QStringList> rows)
{
    QList<qsizetype> widths(rows.first().size(), 0);
    for (QStringList& row : rows) {
        for (qsizetype i = 0; i < row.size(); ++i) {
            if (row[i].isEmpty())
                row[i] = QStringLiteral("-");
            widths[i] = qMax(widths[i], row[i].size());
        }
    }
    for (const QStringList& row : std::as_const(rows)) {
        for (qsizetype i = 0; i + 1 < row.size(); ++i)
            out << row[i].leftJustified(widths[i] + 2);
        out << row.last() << '\n';
    }
}

int status(const QString& only, const QStringList& forbidden, bool json, QTextStream& out, QTextStream& err)
{
    const QList<Service> services = readServices(forbidden);
    if (!only.isEmpty() && !serviceNames(services).contains(only)) {
        return badUsage(err, QStringLiteral("no service \"%1\"; the services are: %2")
                                 .arg(only, serviceNames(services).join(QStringLiteral(", "))));
    }
    QList<QStringList> rows{{QStringLiteral("SERVICE"), QStringLiteral("DEVICE"), QStringLiteral("ADDRESS"),
                             QStringLiteral("MASK"), QStringLiteral("ROUTER")}};
    QJsonArray array;
    for (const Service& s : services) {
        if (!only.isEmpty() && s.name != only)
            continue;
        rows.append({s.name, s.device, s.address, s.mask, s.router});
        array.append(QJsonObject{{QStringLiteral("service"), s.name},
                                 {QStringLiteral("device"), s.device},
                                 {QStringLiteral("address"), s.address},
                                 {QStringLiteral("mask"), s.mask},
                                 {QStringLiteral("router"), s.router}});
    }
    if (json)
        out << QJsonDocument(array).toJson(QJsonDocument::Compact) << '\n';
    else
        printTable(out, rows);
    return Done;
}

int profiles(const ConfigManager& store, bool json, QTextStream& out, QTextStream& err)
{
    if (!store.readCleanly())
        err << "tarnwick-cli: " << store.readProblem() << '\n';
    const QString defaultHost = store.getParameter(settingsSection, ConfigManager::NETWORK_ID_KEY);
    QList<QStringList> rows{
        {QStringLiteral("PROFILE"), QStringLiteral("NETWORK"), QStringLiteral("MASK"), QStringLiteral("GATEWAY")}};
    QJsonArray array;
    for (const QString& name : store.getProfileEntries()) {
        const QString network = store.getParameter(name, ConfigManager::ADDRESS_KEY);
        const QString mask = store.getParameter(name, ConfigManager::MASK_KEY);
        const QString gateway = store.getParameter(name, ConfigManager::GATEWAY_KEY);
        rows.append({name, network, mask, gateway});
        array.append(QJsonObject{{QStringLiteral("name"), name},
                                 {QStringLiteral("network"), network},
                                 {QStringLiteral("mask"), mask},
                                 {QStringLiteral("gateway"), gateway}});
    }
    if (json) {
        const QJsonObject object{{QStringLiteral("profiles"), array},
                                 {QStringLiteral("defaultHost"), defaultHost.toInt()}};
        out << QJsonDocument(object).toJson(QJsonDocument::Compact) << '\n';
    } else {
        printTable(out, rows);
        out << "Default host number: " << defaultHost << '\n';
    }
    return Done;
}

// Exactly the window's Apply for the same choice; every argument is checked before anything changes.
int apply(const Request& request, const Environment& environment, QTextStream& out, QTextStream& err)
{
    const bool dhcp = request.profile == dhcpProfile;
    if (dhcp && (request.withHost || request.withRouter))
        return badUsage(err, QStringLiteral("--host and --router go with a profile, not with DHCP"));
    const ConfigManager store = readProfiles(environment);
    Change change = Change::toDhcp(request.service);
    if (!dhcp) {
        const QStringList names = store.getProfileEntries();
        if (!names.contains(request.profile)) {
            return badUsage(err,
                            QStringLiteral("no profile \"%1\"; the profiles are: %2")
                                .arg(request.profile, (QStringList{dhcpProfile} + names).join(QStringLiteral(", "))));
        }
        const QString hostText =
            request.withHost ? request.host : store.getParameter(settingsSection, ConfigManager::NETWORK_ID_KEY);
        static const QRegularExpression number(QStringLiteral("^[0-9]{1,3}$"));
        if (!number.match(hostText).hasMatch())
            return badUsage(err, QStringLiteral("host number \"%1\" is not a number from 0 to 255").arg(hostText));
        const QString network = store.getParameter(request.profile, ConfigManager::ADDRESS_KEY);
        QString router = request.router;
        if (request.withRouter && router.isEmpty())
            router = NetworkManager::proposedRouter(network,
                                                    store.getParameter(request.profile, ConfigManager::GATEWAY_KEY));
        const QString problem =
            Change::toProfile(change, request.service, network,
                              store.getParameter(request.profile, ConfigManager::MASK_KEY), hostText.toInt(), router);
        if (!problem.isEmpty())
            return badUsage(err, problem);
    }

    const QStringList forbidden = store.getForbiddenInterfaces();
    const QStringList services = serviceNames(readServices(forbidden));
    if (!services.contains(request.service)) {
        return badUsage(err, QStringLiteral("no service \"%1\"; the services are: %2")
                                 .arg(request.service, services.join(QStringLiteral(", "))));
    }
    const ChangeResult result = NetworkManager::apply(change);
    if (!result.error.isEmpty()) {
        err << result.error.trimmed() << '\n';
        if (result.needsAdmin)
            err << "Run it with sudo.\n";
        return Refused;
    }
    NetworkManager after;
    after.update();
    const QString unconfirmed = after.unconfirmed(change);
    if (!unconfirmed.isEmpty()) {
        err << "Not confirmed: " << unconfirmed << '\n';
        return Refused;
    }
    out << change.describe() << '\n';
    return Done;
}

} // namespace

int run(const QStringList& arguments, QTextStream& out, QTextStream& err, const Environment& environment)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Switches a macOS network service between DHCP and a fixed IPv4 address built from a profile.\n\n"
        "  status [SERVICE]     each service's device, address, mask and router\n"
        "  profiles             the profiles and the default host number\n"
        "  apply SERVICE PROFILE [--host N] [--router [ADDRESS]]\n"
        "                       the profile's network with host number N, and its mask;\n"
        "                       DHCP as PROFILE switches to DHCP\n"
        "  dhcp SERVICE         the same as apply SERVICE DHCP\n\n"
        "Exit status: 0 done, 1 refused by the system, 2 bad usage (nothing changed)."));
    const QCommandLineOption helpOption = parser.addHelpOption();
    const QCommandLineOption versionOption = parser.addVersionOption();
    const QCommandLineOption jsonOption(QStringLiteral("json"), QStringLiteral("status, profiles: print JSON."));
    const QCommandLineOption hostOption(QStringLiteral("host"),
                                        QStringLiteral("apply: host number N (1-254) as the fourth octet; "
                                                       "default: the stored default host number."),
                                        QStringLiteral("N"));
    const QCommandLineOption routerOption(QStringLiteral("router"),
                                          QStringLiteral("apply: set a router, the ADDRESS given after PROFILE or "
                                                         "else the profile's gateway (or its network's host 1)."));
    parser.addOptions({jsonOption, hostOption, routerOption});
    parser.addPositionalArgument(QStringLiteral("command"), QStringLiteral("status, profiles, apply or dhcp."));
    parser.addPositionalArgument(QStringLiteral("arguments"), QStringLiteral("SERVICE, PROFILE, ADDRESS."),
                                 QStringLiteral("[arguments...]"));

    if (!parser.parse(arguments))
        return badUsage(err, parser.errorText());
    if (parser.isSet(helpOption) || parser.isSet(QStringLiteral("help-all"))) {
        out << parser.helpText();
        return Done;
    }
    if (parser.isSet(versionOption)) {
        out << "tarnwick-cli " << TARNWICK_VERSION << '\n';
        return Done;
    }

    QStringList args = parser.positionalArguments();
    const QString command = args.isEmpty() ? QString() : args.takeFirst();
    const bool json = parser.isSet(jsonOption);
    if (json && command != QLatin1String("status") && command != QLatin1String("profiles"))
        return badUsage(err, QStringLiteral("--json goes with status and profiles"));
    const bool forApply = parser.isSet(hostOption) || parser.isSet(routerOption);
    if (forApply && command != QLatin1String("apply"))
        return badUsage(err, QStringLiteral("--host and --router go with apply"));

    if (parser.values(hostOption).size() > 1)
        return badUsage(err, QStringLiteral("--host given more than once"));
    if (command == QLatin1String("status") && args.size() == 1 && args.at(0).isEmpty())
        return badUsage(err, QStringLiteral("status takes a service name, not an empty one"));
    if (command == QLatin1String("status") && args.size() <= 1)
        return status(args.value(0), readProfiles(environment).getForbiddenInterfaces(), json, out, err);
    if (command == QLatin1String("profiles") && args.isEmpty())
        return profiles(readProfiles(environment), json, out, err);
    if (command == QLatin1String("dhcp") && args.size() == 1)
        return apply({args.at(0), dhcpProfile, false, {}, false, {}}, environment, out, err);
    // --router takes no value of its own: the address, when given, is the argument after PROFILE.
    if (command == QLatin1String("apply") && (args.size() == 2 || (args.size() == 3 && parser.isSet(routerOption)))) {
        return apply({args.at(0), args.at(1), parser.isSet(hostOption), parser.value(hostOption),
                      parser.isSet(routerOption), args.value(2)},
                     environment, out, err);
    }
    const QStringList commands{QStringLiteral("status"), QStringLiteral("profiles"), QStringLiteral("apply"),
                               QStringLiteral("dhcp")};
    if (!commands.contains(command)) {
        const QString what = command.isEmpty() ? QStringLiteral("no command") : "unknown command \"" + command + '"';
        return badUsage(err, what + QStringLiteral("; the commands are: ") + commands.join(QStringLiteral(", ")));
    }
    return badUsage(err, QStringLiteral("wrong number of arguments for %1; see --help").arg(command));
}

} // namespace Cli
