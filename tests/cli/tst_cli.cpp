#include "cli/cli.h"
#include "tools/fakemac/fakemac.h"

#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QTextStream>

#include <csignal>
#include <sys/resource.h>
#include <unistd.h>

namespace {

// The simulated Mac's default machine and the built-in default profiles, as the CLI prints them.
const QString statusTable =
    QStringLiteral(R"(SERVICE              DEVICE  METHOD  ADDRESS        MASK           ROUTER       DNS
Ethernet             en0     manual  192.168.1.201  255.255.255.0  192.168.1.1  automatic
Wi-Fi                en1     dhcp    10.0.0.23      255.255.255.0  10.0.0.1     automatic
USB 10/100/1000 LAN  en5     dhcp    -              -              -            automatic
iPhone USB           en6     dhcp    -              -              -            automatic
)");
const QString defaultProfiles = QStringLiteral(R"(PROFILE     NETWORK      MASK           GATEWAY
LA-Network  192.168.1.0  255.255.255.0  192.168.1.1
Intercom    192.168.3.0  255.255.255.0  192.168.3.1
Management  192.168.0.0  255.255.254.0  192.168.0.1
APIPA-FIX   169.254.0.0  255.255.0.0    -
Default host number: 201
)");
// Under sudo, "alice" has profiles of her own, "bob" has none and "carol" has a file cut short.
const QByteArray aliceConfig = "<root><config><name>Lab</name><address>10.1.2.0</address><mask>255.255.255.0</mask>"
                               "</config><settings><default_network_id>7</default_network_id></settings></root>";
const QString services = QStringLiteral("the services are: Ethernet, Wi-Fi, USB 10/100/1000 LAN, iPhone USB");

// config.xml as the store writes it.
QByteArray profileXml(const QByteArray& name, const QByteArray& network, const QByteArray& mask,
                      const QByteArray& gateway = {})
{
    QByteArray xml = "   <config>\n      <name>" + name + "</name>\n      <address>" + network +
                     "</address>\n      <mask>" + mask + "</mask>\n";
    if (!gateway.isEmpty())
        xml += "      <gateway>" + gateway + "</gateway>\n";
    return xml + "   </config>\n";
}
QByteArray configXml(const QByteArrayList& profiles, const QByteArray& host = "201",
                     const QByteArrayList& hidden = {"Thunderbolt Bridge"})
{
    QByteArray xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<root>\n" + profiles.join() +
                     "   <settings>\n      <default_network_id>" + host + "</default_network_id>\n";
    if (hidden.isEmpty())
        return xml + "      <forbidden_interfaces></forbidden_interfaces>\n   </settings>\n</root>\n";
    xml += "      <forbidden_interfaces>\n";
    for (const QByteArray& name : hidden)
        xml += "         <interface>" + name + "</interface>\n";
    return xml + "      </forbidden_interfaces>\n   </settings>\n</root>\n";
}
const QByteArray noFile = "(no file)";

QByteArray bytesOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : noFile;
}

// Makes every save fail while it lives, also as root, who writes into any folder: the folder is read-only and
// root enters it as an ordinary user; or files may not grow past 512 bytes.
class SaveFault
{
public:
    SaveFault(const QString& kind, const QString& home) : kind(kind), folder(home + QStringLiteral("/Library/Tarnwick"))
    {
        if (kind == QLatin1String("read-only folder")) {
            QFile::setPermissions(home, QFile::Permissions(0x7755));
            QFile::setPermissions(folder, QFile::Permissions(0x5555));
            asOther = geteuid() == 0 && seteuid(65534) == 0;
        } else if (kind == QLatin1String("file too large")) {
            getrlimit(RLIMIT_FSIZE, &limit);
            signalWas = std::signal(SIGXFSZ, SIG_IGN);
            const rlimit small{512, limit.rlim_max};
            setrlimit(RLIMIT_FSIZE, &small);
        }
    }
    ~SaveFault()
    {
        if (asOther && seteuid(0) != 0)
            qFatal("cannot become root again");
        if (kind == QLatin1String("read-only folder"))
            QFile::setPermissions(folder, QFile::Permissions(0x7755));
        if (kind == QLatin1String("file too large")) {
            setrlimit(RLIMIT_FSIZE, &limit);
            std::signal(SIGXFSZ, signalWas);
        }
    }

private:
    QString kind;
    QString folder;
    bool asOther = false;
    rlimit limit{};
    void (*signalWas)(int) = SIG_DFL;
};

