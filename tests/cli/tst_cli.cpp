#include "cli/cli.h"
#include "tools/fakemac/fakemac.h"

#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QTextStream>

namespace {

// The simulated Mac's default machine and the built-in default profiles, as the CLI prints them.
const QString statusTable = QStringLiteral(R"(SERVICE              DEVICE  METHOD  ADDRESS        MASK           ROUTER
Ethernet             en0     manual  192.168.1.201  255.255.255.0  192.168.1.1
Wi-Fi                en1     dhcp    10.0.0.23      255.255.255.0  10.0.0.1
USB 10/100/1000 LAN  en5     dhcp    -              -              -
iPhone USB           en6     dhcp    -              -              -
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

} // namespace

class TestCli : public QObject
{
    Q_OBJECT

private slots:
    void runsCommandAgainstSimulatedMac_data();
    void runsCommandAgainstSimulatedMac();
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
        R"([{"address":"10.0.0.23","device":"en1","mask":"255.255.255.0","method":"dhcp","reading":"ok",)"
        R"("router":"10.0.0.1","service":"Wi-Fi"}])"
        "\n",
        "");
    row("status of an unknown service", {"status", "Nope"}, 2, "", "no service \"Nope\"; " + services);
    row("profiles from the built-in default", {"profiles"}, 0, defaultProfiles, "");
    row("sudo reads the invoking user's profiles", {"profiles", "--json"}, 0,
        R"({"defaultHost":7,"profiles":[{"gateway":"","mask":"255.255.255.0","name":"Lab","network":"10.1.2.0"}]})"
        "\n",
        "", {}, "alice");
    row("SUDO_USER of an ordinary user is not sudo", {"profiles"}, 0, defaultProfiles, "", {}, "alice", {}, 501);
    row("sudo without a profiles file reads the default in place", {"profiles"}, 0, defaultProfiles, "", {}, "bob");
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
    row("apply with a router address", {"apply", "--host", "254", "Wi-Fi", "Intercom", "--router", "10.1.1.1"}, 0,
        "Wi-Fi now uses 192.168.3.254 mask 255.255.255.0, router 10.1.1.1.\n", "",
        {"-setdhcp|Wi-Fi", "-setmanual|Wi-Fi|192.168.3.254|255.255.255.0|10.1.1.1"});
    row("sudo applies the invoking user's profile", {"apply", "Wi-Fi", "Lab"}, 0,
        "Wi-Fi now uses 10.1.2.7 mask 255.255.255.0, no router.\n", "",
        {"-setdhcp|Wi-Fi", "-setmanual|Wi-Fi|10.1.2.7|255.255.255.0|"}, "alice");
    row("apply DHCP", {"apply", "Ethernet", "DHCP"}, 0, "Ethernet now uses DHCP.\n", "", {"-setdhcp|Ethernet"});
    row("dhcp", {"dhcp", "Wi-Fi"}, 0, "Wi-Fi now uses DHCP.\n", "", {"-setdhcp|Wi-Fi"});

