#include "cli/cli.h"

#include "cli/confirm.h"
#include "cli/profilecommands.h"
#include "cli/transfercommands.h"
#include "core/switcher.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMutex>
#include <QRegularExpression>
#include <QTextStream>

namespace Cli {

namespace {

const QString& dhcpProfile = Change::DHCP;
const QString& configName = ConfigManager::FILE_NAME;
const QString& defaultConfig = ConfigManager::DEFAULT_RESOURCE;

// The lower layers log in the words of the window's developers; a terminal user reads English.
const QList<QPair<QString, QString>> englishLog{
    {QStringLiteral("Erreur : Impossible de récupérer la liste des interfaces réseau."),
     QStringLiteral("Error: the list of network services could not be read.")},
    {QStringLiteral("Erreur : Impossible de récupérer ifconfig."),
     QStringLiteral("Error: ifconfig could not be read.")},
    {QStringLiteral("Fichier copié avec succès de"), QStringLiteral("File copied from")},
    {QStringLiteral("Impossible de copier"), QStringLiteral("Could not copy")},
    {QStringLiteral("Erreur : "), QStringLiteral("Error: ")},
};

// Where the log goes while run() runs: nowhere, or with --verbose to its error stream. The worker
// threads of the core may log too, hence the lock.
QMutex logLock;
QTextStream* logStream = nullptr;

void logToStream(QtMsgType, const QMessageLogContext&, const QString& message)
{
    QMutexLocker locker(&logLock);
    if (!logStream)
        return;
    QString text = message;
    for (const auto& [french, english] : englishLog)
        text.replace(french, english);
    *logStream << "tarnwick-cli: log: " << text << '\n';
    logStream->flush();
}

class LogScope
{
public:
    LogScope(QTextStream* stream) : previous(qInstallMessageHandler(logToStream))
    {
        QMutexLocker locker(&logLock);
        logStream = stream;
    }
    ~LogScope()
    {
        qInstallMessageHandler(previous);
        QMutexLocker locker(&logLock);
        logStream = nullptr;
    }

private:
    QtMessageHandler previous;
};

struct Context
{
    QTextStream& out;
    QTextStream& err;
    const Environment& environment;
    int timeoutMs = System::defaultTimeoutMs;
    bool askAdmin = false;
    int confirmSeconds = 0;
};

// The profiles are read where they are and never created or changed here: under sudo they are the
// invoking user's (a file made by root would lock the window out of it); without a file, the built-in
// default is read.
ConfigManager readProfiles(const Environment& environment)
{
    QString home = QDir::homePath();
    if (environment.euid == 0 && !environment.sudoUser.isEmpty())
        home = environment.homeOf ? environment.homeOf(environment.sudoUser) : QString();
    const QString file = ConfigManager::configDirIn(home) + configName;
    ConfigManager profiles;
    profiles.load(!home.isEmpty() && QFile::exists(file) ? file : defaultConfig);
    return profiles;
}

// The history of changes is the user's too. Under sudo it is kept in the invoking user's folder only when that
// folder is there already: a folder made by root would lock the window out of it.
QString historyPath(const Environment& environment)
{
    if (environment.euid != 0 || environment.sudoUser.isEmpty())
        return History::defaultPath();
    const QString home = environment.homeOf ? environment.homeOf(environment.sudoUser) : QString();
    const QString folder = ConfigManager::configDirIn(home);
    return !home.isEmpty() && QFileInfo(folder).isDir() ? folder + QStringLiteral("history.xml") : QString();
}

std::unique_ptr<Switcher> makeSwitcher(const Context& context)
{
    auto switcher =
        std::make_unique<Switcher>(readProfiles(context.environment), nullptr, historyPath(context.environment));
    switcher->setTimeout(context.timeoutMs);
    switcher->setPromptTimeout(context.timeoutMs);
    switcher->setAskAdmin(context.askAdmin);
    return switcher;
}

UndoSetup undoSetup(const Context& context)
{
    return {[&context] { return makeSwitcher(context); }, historyPath(context.environment)};
}

QStringList names(const QList<ServiceState>& services)
{
    QStringList result;
    for (const ServiceState& service : services)
        result.append(service.name);
    return result;
}

QString noService(const QString& name, const QList<ServiceState>& services)
{
    return QStringLiteral("no service \"%1\"; the services are: %2")
        .arg(name, names(services).join(QStringLiteral(", ")));
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

QString text(const QHostAddress& address)
{
    return address.isNull() ? QString() : address.toString();
}

int status(const QString& only, bool json, const Context& context)
{
    const std::unique_ptr<Switcher> switcher = makeSwitcher(context);
    const MachineReading& reading = switcher->readNow();
    if (!reading.ok())
        return refused(context.err, QStringLiteral("nothing could be read: %1").arg(reading.reading.text(true)));
    const QList<ServiceState> services = switcher->offeredServices();
    if (!only.isEmpty() && !switcher->offered(only))
        return badUsage(context.err, noService(only, services));

    QList<QStringList> rows{{QStringLiteral("SERVICE"), QStringLiteral("DEVICE"), QStringLiteral("METHOD"),
                             QStringLiteral("ADDRESS"), QStringLiteral("MASK"), QStringLiteral("ROUTER"),
                             QStringLiteral("DNS")}};
    QJsonArray array;
    int status = Done;
    for (const ServiceState& s : services) {
        if (!only.isEmpty() && s.name != only)
            continue;
        const bool read = s.reading.ok();
        // The DNS servers set by hand; "automatic" when the service uses what it is given.
        const QString dns = !read                    ? QString()
                            : s.dnsServers.isEmpty() ? QStringLiteral("automatic")
                                                     : s.dnsText().join(QLatin1Char(','));
        rows.append({s.name, s.device, read ? s.methodText() : s.reading.kindText(), text(s.address), text(s.mask),
                     text(s.router), dns});
        array.append(QJsonObject{{QStringLiteral("service"), s.name},
                                 {QStringLiteral("device"), s.device},
                                 {QStringLiteral("method"), s.methodText()},
                                 {QStringLiteral("reading"), s.reading.kindText()},
                                 {QStringLiteral("address"), text(s.address)},
                                 {QStringLiteral("mask"), text(s.mask)},
                                 {QStringLiteral("router"), text(s.router)},
                                 {QStringLiteral("dns"), QJsonArray::fromStringList(s.dnsText())},
                                 {QStringLiteral("searchDomains"), QJsonArray::fromStringList(s.searchDomains)}});
        if (!read) {
            context.err << "tarnwick-cli: " << s.name << " could not be read: " << s.reading.text(true) << '\n';
            status = Refused;
        }
    }
    if (json)
        context.out << QJsonDocument(array).toJson(QJsonDocument::Compact) << '\n';
    else
        printTable(context.out, rows);
    return status;
}

int profiles(bool json, const Context& context)
{
    const ConfigManager store = readProfiles(context.environment);
    if (!store.readCleanly())
        context.err << "tarnwick-cli: " << store.readProblem() << '\n';
    const int defaultHost = store.defaultHost();
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
        const QJsonObject object{{QStringLiteral("profiles"), array}, {QStringLiteral("defaultHost"), defaultHost}};
        context.out << QJsonDocument(object).toJson(QJsonDocument::Compact) << '\n';
    } else {
        printTable(context.out, rows);
        context.out << "Default host number: " << defaultHost << '\n';
    }
    return Done;
}

// What the user asked apply to do, before anything is checked.
struct Request
{
    QString service;
    QString profile;
    bool withHost = false; // without: the stored default host number
    QString host;
    bool withRouter = false;
    QString router; // empty with withRouter: the router the window would propose
    QString dns;    // DHCP: "keep" or "automatic" for the DNS set by hand; empty: the user's setting
};

// Exactly the window's Apply for the same choice; every argument is checked before anything changes.
int apply(const Request& request, const Context& context)
{
    const bool dhcp = request.profile == dhcpProfile;
    if (dhcp && (request.withHost || request.withRouter))
        return badUsage(context.err, QStringLiteral("--host and --router go with a profile, not with DHCP"));
    static const QRegularExpression number(QStringLiteral("^[0-9]{1,3}$"));
    if (request.withHost && (!number.match(request.host).hasMatch() || request.host.toInt() > 255)) {
        return badUsage(context.err,
                        QStringLiteral("host number \"%1\" is not a number from 0 to 255").arg(request.host));
    }
    const std::unique_ptr<Switcher> switcher = makeSwitcher(context);
    if (!switcher->profileNames().contains(request.profile)) {
        return badUsage(context.err, QStringLiteral("no profile \"%1\"; the profiles are: %2")
                                         .arg(request.profile, switcher->profileNames().join(QStringLiteral(", "))));
    }
    const Profile profile = switcher->profile(request.profile);
    const int host = request.withHost ? request.host.toInt() : switcher->defaultHost();
    const QString router = request.withRouter && request.router.isEmpty() ? proposedRouter(profile) : request.router;
    const ChangeVerdict verdict =
        changeFor(request.service, switcher->profile(request.profile, request.dns), host, router);
    if (!verdict.ok())
        return badUsage(context.err, verdict.problem);

    const MachineReading& before = switcher->readNow();
    if (!before.ok())
        return refused(context.err, QStringLiteral("nothing could be read: %1").arg(before.reading.text(true)));
    if (!switcher->offered(request.service))
        return badUsage(context.err, noService(request.service, switcher->offeredServices()));
    keepPending(historyPath(context.environment), request.service, context.out);
    const ChangeReport report = switcher->applyNow(verdict.change);
    if (report.outcome == ChangeReport::Outcome::Applied) {
        context.out << report.line << '\n';
        if (context.confirmSeconds == 0)
            return Done;
        return confirmChange(*switcher, request.service, {context.confirmSeconds, context.timeoutMs, context.askAdmin},
                             undoSetup(context), context.out, context.err);
    }
    context.err << "tarnwick-cli: " << report.outcomeText() << ": " << report.line << '\n';
    if (report.steps.failure == ChangeResult::Failure::NeedsAdmin)
        context.err << "Run it with sudo, or with --ask-admin.\n";
    return Refused;
}

// Seconds as typed: a positive number, fractions allowed, at most a day.
int parseTimeout(const QString& text)
{
    bool ok = false;
    const double seconds = text.toDouble(&ok);
    return ok && seconds > 0 && seconds <= 86400 ? int(seconds * 1000) : 0;
}

} // namespace

int fail(QTextStream& err, int status, const QString& message)
{
    err << "tarnwick-cli: " << message << '\n';
    return status;
}

int run(const QStringList& arguments, QTextStream& out, QTextStream& err, const Environment& environment)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Switches a macOS network service between DHCP and a fixed IPv4 address built from a profile.\n\n"
        "  status [SERVICE]     each service's device, method, address, mask and router\n"
        "  profiles             the profiles and the default host number\n"
        "  apply SERVICE PROFILE [--host N] [--router [ADDRESS]] [--confirm SECONDS]\n"
        "                       the profile's network with host number N, and its mask;\n"
        "                       DHCP as PROFILE switches to DHCP\n"
        "  dhcp SERVICE [--dns keep|auto] [--confirm SECONDS]\n"
        "                       the same as apply SERVICE DHCP\n"
        "  profile add NAME NETWORK MASK [--gateway ADDRESS]\n"
        "                       a new profile: a mask with contiguous one bits, a gateway\n"
        "                       inside the network\n"
        "  profile edit NAME [--network ADDRESS] [--mask MASK] [--gateway ADDRESS | --no-gateway]\n"
        "                       changes what is given, keeps the rest\n"
        "  profile rename OLD NEW\n"
        "  profile remove NAME\n"
        "  setting default-host N\n"
        "                       the host number apply uses without --host (0-255)\n"
        "  setting hide SERVICE never offer SERVICE, here or in the window\n"
        "  setting unhide SERVICE\n"
        "                       offer SERVICE again\n"
        "  export [FILE|-]      the profiles as a profiles document, to FILE or standard output\n"
        "  import FILE [--on-conflict rename|replace|skip]\n"
        "                       adds the profiles of a profiles document, all or none\n"
        "  undo SERVICE         puts back the state SERVICE had before its last change\n"
        "  history SERVICE      the states undo puts back, newest first\n"
        "  keep SERVICE         keeps a change that waits for an answer to --confirm\n\n"
        "Exit status: 0 done; 1 the system did not do it (refused, cancelled, timed out, partly applied,\n"
        "a reading or a save that failed); 2 bad usage or bad input (nothing was run or written)."));
    const QCommandLineOption helpOption = parser.addHelpOption();
    const QCommandLineOption versionOption = parser.addVersionOption();
    const QCommandLineOption jsonOption(QStringLiteral("json"),
                                        QStringLiteral("status, profiles, history: print JSON."));
    const QCommandLineOption hostOption(
        QStringLiteral("host"),
        QStringLiteral("apply: host number N (0-255) as the fourth octet, as long as it gives neither the "
                       "network's own address nor its broadcast address under the profile's mask; "
                       "default: the stored default host number."),
        QStringLiteral("N"));
    const QCommandLineOption routerOption(QStringLiteral("router"),
                                          QStringLiteral("apply: set a router, the ADDRESS given after PROFILE or "
                                                         "else the profile's gateway (or its network's host 1)."));
    const QCommandLineOption timeoutOption(QStringLiteral("timeout"),
                                           QStringLiteral("how long one command, or the administrator prompt, may "
                                                          "run before it counts as not answering (default 30)."),
                                           QStringLiteral("SECONDS"));
    const QCommandLineOption askAdminOption(
        QStringLiteral("ask-admin"), QStringLiteral("apply, dhcp, undo: when a step is refused for missing rights, "
                                                    "ask through the administrator prompt."));
    const QCommandLineOption verboseOption(QStringLiteral("verbose"),
                                           QStringLiteral("print the log of what is run on standard error."));
    const QCommandLineOption dnsOption(QStringLiteral("dns"),
                                       QStringLiteral("dhcp: keep the DNS servers and search domains set by hand, or "
                                                      "clear them (auto); default: the setting. profile add, profile "
                                                      "edit: the profile's DNS servers (comma-separated), automatic "
                                                      "(clear what is set) or none (leave them alone)."),
                                       QStringLiteral("keep|auto|SERVERS"));
    parser.addOptions({jsonOption, hostOption, routerOption, timeoutOption, askAdminOption, verboseOption, dnsOption});
    parser.addOptions(profileOptions());
    parser.addOptions(transferOptions());
    parser.addOptions(confirmOptions());
    parser.addPositionalArgument(
        QStringLiteral("command"),
        QStringLiteral("status, profiles, apply, dhcp, profile, setting, export, import, undo, history or keep."));
    parser.addPositionalArgument(QStringLiteral("arguments"), QStringLiteral("SERVICE, PROFILE, ADDRESS, FILE."),
                                 QStringLiteral("[arguments...]"));

    if (!parser.parse(arguments))
        return badUsage(err, parser.errorText());
    const LogScope log(parser.isSet(verboseOption) ? &err : nullptr);
    if (parser.isSet(helpOption) || parser.isSet(QStringLiteral("help-all"))) {
        out << parser.helpText();
        return Done;
    }
    if (parser.isSet(versionOption)) {
        out << "tarnwick-cli " << TARNWICK_VERSION << '\n';
        return Done;
    }
    for (const QString& name : parser.optionNames()) {
        if (parser.optionNames().count(name) > 1)
            return badUsage(err, QStringLiteral("--%1 given more than once").arg(name));
    }

    QStringList args = parser.positionalArguments();
    const QString command = args.isEmpty() ? QString() : args.takeFirst();
    const QStringList commands{QStringLiteral("status"),  QStringLiteral("profiles"), QStringLiteral("apply"),
                               QStringLiteral("dhcp"),    QStringLiteral("profile"),  QStringLiteral("setting"),
                               QStringLiteral("export"),  QStringLiteral("import"),   QStringLiteral("undo"),
                               QStringLiteral("history"), QStringLiteral("keep")};
    // revert-pending is started by --confirm only, and not offered.
    if (!commands.contains(command) && command != QLatin1String("revert-pending")) {
        const QString what = command.isEmpty() ? QStringLiteral("no command") : "unknown command \"" + command + '"';
        return badUsage(err, what + QStringLiteral("; the commands are: ") + commands.join(QStringLiteral(", ")));
    }
    const bool json = parser.isSet(jsonOption);
    if (json && command != QLatin1String("status") && command != QLatin1String("profiles") &&
        command != QLatin1String("history"))
        return badUsage(err, QStringLiteral("--json goes with status, profiles and history"));
    if ((parser.isSet(hostOption) || parser.isSet(routerOption)) && command != QLatin1String("apply"))
        return badUsage(err, QStringLiteral("--host and --router go with apply"));
    if (parser.isSet(dnsOption) && command != QLatin1String("dhcp") && command != QLatin1String("profile"))
        return badUsage(err, QStringLiteral("--dns goes with dhcp, profile add and profile edit"));
    const bool askAdmin = parser.isSet(askAdminOption);
    if (askAdmin && command != QLatin1String("apply") && command != QLatin1String("dhcp") &&
        command != QLatin1String("undo") && command != QLatin1String("revert-pending"))
        return badUsage(err, QStringLiteral("--ask-admin goes with apply, dhcp and undo"));
    if (const std::optional<int> done = runTransferCommand(command, args, parser, out, err, environment,
                                                           [&environment] { return readProfiles(environment); }))
        return *done;
    if (const std::optional<int> done = runProfileCommand(command, args, parser, out, err, environment))
        return *done;
    Context context{out, err, environment, System::defaultTimeoutMs, askAdmin};
    if (parser.isSet(timeoutOption)) {
        context.timeoutMs = parseTimeout(parser.value(timeoutOption));
        if (context.timeoutMs == 0) {
            return badUsage(err, QStringLiteral("--timeout \"%1\" is not a number of seconds from 0 to 86400")
                                     .arg(parser.value(timeoutOption)));
        }
    }
    if (const std::optional<int> done = runConfirmCommand(command, args, parser, out, err, undoSetup(context)))
        return *done;
    context.confirmSeconds = confirmSeconds(parser);

    if (command == QLatin1String("status") && args.size() == 1 && args.at(0).isEmpty())
        return badUsage(err, QStringLiteral("status takes a service name, not an empty one"));
    if (command == QLatin1String("status") && args.size() <= 1)
        return status(args.value(0), json, context);
    if (command == QLatin1String("profiles") && args.isEmpty())
        return profiles(json, context);
    if (command == QLatin1String("dhcp") && args.size() == 1) {
        const QString dns = parser.value(dnsOption);
        if (parser.isSet(dnsOption) && dns != QLatin1String("keep") && dns != QLatin1String("auto"))
            return badUsage(err, QStringLiteral("--dns takes keep or auto, not \"%1\"").arg(dns));
        const QString dnsOnDhcp = dns.isEmpty()                  ? QString()
                                  : dns == QLatin1String("auto") ? ConfigManager::AUTOMATIC
                                                                 : ConfigManager::KEEP;
        return apply({args.at(0), dhcpProfile, false, {}, false, {}, dnsOnDhcp}, context);
    }
    // --router takes no value of its own: the address, when given, is the argument after PROFILE.
    if (command == QLatin1String("apply") && (args.size() == 2 || (args.size() == 3 && parser.isSet(routerOption)))) {
        return apply({args.at(0),
                      args.at(1),
                      parser.isSet(hostOption),
                      parser.value(hostOption),
                      parser.isSet(routerOption),
                      args.value(2),
                      {}},
                     context);
    }
    return badUsage(err, QStringLiteral("wrong number of arguments for %1; see --help").arg(command));
}

} // namespace Cli