// What one command line printed and returned, run as `condition` says: under sudo as alice, whose home is the
// simulated Mac's, and with the save fault it names.
struct Outcome
{
    int status = -1;
    QString out;
    QString err;
};

Outcome runAs(const FakeMac& mac, const QString& condition, const QStringList& arguments)
{
    const Cli::Environment environment{0, condition == QLatin1String("sudo") ? QStringLiteral("alice") : QString(),
                                       [&mac](const QString&) { return mac.homeDir(); }};
    Outcome outcome;
    QTextStream outStream(&outcome.out);
    QTextStream errStream(&outcome.err);
    const SaveFault fault(condition, mac.homeDir());
    outcome.status = Cli::run(QStringList{"tarnwick-cli"} + arguments, outStream, errStream, environment);
    outStream.flush();
    errStream.flush();
    return outcome;
}

} // namespace

class TestCli : public QObject
{
    Q_OBJECT

private slots:
    void runsCommandAgainstSimulatedMac_data();
    void runsCommandAgainstSimulatedMac();
    void changesConfigurationOnlyWhenAllIsRight_data();
    void changesConfigurationOnlyWhenAllIsRight();
    void transfersWholeFilesOnly_data();
    void transfersWholeFilesOnly();
};

void TestCli::runsCommandAgainstSimulatedMac_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("out");
    QTest::addColumn<QString>("err"); // a part of standard error; none expected when empty
    QTest::addColumn<QStringList>("changes");
    QTest::addColumn<QString>("sudoUser");
    // The simulated Mac's failure switches, "stdout" to print errors there, "hold=WORD" to hold what WORD names.
    QTest::addColumn<QString>("failure");
    QTest::addColumn<uint>("euid");
    const auto row = [](const char* name, const QStringList& arguments, int status, const QString& out,
                        const QString& err, const QStringList& changes = {}, const QString& sudoUser = {},
                        const QString& failure = {}, uint euid = 0) {
        QTest::newRow(name) << arguments << status << out << err << changes << sudoUser << failure << euid;
    };
    const QString laManual = QStringLiteral("-setmanual|Wi-Fi|192.168.1.201|255.255.255.0|");

    row("version", {"--version"}, 0, "tarnwick-cli " TARNWICK_VERSION "\n", "");
    row("status of every service", {"status"}, 0, statusTable, "");
    row("status of one service as JSON", {"status", "--json", "Wi-Fi"}, 0,
        R"([{"address":"10.0.0.23","device":"en1","dns":[],"mask":"255.255.255.0","method":"dhcp","reading":"ok",)"
        R"("router":"10.0.0.1","searchDomains":[],"service":"Wi-Fi"}])"
        "\n",
        "");
    row("profiles from the built-in default", {"profiles"}, 0, defaultProfiles, "");
    row("sudo reads the invoking user's profiles", {"profiles", "--json"}, 0,
        R"({"defaultHost":7,"profiles":[{"gateway":"","mask":"255.255.255.0","name":"Lab","network":"10.1.2.0"}]})"
        "\n",
        "", {}, "alice");
    row("a file cut short is read as far as it goes, and the user told", {"profiles"}, 0,
        "PROFILE  NETWORK   MASK           GATEWAY\nLab      10.1.2.0  255.255.255.0  -\nDefault host number: 201\n",
        "tarnwick-cli: The configuration file is damaged at line 1 (Premature end of document)", {}, "carol");

    row("apply with the default host and no router", {"apply", "Wi-Fi", "LA-Network"}, 0,
        "Wi-Fi now uses 192.168.1.201 mask 255.255.255.0, no router.\n", "", {"-setdhcp|Wi-Fi", laManual});
    row("apply with a host and the profile's gateway", {"apply", "Wi-Fi", "LA-Network", "--host", "42", "--router"}, 0,
        "Wi-Fi now uses 192.168.1.42 mask 255.255.255.0, router 192.168.1.1.\n", "",
        {"-setdhcp|Wi-Fi", "-setmanual|Wi-Fi|192.168.1.42|255.255.255.0|192.168.1.1"});
    row("apply proposes host 1 without a gateway", {"apply", "Ethernet", "APIPA-FIX", "--router"}, 0,
        "Ethernet now uses 169.254.0.201 mask 255.255.0.0, router 169.254.0.1.\n", "",
        {"-setdhcp|Ethernet", "-setmanual|Ethernet|169.254.0.201|255.255.0.0|169.254.0.1"});
    row("sudo applies the invoking user's profile", {"apply", "Wi-Fi", "Lab"}, 0,
        "Wi-Fi now uses 10.1.2.7 mask 255.255.255.0, no router.\n", "",
        {"-setdhcp|Wi-Fi", "-setmanual|Wi-Fi|10.1.2.7|255.255.255.0|"}, "alice");
    row("dhcp", {"dhcp", "Wi-Fi"}, 0, "Wi-Fi now uses DHCP.\n", "", {"-setdhcp|Wi-Fi"});
    row("dhcp clearing the DNS", {"dhcp", "Wi-Fi", "--dns", "auto"}, 0, "Wi-Fi now uses DHCP.\n", "",
        {"-setdhcp|Wi-Fi", "-setdnsservers|Wi-Fi|Empty", "-setsearchdomains|Wi-Fi|Empty"});
    row("a profile with DNS",
        {"profile", "add", "Lab", "10.5.0.0", "255.255.0.0", "--dns", "10.5.0.53, 2001:db8::53", "--search",
         "lab.example"},
        0,
        "Added profile \"Lab\": 10.5.0.0 mask 255.255.0.0, no gateway, DNS 10.5.0.53, 2001:db8::53, search "
        "lab.example.\n",
        "");
    row("a profile with a malformed DNS server",
        {"profile", "add", "Lab", "10.5.0.0", "255.255.0.0", "--dns", "10.5.0"}, 2, "",
        "DNS server \"10.5.0\" is not an IPv4 or IPv6 address");
    row("dhcp with another DNS choice", {"dhcp", "Wi-Fi", "--dns", "none"}, 2, "", "--dns takes keep or auto");
    row("DNS choice with apply", {"apply", "Wi-Fi", "LA-Network", "--dns", "auto"}, 2, "", "--dns goes with dhcp");

    row("unknown profile", {"apply", "Wi-Fi", "Lab"}, 2, "",
        "no profile \"Lab\"; the profiles are: DHCP, LA-Network, Intercom, Management, APIPA-FIX");
    row("unknown service", {"apply", "Wi-Fi 2", "LA-Network"}, 2, "", "no service \"Wi-Fi 2\"; " + services);
    row("host not a number", {"apply", "Wi-Fi", "LA-Network", "--host", "1x"}, 2, "", "\"1x\" is not a number");
    row("malformed router", {"apply", "Wi-Fi", "LA-Network", "--router", "192.168.1.256"}, 2, "",
        "router address \"192.168.1.256\" is malformed");
    row("no command", {}, 2, "", "no command; the commands are: status, profiles, apply, dhcp");
    row("router given twice", {"apply", "Wi-Fi", "LA-Network", "--router", "--router"}, 2, "",
        "--router given more than once");
    row("host 255 under a /23", {"apply", "Wi-Fi", "Management", "--host", "255"}, 0,
        "Wi-Fi now uses 192.168.0.255 mask 255.255.254.0, no router.\n", "",
        {"-setdhcp|Wi-Fi", "-setmanual|Wi-Fi|192.168.0.255|255.255.254.0|"});
    row("host 255 under a /24", {"apply", "Wi-Fi", "LA-Network", "--host", "255"}, 2, "",
        "192.168.1.255 is the broadcast address under the mask 255.255.255.0");
    row("prompt asked of status", {"status", "--ask-admin"}, 2, "", "--ask-admin goes with apply, dhcp and undo");

    const QString adminError =
        QStringLiteral("because networksetup -setdhcp refused it without administrator rights.\nRun it with sudo, or "
                       "with --ask-admin.\n");
    row("refusal on standard error", {"apply", "Wi-Fi", "LA-Network"}, 1, "",
        "tarnwick-cli: refused: Wi-Fi now uses DHCP: the fixed address was not set " + adminError, {"-setdhcp|Wi-Fi"},
        {}, "admin");
    row("refusal on standard output", {"dhcp", "Ethernet"}, 1, "",
        "tarnwick-cli: refused: Ethernet now uses 192.168.1.201 mask 255.255.255.0, router 192.168.1.1: DHCP was not "
        "set " +
            adminError,
        {"-setdhcp|Ethernet"}, {}, "admin stdout");
    // The reading and the prompt bounded by --timeout, told in English, naming what did not answer.
    row("a reading that never answers", {"status", "--timeout", "2"}, 1, "",
        "tarnwick-cli: nothing could be read: networksetup -listnetworkserviceorder did not answer within 2 s\n", {},
        {}, "hold=-listnetworkserviceorder");
    row("a service that never answers", {"status", "--json", "--timeout", "1", "Wi-Fi"}, 1,
        R"([{"address":"","device":"en1","dns":[],"mask":"","method":"none","reading":"timed out","router":"",)"
        R"("searchDomains":[],"service":"Wi-Fi"}])"
        "\n",
        "tarnwick-cli: Wi-Fi could not be read: networksetup -getinfo Wi-Fi did not answer within 1 s\n", {}, {},
        "hold=Wi-Fi");
    row("a prompt never answered", {"apply", "Wi-Fi", "LA-Network", "--ask-admin", "--timeout", "3"}, 1, "",
        "tarnwick-cli: timed out: Wi-Fi now uses DHCP: the fixed address was not set because the administrator "
        "prompt was not answered within 3 s.\n",
        {"-setdhcp|Wi-Fi"}, {}, "admin hold=osascript");
    row("the log on request, in English", {"status", "--verbose"}, 1, "",
        "tarnwick-cli: log: Error: the list of network services could not be read.\n", {}, {}, "silent");
    row("no log unless asked", {"status"}, 1, "",
        "tarnwick-cli: nothing could be read: networksetup -listnetworkserviceorder failed: it printed nothing\n", {},
        {}, "silent");
    // The machine keeps reporting the old address: the change did not land, whatever the command said.
    row("a change that did not land", {"apply", "Wi-Fi", "LA-Network"}, 1, "",
        "tarnwick-cli: refused: Wi-Fi now uses DHCP: the fixed address was not set because the system reported no "
        "error but the service does not show it.\n",
        {"-setdhcp|Wi-Fi", laManual}, {}, "stuck");
}

