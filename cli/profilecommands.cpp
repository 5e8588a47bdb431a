#include "cli/profilecommands.h"

#include "config/configmanager.h"
#include "network/change.h"
#include "network/networkmanager.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTextStream>

#include <functional>

namespace Cli {

namespace {

const QString gatewayOption = QStringLiteral("gateway");
const QString noGatewayOption = QStringLiteral("no-gateway");
const QString dnsOption = QStringLiteral("dns");
const QString searchOption = QStringLiteral("search");
const QString networkOption = QStringLiteral("network");
const QString maskOption = QStringLiteral("mask");

// One change to config.xml worked out from the profiles as they are: why it cannot be made, or how to
// make it and the line that tells it. Without `apply` there is nothing to write.
struct Plan
{
    QString problem;
    std::function<bool(ConfigManager& store, QString* error)> apply;
    QString done;
};
using Planner = std::function<Plan(const ConfigManager& store)>;

Plan refusal(const QString& problem)
{
    return {problem, {}, {}};
}

QString notAnAddress(const QString& what, const QString& text)
{
    return QStringLiteral("%1 \"%2\" is not a dotted-quad IPv4 address").arg(what, text);
}

// The servers or domains a profile lists; "automatic" lists none.
QStringList dnsItems(const ProfileEntry& entry, const QString& key)
{
    const QString stored = entry.value(key);
    return stored.isEmpty() || stored == ConfigManager::AUTOMATIC ? QStringList() : stored.split(QLatin1Char('\n'));
}

// The profile manager's checks, and one more: a gateway outside the network could never be reached.
QString profileProblem(const ProfileEntry& entry)
{
    const QString network = entry.value(ConfigManager::ADDRESS_KEY);
    const QString mask = entry.value(ConfigManager::MASK_KEY);
    if (!NetworkManager::isIPv4(network))
        return notAnAddress(QStringLiteral("network"), network);
    if (!NetworkManager::isIPv4(mask))
        return notAnAddress(QStringLiteral("mask"), mask);
    // The system refuses a mask with a gap only when the profile is applied.
    if (!NetworkManager::isNetmask(mask))
        return QStringLiteral("the one bits of mask %1 are not contiguous (as in 255.255.254.0)").arg(mask);
    for (const QString& server : dnsItems(entry, ConfigManager::DNS_KEY)) {
        if (!NetworkManager::isDnsServer(server))
            return QStringLiteral("DNS server \"%1\" is not an IPv4 or IPv6 address").arg(server);
    }
    for (const QString& domain : dnsItems(entry, ConfigManager::SEARCH_KEY)) {
        if (!NetworkManager::isSearchDomain(domain))
            return QStringLiteral("search domain \"%1\" is not a domain name").arg(domain);
    }
    if (!entry.contains(ConfigManager::GATEWAY_KEY))
        return {};
    const QString gateway = entry.value(ConfigManager::GATEWAY_KEY);
    if (!NetworkManager::isIPv4(gateway))
        return notAnAddress(QStringLiteral("gateway"), gateway);
    if (((NetworkManager::toNumber(gateway) ^ NetworkManager::toNumber(network)) & NetworkManager::toNumber(mask)) != 0)
        return QStringLiteral("gateway %1 is outside the network %2 mask %3").arg(gateway, network, mask);
    return {};
}

// A name the window can list and tell apart: the profile manager trims what is typed, so a name with
// blanks at its ends could only come from here.
QString nameProblem(const QString& name, const ConfigManager& store)
{
    if (name.trimmed().isEmpty())
        return QStringLiteral("a profile name cannot be empty");
    if (name != name.trimmed())
        return QStringLiteral("profile name \"%1\" begins or ends with a blank").arg(name);
    // "DHCP" is apply's automatic addressing and "settings" the store's own section.
    if (name == Change::DHCP || name == ConfigManager::SETTINGS)
        return QStringLiteral("the name \"%1\" is reserved").arg(name);
    if (store.getProfileEntries().contains(name))
        return QStringLiteral("a profile named \"%1\" exists already").arg(name);
    return {};
}

QString unknownProfile(const QString& name, const ConfigManager& store)
{
    const QStringList names = store.getProfileEntries();
    if (names.isEmpty())
        return QStringLiteral("no profile \"%1\"; there are no profiles").arg(name);
    return QStringLiteral("no profile \"%1\"; the profiles are: %2").arg(name, names.join(QStringLiteral(", ")));
}

ProfileEntry storedProfile(const ConfigManager& store, const QString& name)
{
    ProfileEntry entry{{ConfigManager::ADDRESS_KEY, store.getParameter(name, ConfigManager::ADDRESS_KEY)},
                       {ConfigManager::MASK_KEY, store.getParameter(name, ConfigManager::MASK_KEY)}};
    // An empty gateway element means none, and is written as none.
    for (const QString& key : {ConfigManager::GATEWAY_KEY, ConfigManager::DNS_KEY, ConfigManager::SEARCH_KEY}) {
        const QString value = store.getParameter(name, key);
        if (!value.isEmpty())
            entry.insert(key, value);
    }
    return entry;
}

QString describe(const ProfileEntry& entry)
{
    const QString gateway = entry.contains(ConfigManager::GATEWAY_KEY)
                                ? QStringLiteral("gateway ") + entry.value(ConfigManager::GATEWAY_KEY)
                                : QStringLiteral("no gateway");
    QString text = QStringLiteral("%1 mask %2, %3")
                       .arg(entry.value(ConfigManager::ADDRESS_KEY), entry.value(ConfigManager::MASK_KEY), gateway);
    const auto items = [&entry](const QString& key) {
        return entry.value(key).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    };
    return text + describeDns(items(ConfigManager::DNS_KEY), items(ConfigManager::SEARCH_KEY));
}

// What --dns or --search ask: a list as typed (commas or blanks between), "automatic", or "none" to leave the
// service's own alone; nothing when not given.
void applyDns(ProfileEntry& entry, const QString& key, const std::optional<QString>& given)
{
    if (!given)
        return;
    const QStringList items = given->split(QRegularExpression(QStringLiteral("[,\\s]+")), Qt::SkipEmptyParts);
    if (items == QStringList{QStringLiteral("none")})
        entry.remove(key);
    else
        entry.insert(key, items.join(QLatin1Char('\n')));
}

// What the options ask of a profile's gateway: keep it, set it, or drop it.
struct GatewayChoice
{
    bool set = false;
    bool drop = false;
    QString address;