    row("unknown profile", {"apply", "Wi-Fi", "Lab"}, 2, "",
        "no profile \"Lab\"; the profiles are: DHCP, LA-Network, Intercom, Management, APIPA-FIX");
    row("unknown service", {"apply", "Wi-Fi 2", "LA-Network"}, 2, "", "no service \"Wi-Fi 2\"; " + services);
    row("host not a number", {"apply", "Wi-Fi", "LA-Network", "--host", "1x"}, 2, "", "\"1x\" is not a number");
    row("host with a blank", {"apply", "Wi-Fi", "LA-Network", "--host", " 42"}, 2, "", "\" 42\" is not a number");
    row("host given twice", {"apply", "Wi-Fi", "LA-Network", "--host", "42", "--host", "43"}, 2, "",
        "--host given more than once");
    row("status of an empty name", {"status", ""}, 2, "", "not an empty one");
    row("router in plain dotted decimal", {"apply", "Wi-Fi", "LA-Network", "--router", "010.1.01.1"}, 0,
        "Wi-Fi now uses 192.168.1.201 mask 255.255.255.0, router 10.1.1.1.\n", "",
        {"-setdhcp|Wi-Fi", "-setmanual|Wi-Fi|192.168.1.201|255.255.255.0|10.1.1.1"});
    row("malformed router", {"apply", "Wi-Fi", "LA-Network", "--router", "192.168.1.256"}, 2, "",
        "router address \"192.168.1.256\" is malformed");
    row("router address without --router", {"apply", "Wi-Fi", "LA-Network", "10.0.0.1"}, 2, "",
        "wrong number of arguments for apply");
    row("host with DHCP", {"apply", "Wi-Fi", "DHCP", "--host", "5"}, 2, "", "not with DHCP");
    row("router with dhcp", {"dhcp", "Wi-Fi", "--router"}, 2, "", "--host and --router go with apply");
    row("apply without a profile", {"apply", "Wi-Fi"}, 2, "", "wrong number of arguments for apply");
    row("JSON of apply", {"apply", "Wi-Fi", "LA-Network", "--json"}, 2, "", "--json goes with status and profiles");
    row("unknown command", {"switch", "Wi-Fi"}, 2, "", "unknown command \"switch\"");
    row("unknown option", {"status", "--all"}, 2, "", "Unknown option 'all'");
    row("no command", {}, 2, "", "no command; the commands are: status, profiles, apply, dhcp");
    row("router given twice", {"apply", "Wi-Fi", "LA-Network", "--router", "--router"}, 2, "",
        "--router given more than once");
    row("JSON given twice", {"status", "--json", "--json"}, 2, "", "--json given more than once");
    row("host that is no octet", {"apply", "Wi-Fi", "LA-Network", "--host", "256"}, 2, "",
        "host number \"256\" is not a number from 0 to 255");
    row("host 255 under a /23", {"apply", "Wi-Fi", "Management", "--host", "255"}, 0,
        "Wi-Fi now uses 192.168.0.255 mask 255.255.254.0, no router.\n", "",
        {"-setdhcp|Wi-Fi", "-setmanual|Wi-Fi|192.168.0.255|255.255.254.0|"});
    row("host 255 under a /24", {"apply", "Wi-Fi", "LA-Network", "--host", "255"}, 2, "",
        "192.168.1.255 is the broadcast address under the mask 255.255.255.0");
    row("prompt asked of status", {"status", "--ask-admin"}, 2, "", "--ask-admin goes with apply and dhcp");
    row("timeout that is no number", {"status", "--timeout", "soon"}, 2, "", "--timeout \"soon\" is not a number");
    row("timeout of nothing", {"status", "--timeout", "0"}, 2, "", "--timeout \"0\" is not a number");

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
    // A service already on DHCP that was refused a renewal reads as asked: the outcome follows the reading.
    row("refused but already so", {"dhcp", "Wi-Fi"}, 0, "Wi-Fi now uses DHCP.\n", "", {"-setdhcp|Wi-Fi"}, {}, "admin");
    row("address refused after the switch to DHCP", {"apply", "Wi-Fi", "LA-Network"}, 1, "",
        "tarnwick-cli: partly applied: Wi-Fi now uses DHCP: the fixed address was not set because networksetup "
        "-setmanual refused it: ** Error: 192.168.1.201 is not a valid IP address.\n",
        {"-setdhcp|Wi-Fi", laManual}, {}, "invalid");
    // The reading and the prompt bounded by --timeout, told in English, naming what did not answer.
    row("a reading that never answers", {"status", "--timeout", "2"}, 1, "",
        "tarnwick-cli: nothing could be read: networksetup -listnetworkserviceorder did not answer within 2 s\n", {},
        {}, "hold=-listnetworkserviceorder");
    row("a service that never answers", {"status", "--json", "--timeout", "1", "Wi-Fi"}, 1,
        R"([{"address":"","device":"en1","mask":"","method":"none","reading":"timed out","router":"",)"
        R"("service":"Wi-Fi"}])"
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

QTEST_GUILESS_MAIN(TestCli)
#include "tst_cli.moc"