void TestCli::runsCommandAgainstSimulatedMac()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, status);
    QFETCH(QString, out);
    QFETCH(QString, err);
    QFETCH(QStringList, changes);
    QFETCH(QString, sudoUser);
    QFETCH(QString, failure);
    QFETCH(uint, euid);

    FakeMac mac; // its home folder is root's under sudo
    QStringList switches = failure.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (switches.removeAll(QStringLiteral("stuck")))
        mac.setReplay(QStringLiteral("getinfo-Wi-Fi"), QStringLiteral("DHCP Configuration\nIP address: 10.0.0.23\n"));
    mac.setErrorsToStdout(switches.removeAll(QStringLiteral("stdout")));
    for (const QString& word : std::as_const(switches)) {
        if (word.startsWith(QLatin1String("hold=")))
            mac.setHold(word.mid(5));
    }
    mac.setFailure(switches.filter(QRegularExpression(QStringLiteral("^[a-z]+$"))).join(QLatin1Char(' ')));
    QTemporaryDir users;
    QVERIFY(QDir().mkpath(users.filePath(QStringLiteral("bob"))));
    for (const QString& user : {QStringLiteral("alice"), QStringLiteral("carol")}) {
        const QByteArray bytes =
            user == QLatin1String("alice") ? aliceConfig : aliceConfig.left(aliceConfig.indexOf("</config>"));
        QFile file(users.filePath(user + QStringLiteral("/Library/Tarnwick/config.xml")));
        QVERIFY(QDir().mkpath(QFileInfo(file).path()) && file.open(QIODevice::WriteOnly) &&
                file.write(bytes) == bytes.size());
    }
    const Cli::Environment environment{euid, sudoUser, [&users](const QString& user) { return users.filePath(user); }};

    QString output;
    QString errors;
    {
        QTextStream outStream(&output);
        QTextStream errStream(&errors);
        QCOMPARE(Cli::run(QStringList{"tarnwick-cli"} + arguments, outStream, errStream, environment), status);
    }
    QCOMPARE(output, out);
    QVERIFY2(err.isEmpty() ? errors.isEmpty() : errors.contains(err), qPrintable(errors));
    QCOMPARE(errors.contains(QLatin1String("log:")), arguments.contains(QLatin1String("--verbose")));
    QStringList changesRun;
    for (const QStringList& call : mac.calls()) {
        if (call.value(1).startsWith(QLatin1String("-set")))
            changesRun.append(call.mid(1).join(QLatin1Char('|')));
    }
    QCOMPARE(changesRun, changes);
    // Bad usage runs nothing, except the reading that finds a service unknown; status and profiles write nothing.
    if (status == Cli::BadUsage && !err.contains(QLatin1String("no service")))
        QCOMPARE(mac.calls(), QList<QStringList>());
    if (arguments.contains(QLatin1String("status")) || arguments.contains(QLatin1String("profiles")))
        QVERIFY(!QFile::exists(mac.homeDir() + QStringLiteral("/Library")));
    // Under sudo the home folder is root's: nothing may be created there, nor in the invoking user's.
    if (euid == 0 && !sudoUser.isEmpty())
        QVERIFY(!QFile::exists(mac.homeDir() + QStringLiteral("/Library")));
    QVERIFY(!QFile::exists(users.filePath(QStringLiteral("bob/Library"))));
}