    void applyTo(ProfileEntry& entry) const
    {
        if (set)
            entry.insert(ConfigManager::GATEWAY_KEY, address);
        else if (drop)
            entry.remove(ConfigManager::GATEWAY_KEY);
    }
};

Plan addProfile(const ConfigManager& store, const QString& name, ProfileEntry entry)
{
    QString problem = nameProblem(name, store);
    if (problem.isEmpty())
        problem = profileProblem(entry);
    if (!problem.isEmpty())
        return refusal(problem);
    return {{},
            [name, entry](ConfigManager& target, QString* error) { return target.addEntry(name, entry, error); },
            QStringLiteral("Added profile \"%1\": %2.").arg(name, describe(entry))};
}

// What profile edit was given; the rest is kept.
struct Edit
{
    std::optional<QString> network;
    std::optional<QString> mask;
    GatewayChoice gateway;
    std::optional<QString> dns;
    std::optional<QString> search;
};

Plan editProfile(const ConfigManager& store, const QString& name, const Edit& edit)
{
    if (!store.getProfileEntries().contains(name))
        return refusal(unknownProfile(name, store));
    ProfileEntry entry = storedProfile(store, name);
    if (edit.network)
        entry.insert(ConfigManager::ADDRESS_KEY, *edit.network);
    if (edit.mask)
        entry.insert(ConfigManager::MASK_KEY, *edit.mask);
    edit.gateway.applyTo(entry);
    applyDns(entry, ConfigManager::DNS_KEY, edit.dns);
    applyDns(entry, ConfigManager::SEARCH_KEY, edit.search);
    QString problem = profileProblem(entry);
    ProfileEntry withoutGateway = entry;
    withoutGateway.remove(ConfigManager::GATEWAY_KEY);
    // A new network or mask can leave the kept gateway outside: say how to settle it.
    if (!problem.isEmpty() && !edit.gateway.set && profileProblem(withoutGateway).isEmpty())
        problem += QStringLiteral("; give --gateway with one inside, or --no-gateway");
    if (!problem.isEmpty())
        return refusal(problem);
    return {{},
            [name, entry](ConfigManager& target, QString* error) { return target.updateEntry(name, entry, error); },
            QStringLiteral("Changed profile \"%1\": %2.").arg(name, describe(entry))};
}

Plan renameProfile(const ConfigManager& store, const QString& oldName, const QString& newName)
{
    if (!store.getProfileEntries().contains(oldName))
        return refusal(unknownProfile(oldName, store));
    const QString problem = nameProblem(newName, store);
    if (!problem.isEmpty())
        return refusal(problem);
    return {{},
            [oldName, newName](ConfigManager& target, QString* error) {
                return target.renameEntry(oldName, newName, error);
            },
            QStringLiteral("Renamed profile \"%1\" to \"%2\".").arg(oldName, newName)};
}

Plan removeProfile(const ConfigManager& store, const QString& name)
{
    if (!store.getProfileEntries().contains(name))
        return refusal(unknownProfile(name, store));
    return {{},
            [name](ConfigManager& target, QString* error) { return target.removeEntry(name, error); },
            QStringLiteral("Removed profile \"%1\".").arg(name)};
}

// The same numbers apply's --host takes; "007" is stored as 7.
Plan setDefaultHost(const QString& text)
{
    static const QRegularExpression number(QStringLiteral("^[0-9]{1,3}$"));
    if (!number.match(text).hasMatch() || text.toInt() > 255)
        return refusal(QStringLiteral("default host number \"%1\" is not a number from 0 to 255").arg(text));
    const QString host = QString::number(text.toInt());
    return {{},
            [host](ConfigManager& target, QString* error) {
                return target.updateSetting(ConfigManager::NETWORK_ID_KEY, host, error);
            },
            QStringLiteral("The default host number is now %1.").arg(host)};
}

QString serviceProblem(const QString& name)
{
    if (name.trimmed().isEmpty())
        return QStringLiteral("a service name cannot be empty");
    // Services are hidden by their whole name: one with a stray blank would never match.
    if (name != name.trimmed())
        return QStringLiteral("service name \"%1\" begins or ends with a blank").arg(name);
    return {};
}

// Hiding a hidden service already gives what was asked, so it succeeds and writes nothing; unhiding one
// that is not hidden is more likely a misspelt name, so it is refused with the names that are.
Plan hideService(const ConfigManager& store, const QString& name, bool hide)
{
    const QString problem = serviceProblem(name);
    if (!problem.isEmpty())
        return refusal(problem);
    QStringList hidden = store.getForbiddenInterfaces();
    if (hide && hidden.contains(name))
        return {{}, {}, QStringLiteral("Service \"%1\" is already hidden.").arg(name)};
    if (!hide && !hidden.contains(name)) {
        if (hidden.isEmpty())
            return refusal(QStringLiteral("service \"%1\" is not hidden; no service is").arg(name));
        return refusal(QStringLiteral("service \"%1\" is not hidden; the hidden services are: %2")
                           .arg(name, hidden.join(QStringLiteral(", "))));
    }
    if (hide)
        hidden.append(name);
    else
        hidden.removeAll(name);
    return {{},
            [hidden](ConfigManager& target, QString* error) { return target.setForbiddenInterfaces(hidden, error); },
            hide ? QStringLiteral("Service \"%1\" is now hidden.").arg(name)
                 : QStringLiteral("Service \"%1\" is no longer hidden.").arg(name)};
}

// The request is checked against the file as it is before the store is opened for writing: opening it
// creates a missing file, and bad input must leave none behind.
int carryOut(const Planner& planner, QTextStream& out, QTextStream& err)
{
    const QString path = ConfigManager::configDirIn(QDir::homePath()) + ConfigManager::FILE_NAME;
    ConfigManager current;
    current.load(QFile::exists(path) ? path : ConfigManager::DEFAULT_RESOURCE);
    if (!current.readCleanly())
        err << "tarnwick-cli: " << current.readProblem() << '\n';
    Plan plan = planner(current);
    if (!plan.problem.isEmpty())
        return badUsage(err, plan.problem);
    if (plan.apply) {
        ConfigManager store(ConfigManager::FILE_NAME, ConfigManager::DEFAULT_RESOURCE);
        // A file the store could not create is left to the save, which says why it cannot write one.
        if (!QFile::exists(store.filePath()))
            store.load(ConfigManager::DEFAULT_RESOURCE);
        plan = planner(store);
        if (!plan.problem.isEmpty())
            return badUsage(err, plan.problem);
        QString error;
        if (!plan.apply(store, &error)) {
            err << "tarnwick-cli: " << (error.isEmpty() ? QStringLiteral("the change was refused") : error) << '\n';
            return Refused;
        }
        if (!store.lastKeptCopy().isEmpty())
            err << "tarnwick-cli: the unreadable file is kept as " << QDir::toNativeSeparators(store.lastKeptCopy())
                << '\n';
    }
    out << plan.done << '\n';
    return Done;
}

std::optional<int> wrongArguments(const QString& command, QTextStream& err)
{
    return badUsage(err, QStringLiteral("wrong number of arguments for %1; see --help").arg(command));
}

std::optional<int> profileCommand(QStringList args, const QCommandLineParser& parser, QTextStream& out,
                                  QTextStream& err)
{
    const QStringList verbs{QStringLiteral("add"), QStringLiteral("edit"), QStringLiteral("rename"),
                            QStringLiteral("remove")};
    const QString verb = args.isEmpty() ? QString() : args.takeFirst();
    if (!verbs.contains(verb)) {
        const QString what = verb.isEmpty() ? QStringLiteral("profile needs a command")
                                            : QStringLiteral("unknown profile command \"%1\"").arg(verb);
        return badUsage(err, what + QStringLiteral("; the profile commands are: ") + verbs.join(QStringLiteral(", ")));
    }
    const QString command = QStringLiteral("profile ") + verb;
    GatewayChoice gateway{parser.isSet(gatewayOption), parser.isSet(noGatewayOption), parser.value(gatewayOption)};
    const auto given = [&parser](const QString& option) {
        return parser.isSet(option) ? std::optional<QString>(parser.value(option)) : std::nullopt;
    };
    if (gateway.set && gateway.drop)
        return badUsage(err, QStringLiteral("--gateway and --no-gateway cannot be given together"));

    if (verb == QLatin1String("add")) {
        if (args.size() != 3)
            return wrongArguments(command, err);
        ProfileEntry entry{{ConfigManager::ADDRESS_KEY, args.at(1)}, {ConfigManager::MASK_KEY, args.at(2)}};
        gateway.applyTo(entry);
        applyDns(entry, ConfigManager::DNS_KEY, given(dnsOption));
        applyDns(entry, ConfigManager::SEARCH_KEY, given(searchOption));
        return carryOut([&](const ConfigManager& store) { return addProfile(store, args.at(0), entry); }, out, err);
    }
    if (verb == QLatin1String("edit")) {
        if (args.size() != 1)
            return wrongArguments(command, err);
        if (!parser.isSet(networkOption) && !parser.isSet(maskOption) && !gateway.set && !gateway.drop &&
            !parser.isSet(dnsOption) && !parser.isSet(searchOption))
            return badUsage(err, QStringLiteral("profile edit needs --network, --mask, --gateway, --no-gateway, "
                                                "--dns or --search"));
        const Edit edit{given(networkOption), given(maskOption), gateway, given(dnsOption), given(searchOption)};
        return carryOut([&](const ConfigManager& store) { return editProfile(store, args.at(0), edit); }, out, err);
    }
    if (verb == QLatin1String("rename")) {
        if (args.size() != 2)
            return wrongArguments(command, err);
        return carryOut([&](const ConfigManager& store) { return renameProfile(store, args.at(0), args.at(1)); }, out,
                        err);
    }
    if (args.size() != 1)
        return wrongArguments(command, err);
    return carryOut([&](const ConfigManager& store) { return removeProfile(store, args.at(0)); }, out, err);
}

std::optional<int> settingCommand(QStringList args, QTextStream& out, QTextStream& err)
{
    const QStringList verbs{QStringLiteral("default-host"), QStringLiteral("hide"), QStringLiteral("unhide")};
    const QString verb = args.isEmpty() ? QString() : args.takeFirst();
    if (!verbs.contains(verb)) {
        const QString what = verb.isEmpty() ? QStringLiteral("setting needs a name")
                                            : QStringLiteral("unknown setting \"%1\"").arg(verb);
        return badUsage(err, what + QStringLiteral("; the settings are: ") + verbs.join(QStringLiteral(", ")));
    }
    if (args.size() != 1)
        return wrongArguments(QStringLiteral("setting ") + verb, err);
    const QString value = args.at(0);
    if (verb == QLatin1String("default-host"))
        return carryOut([&](const ConfigManager&) { return setDefaultHost(value); }, out, err);
    const bool hide = verb == QLatin1String("hide");
    return carryOut([&](const ConfigManager& store) { return hideService(store, value, hide); }, out, err);
}

} // namespace

QList<QCommandLineOption> profileOptions()
{
    return {
        QCommandLineOption(gatewayOption, QStringLiteral("profile add, profile edit: the gateway, inside the network."),
                           QStringLiteral("ADDRESS")),
        QCommandLineOption(noGatewayOption, QStringLiteral("profile add, profile edit: no gateway.")),
        QCommandLineOption(networkOption, QStringLiteral("profile edit: the new network address."),
                           QStringLiteral("ADDRESS")),
        QCommandLineOption(maskOption, QStringLiteral("profile edit: the new subnet mask."), QStringLiteral("MASK")),
        QCommandLineOption(searchOption,
                           QStringLiteral("profile add, profile edit: the search domains (comma-separated), automatic "
                                          "or none."),
                           QStringLiteral("DOMAINS"))};
}

std::optional<int> runProfileCommand(const QString& command, const QStringList& arguments,
                                     const QCommandLineParser& parser, QTextStream& out, QTextStream& err,
                                     const Environment& environment)
{
    const bool profile = command == QLatin1String("profile");
    const bool gateway = parser.isSet(gatewayOption) || parser.isSet(noGatewayOption) ||
                         (profile && parser.isSet(dnsOption)) || parser.isSet(searchOption);
    const bool fields = parser.isSet(networkOption) || parser.isSet(maskOption);
    if (!profile && command != QLatin1String("setting") && !gateway && !fields)
        return std::nullopt;
    const QString verb = profile ? arguments.value(0) : QString();
    if (gateway && verb != QLatin1String("add") && verb != QLatin1String("edit"))
        return badUsage(err, QStringLiteral("--gateway, --no-gateway and --search go with profile add and profile "
                                            "edit"));
    if (fields && verb != QLatin1String("edit"))
        return badUsage(err, QStringLiteral("--network and --mask go with profile edit"));
    // A config.xml written by root would lock the window, which runs as the user, out of it.
    if (environment.euid == 0 && !environment.sudoUser.isEmpty())
        return badUsage(err, QStringLiteral("profiles and settings belong to the user; run it without sudo"));
    if (parser.isSet(QStringLiteral("timeout")))
        return badUsage(err, QStringLiteral("--timeout does not go with profile or setting, which run nothing"));
    return profile ? profileCommand(arguments, parser, out, err) : settingCommand(arguments, out, err);
}

} // namespace Cli