void TestCli::changesConfigurationOnlyWhenAllIsRight_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("out");
    QTest::addColumn<QString>("err"); // found in standard error, $HOME standing for the home folder
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("after");
    QTest::addColumn<QString>("condition"); // "sudo", or a SaveFault
    const auto row = [](const char* name, const QStringList& arguments, int status, const QString& out,
                        const QString& err, const QByteArray& before, const QByteArray& after,
                        const QString& condition = {}) {
        QTest::newRow(name) << arguments << status << out << err << before << after << condition;
    };
    const QByteArray lab = profileXml("Lab", "10.5.0.0", "255.255.0.0", "10.5.0.1");
    const QByteArray home = profileXml("Home", "192.168.1.0", "255.255.255.0");
    const QByteArray start = configXml({lab, home});
    const QByteArrayList builtIn{profileXml("LA-Network", "192.168.1.0", "255.255.255.0", "192.168.1.1"),
                                 profileXml("Intercom", "192.168.3.0", "255.255.255.0", "192.168.3.1"),
                                 profileXml("Management", "192.168.0.0", "255.255.254.0", "192.168.0.1"),
                                 profileXml("APIPA-FIX", "169.254.0.0", "255.255.0.0")};
    const QStringList addOffice{"profile", "add", "Office", "172.16.0.0", "255.240.0.0", "--gateway", "172.16.0.1"};
    const QString officeAdded = "Added profile \"Office\": 172.16.0.0 mask 255.240.0.0, gateway 172.16.0.1.\n";
    const QByteArray withOffice =
        configXml({lab, home, profileXml("Office", "172.16.0.0", "255.240.0.0", "172.16.0.1")});

    row("add with a gateway", addOffice, 0, officeAdded, "", start, withOffice);
    row("add to a missing file starts from the default",
        {"profile", "add", "Office", "172.16.0.0", "255.240.0.0", "--no-gateway"}, 0,
        "Added profile \"Office\": 172.16.0.0 mask 255.240.0.0, no gateway.\n", "", noFile,
        configXml(builtIn + QByteArrayList{profileXml("Office", "172.16.0.0", "255.240.0.0")}, "201",
                  {"Thunderbolt Bridge", "Pont Thunderbolt"}));
    row("edit keeps what is not given", {"profile", "edit", "Lab", "--mask", "255.255.255.0"}, 0,
        "Changed profile \"Lab\": 10.5.0.0 mask 255.255.255.0, gateway 10.5.0.1.\n", "", start,
        configXml({profileXml("Lab", "10.5.0.0", "255.255.255.0", "10.5.0.1"), home}));
    row("edit moves the network and its gateway",
        {"profile", "edit", "Lab", "--network", "10.6.0.0", "--gateway", "10.6.255.254"}, 0,
        "Changed profile \"Lab\": 10.6.0.0 mask 255.255.0.0, gateway 10.6.255.254.\n", "", start,
        configXml({profileXml("Lab", "10.6.0.0", "255.255.0.0", "10.6.255.254"), home}));
    row("edit drops the gateway", {"profile", "edit", "Lab", "--no-gateway"}, 0,
        "Changed profile \"Lab\": 10.5.0.0 mask 255.255.0.0, no gateway.\n", "", start,
        configXml({profileXml("Lab", "10.5.0.0", "255.255.0.0"), home}));
    row("rename keeps the profile's place", {"profile", "rename", "Lab", "Lab B"}, 0,
        "Renamed profile \"Lab\" to \"Lab B\".\n", "", start,
        configXml({profileXml("Lab B", "10.5.0.0", "255.255.0.0", "10.5.0.1"), home}));
    row("remove", {"profile", "remove", "Lab"}, 0, "Removed profile \"Lab\".\n", "", start, configXml({home}));
    row("default host stored as a plain number", {"setting", "default-host", "007"}, 0,
        "The default host number is now 7.\n", "", start, configXml({lab, home}, "7"));
    row("hide a service", {"setting", "hide", "Wi-Fi"}, 0, "Service \"Wi-Fi\" is now hidden.\n", "", start,
        configXml({lab, home}, "201", {"Thunderbolt Bridge", "Wi-Fi"}));
    row("hiding a hidden service writes nothing", {"setting", "hide", "Thunderbolt Bridge"}, 0,
        "Service \"Thunderbolt Bridge\" is already hidden.\n", "", start, start);
    row("unhide the last hidden service", {"setting", "unhide", "Thunderbolt Bridge"}, 0,
        "Service \"Thunderbolt Bridge\" is no longer hidden.\n", "", start, configXml({lab, home}, "201", {}));

    row("name taken", {"profile", "add", "Home", "10.0.0.0", "255.0.0.0"}, 2, "",
        "a profile named \"Home\" exists already", start, start);
    row("name DHCP", {"profile", "add", "DHCP", "10.0.0.0", "255.0.0.0"}, 2, "", "the name \"DHCP\" is reserved", start,
        start);
    row("mask with a gap", {"profile", "add", "Office", "172.16.0.0", "255.0.255.0"}, 2, "",
        "the one bits of mask 255.0.255.0 are not contiguous", start, start);
    row("gateway just outside a /12",
        {"profile", "add", "Office", "172.16.0.0", "255.240.0.0", "--gateway", "172.32.0.1"}, 2, "",
        "gateway 172.32.0.1 is outside the network 172.16.0.0 mask 255.240.0.0", start, start);
    row("edit leaves the kept gateway outside", {"profile", "edit", "Lab", "--network", "10.6.0.0"}, 2, "",
        "gateway 10.5.0.1 is outside the network 10.6.0.0 mask 255.255.0.0; give --gateway with one inside, or "
        "--no-gateway",
        start, start);
    row("gateway option with status", {"status", "--gateway", "10.0.0.1"}, 2, "",
        "--gateway, --no-gateway and --search go with profile add and profile edit", start, start);
    row("unhide a service not hidden", {"setting", "unhide", "Wi-Fi"}, 2, "",
        "service \"Wi-Fi\" is not hidden; the hidden services are: Thunderbolt Bridge", start, start);
    row("under sudo", addOffice, 2, "", "profiles and settings belong to the user; run it without sudo", start, start,
        "sudo");
    row("save into a read-only folder", addOffice, 1, "",
        "tarnwick-cli: Could not save $HOME/Library/Tarnwick/config.xml: Permission denied\n", start, start,
        "read-only folder");
    row("save past the file-size limit", addOffice, 1, "",
        "tarnwick-cli: Could not save $HOME/Library/Tarnwick/config.xml: File too large\n", start, start,
        "file too large");
}

void TestCli::changesConfigurationOnlyWhenAllIsRight()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, status);
    QFETCH(QString, out);
    QFETCH(QString, err);
    QFETCH(QByteArray, before);
    QFETCH(QByteArray, after);
    QFETCH(QString, condition);

    FakeMac mac;
    const QString folder = mac.homeDir() + QStringLiteral("/Library/Tarnwick");
    const QString path = folder + QStringLiteral("/config.xml");
    if (before != noFile) {
        QFile file(path);
        QVERIFY(QDir().mkpath(folder) && file.open(QIODevice::WriteOnly) && file.write(before) == before.size());
    }
    // Under sudo the user's home is the one the file is in.
    const Outcome run = runAs(mac, condition, arguments);
    QCOMPARE(run.status, status);
    QCOMPARE(run.out, out);
    err.replace(QLatin1String("$HOME"), mac.homeDir());
    QVERIFY2(err.isEmpty() ? run.err.isEmpty() : run.err.contains(err), qPrintable(run.err));
    QCOMPARE(bytesOf(path), after);
    // Nothing else is left beside it, such as a half-written file, and nothing was run.
    const QStringList files = QDir(folder).entryList(QDir::Files | QDir::Hidden | QDir::System);
    QCOMPARE(files, after == noFile ? QStringList() : QStringList{QStringLiteral("config.xml")});
    QCOMPARE(mac.calls(), QList<QStringList>());
}

void TestCli::transfersWholeFilesOnly_data()
{
    QTest::addColumn<QStringList>("arguments"); // $FILE standing for the file to import
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("out");
    QTest::addColumn<QString>("err");       // found in standard error, $FILE and $HOME standing for themselves
    QTest::addColumn<QString>("condition"); // "sudo", or a SaveFault
    const auto row = [](const char* name, const QStringList& arguments, const QByteArray& file, int status,
                        const QString& out, const QString& err, const QString& condition = {}) {
        QTest::newRow(name) << arguments << file << status << out << err << condition;
    };
    const QStringList import{"import", "$FILE"};
    const QByteArray office = "<root><config><name>Office</name><address>172.16.0.0</address><mask>255.240.0.0</mask>"
                              "<dns>172.16.0.53</dns></config></root>";

    row("adds a profile and tells of each", import,
        "<root><config><name>Home</name><address>192.168.1.0</address><mask>255.255.255.0</mask></config>" +
            office.mid(6),
        0, "\"Home\" is already there.\nAdded \"Office\".\n", "");
    row("cut short", import, office.left(office.indexOf("0.53</dns>")), 2, "",
        "Could not import $FILE, line 1: Premature end of document\n");
    row("another document", import, "<html><config/></html>", 2, "",
        "Could not import $FILE, line 1: the document is <html>, not a profiles document (<root>)\n");
    row("markup in a name", import, QByteArray(office).replace("Office", "<b>x</b>"), 2, "",
        "Could not import $FILE, line 1: <name> holds the element <b>, where only text may be\n");
    row("over 1 MB", import, "<root>" + QByteArray(1024 * 1024, ' ') + office.mid(6), 2, "",
        "Could not import $FILE: it is larger than 1 MB, far more than any list of profiles\n");
    row("a mask with a gap", import, QByteArray(office).replace("<mask>255.240.0.0", "\n<mask>255.0.255.0"), 2, "",
        "Could not import $FILE, line 2: the one bits of mask 255.0.255.0 are not contiguous");
    row("under sudo", import, office, 2, "", "profiles belong to the user; run it without sudo", "sudo");
    row("a choice for export", {"export", "--on-conflict", "skip"}, {}, 2, "", "--on-conflict goes with import");
    row("a save that fails", import, office, 1, "",
        "tarnwick-cli: Could not save $HOME/Library/Tarnwick/config.xml: Permission denied\n", "read-only folder");
    row("export into a missing folder", {"export", "/none/profiles.xml"}, {}, 1, "",
        "tarnwick-cli: could not write /none/profiles.xml: No such file or directory\n");
}

// An import reads the file whole and checks it before config.xml is touched: anything wrong leaves that byte for
// byte as it was. An export writes a whole file or none.
void TestCli::transfersWholeFilesOnly()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, file);
    QFETCH(int, status);
    QFETCH(QString, out);
    QFETCH(QString, err);
    QFETCH(QString, condition);

    FakeMac mac;
    const QString folder = mac.homeDir() + QStringLiteral("/Library/Tarnwick");
    const QString path = folder + QStringLiteral("/config.xml");
    const QString source = mac.homeDir() + QStringLiteral("/import.xml");
    const QByteArray start =
        configXml({profileXml("Home", "192.168.1.0", "255.255.255.0"), profileXml("Lab", "10.0.0.0", "255.0.0.0")});
    const auto put = [](const QString& at, const QByteArray& bytes) {
        QFile out(at);
        return QDir().mkpath(QFileInfo(at).path()) && out.open(QIODevice::WriteOnly) &&
               out.write(bytes) == bytes.size();
    };
    QVERIFY(put(path, start) && put(source, file));
    arguments.replaceInStrings(QStringLiteral("$FILE"), source);
    const Outcome run = runAs(mac, condition, arguments);
    QCOMPARE(run.status, status);
    QCOMPARE(run.out, out);
    err.replace(QLatin1String("$FILE"), source).replace(QLatin1String("$HOME"), mac.homeDir());
    QVERIFY2(run.err.contains(err), qPrintable(run.err));
    QCOMPARE(bytesOf(path) == start, !out.contains(QLatin1String("Added")));
    QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("config.xml")});
}

QTEST_GUILESS_MAIN(TestCli)
#include "tst_cli.moc"
