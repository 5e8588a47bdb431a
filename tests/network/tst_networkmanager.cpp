#include "network/networkmanager.h"

#include "tests/common/fakemac.h"
#include "tests/network/flatten.h"

#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const char* const versionLine = "NetworkManager version: \"26.205-1424\"";
const char* const listingWarning = "Erreur : Impossible de récupérer la liste des interfaces réseau.";
const char* const ifconfigWarning = "Erreur : Impossible de récupérer ifconfig.";

// The simulated Mac's calls, one "command|argument|..." line each, so an empty argument shows as "||".
QStringList calls(const FakeMac& mac)
{
    QStringList result;
    for (const QStringList& call : mac.calls())
        result.append(call.join(QLatin1Char('|')));
    return result;
}

// The manager's table as the window reads it: "device|name|ip|mask|router" per device.
QStringList table(const NetworkManager& manager)
{
    QStringList rows;
    for (const QString& device : manager.getInterfaces())
        rows.append(QStringList{device, manager.getName(device), manager.getIp4(device), manager.getNetmask(device),
                                manager.getRouter(device)}
                        .join(QLatin1Char('|')));
    return rows;
}

const QStringList defaultTable = lines("en0|Ethernet|192.168.1.201|255.255.255.0|192.168.1.1; "
                                       "en1|Wi-Fi|10.0.0.23|255.255.255.0|10.0.0.1; en5|USB 10/100/1000 LAN|||; "
                                       "en6|iPhone USB|||");

// Loads one of our recorded machines into the simulated Mac; getinfo files are named by the service
// lower-cased, every run of other characters than letters and digits turned into one "-" (none of
// our service names ends in one).
void replayMachine(FakeMac& mac, const QString& machine)
{
    static const QRegularExpression others(u"[^a-z0-9]+"_s);
    const QString listing = FakeMac::fixture(machine + u"/listnetworkserviceorder.txt"_s);
    mac.setReplay(u"listnetworkserviceorder"_s, listing);
    mac.setReplay(u"ifconfig"_s, FakeMac::fixture(machine + u"/ifconfig.txt"_s));
    for (const NetworkManager::Service& service : NetworkManager::parseServiceOrder(listing)) {
        const QString slug = service.name.toLower().replace(others, u"-"_s);
        mac.setReplay(u"getinfo-"_s + service.name, FakeMac::fixture(machine + u"/getinfo-"_s + slug + u".txt"_s));
    }
}

} // namespace

class TestNetworkManager : public QObject
{
    Q_OBJECT

private slots:
    void init() { QTest::ignoreMessage(QtDebugMsg, versionLine); }
    void readsTheDefaultMachineInCommandOrder();
    void findsDeviceByServiceName_data();
    void findsDeviceByServiceName();
    void readsRecordedMachines_data();
    void readsRecordedMachines();
    void readsWhatItCanWhenACommandFails_data();
    void readsWhatItCanWhenACommandFails();
    void appliesSettings_data();
    void appliesSettings();
};

void TestNetworkManager::readsTheDefaultMachineInCommandOrder()
{
    FakeMac mac;
    const NetworkManager manager;
    // The disabled iPhone tether is read like an enabled service; the bridge is forbidden and the VPN
    // has no en device, so neither is asked for details.
    QCOMPARE(calls(mac), lines("networksetup|-listnetworkserviceorder; networksetup|-getinfo|Ethernet; "
                               "networksetup|-getinfo|Wi-Fi; networksetup|-getinfo|USB 10/100/1000 LAN; "
                               "networksetup|-getinfo|iPhone USB; ifconfig"));
    QCOMPARE(table(manager), defaultTable);
}

void TestNetworkManager::findsDeviceByServiceName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("device");

    QTest::newRow("whole name") << u"Ethernet"_s << u"en0"_s;
    QTest::newRow("part of a name") << u"Wi"_s << u"en1"_s;
    QTest::newRow("shared part: first device wins") << u"USB"_s << u"en5"_s;
    QTest::newRow("empty name: first device") << QString() << u"en0"_s;
    QTest::newRow("case matters") << u"ethernet"_s << QString();
    QTest::newRow("forbidden service is not in the table") << u"Thunderbolt Bridge"_s << QString();
}

void TestNetworkManager::findsDeviceByServiceName()
{
    QFETCH(QString, name);
    QFETCH(QString, device);
    FakeMac mac;
    QCOMPARE(NetworkManager().getInterfaceByName(name), device);
}

void TestNetworkManager::readsRecordedMachines_data()
{
    QTest::addColumn<QString>("machine");
    QTest::addColumn<QStringList>("table");

    QTest::newRow("MacBook Air: tether missing from ifconfig")
        << u"macbook-air-m2"_s
        << lines("en0|Wi-Fi|192.168.178.52|255.255.255.0|192.168.178.1; "
                 "en7|USB 10/100/1000 LAN|192.168.178.47|255.255.255.0|192.168.178.1");
    QTest::newRow("iMac: French bridge skipped, Wi-Fi without lease")
        << u"imac-2019"_s
        << lines("en0|Ethernet|10.20.30.201|255.255.254.0|10.20.30.1; en1|Wi-Fi|||; en3|PAN Bluetooth|||");
    QTest::newRow("MacBook Pro: later service on en4 wins, no router")
        << u"macbook-pro-2015"_s
        << lines("en0|Wi-Fi|192.168.10.201|255.255.255.0|; "
                 "en4|Thunderbolt Ethernet 2|172.20.1.201|255.255.0.0|172.20.0.1");
}

void TestNetworkManager::readsRecordedMachines()
{
    QFETCH(QString, machine);
    QFETCH(QStringList, table);
    FakeMac mac;
    replayMachine(mac, machine);
    QCOMPARE(::table(NetworkManager()), table);
}

void TestNetworkManager::readsWhatItCanWhenACommandFails_data()
{
    QTest::addColumn<QString>("emptied"); // the replay made empty
    QTest::addColumn<QString>("failure");
    QTest::addColumn<QStringList>("warnings");
    QTest::addColumn<int>("commands");
    QTest::addColumn<QStringList>("table");

    const QStringList namesOnly = lines("en0|Ethernet|||; en1|Wi-Fi|||; en5|USB 10/100/1000 LAN|||; en6|iPhone USB|||");
    QStringList wifiBlank = defaultTable;
    wifiBlank[1] = u"en1|Wi-Fi|||"_s;
    QTest::newRow("listing empty: no details asked, ifconfig still read")
        << u"listnetworkserviceorder"_s << QString() << QStringList{listingWarning} << 2 << QStringList();
    QTest::newRow("ifconfig empty") << u"ifconfig"_s << QString() << QStringList{ifconfigWarning} << 6 << QStringList();
    QTest::newRow("every command silent")
        << QString() << u"silent"_s << QStringList{listingWarning, ifconfigWarning} << 2 << QStringList();
    QTest::newRow("getinfo empty: the name stays")
        << u"getinfo-Wi-Fi"_s << QString() << QStringList() << 6 << wifiBlank;
    // An unknown service answers on standard error only, which adds nothing either.
    QTest::newRow("getinfo on standard error only") << QString() << u"unknown"_s << QStringList() << 6 << namesOnly;
}

void TestNetworkManager::readsWhatItCanWhenACommandFails()
{
    QFETCH(QString, emptied);
    QFETCH(QString, failure);
    QFETCH(QStringList, warnings);
    QFETCH(int, commands);
    QFETCH(QStringList, table);
    FakeMac mac;
    NetworkManager manager;
    QCOMPARE(::table(manager), defaultTable);

    if (!emptied.isEmpty())
        mac.setReplay(emptied, QString());
    mac.setFailure(failure);
    mac.clearCalls();
    for (const QString& warning : warnings)
        QTest::ignoreMessage(QtWarningMsg, warning.toUtf8().constData());
    manager.update(); // a refresh forgets what was read before
    QCOMPARE(::table(manager), table);
    QCOMPARE(mac.calls().size(), commands);
}

void TestNetworkManager::appliesSettings_data()
{
    QTest::addColumn<QString>("settings"); // "service", or "service|ip|mask|router" for a manual setting
    QTest::addColumn<QString>("failure");
    QTest::addColumn<bool>("errorsToStdout");
    QTest::addColumn<QList<QString>>("result");
    QTest::addColumn<QStringList>("commands");
    QTest::addColumn<QString>("after"); // the service's row once the table is refreshed

    const QList<QString> success{QString(), QString()};
    const QString ethernet = u"Ethernet|192.168.1.201|255.255.255.0|192.168.1.1"_s;
    const QStringList ethernetCommands = lines(
        "networksetup|-setdhcp|Ethernet; networksetup|-setmanual|Ethernet|192.168.1.201|255.255.255.0|192.168.1.1");
    const QString admin = u"** Error: Command requires admin privileges.\n"_s;
    const QString leased = u"en0|Ethernet|10.0.1.100|255.255.255.0|10.0.1.1"_s;
    QTest::newRow("DHCP") << u"Ethernet"_s << QString() << false << success << lines("networksetup|-setdhcp|Ethernet")
                          << leased;
    QTest::newRow("manual, after a switch to DHCP")
        << u"Wi-Fi|192.168.1.201|255.255.255.0|192.168.1.1"_s << QString() << false << success
        << lines("networksetup|-setdhcp|Wi-Fi; networksetup|-setmanual|Wi-Fi|192.168.1.201|255.255.255.0|192.168.1.1")
        << u"en1|Wi-Fi|192.168.1.201|255.255.255.0|192.168.1.1"_s;
    QTest::newRow("manual, empty router passed as an argument")
        << u"USB 10/100/1000 LAN|172.16.5.9|255.255.240.0|"_s << QString() << false << success
        << lines("networksetup|-setdhcp|USB 10/100/1000 LAN; "
                 "networksetup|-setmanual|USB 10/100/1000 LAN|172.16.5.9|255.255.240.0|")
        << u"en5|USB 10/100/1000 LAN|172.16.5.9|255.255.240.0|"_s;
    // The manual step runs even when the switch to DHCP before it failed; its error is the one returned.
    QTest::newRow("no admin rights") << ethernet << u"admin"_s << false << QList<QString>{QString(), admin}
                                     << ethernetCommands << defaultTable.at(0);
    // The switch to DHCP before the refused step did happen: the service is left with a lease.
    QTest::newRow("address refused") << ethernet << u"invalid"_s << false
                                     << QList<QString>{QString(),
                                                       u"** Error: 192.168.1.201 is not a valid IP address.\n"_s}
                                     << ethernetCommands << leased;
    // Where the real command prints its errors on standard output, the caller sees no error text.
    QTest::newRow("error printed on standard output")
        << ethernet << u"admin"_s << true << QList<QString>{admin, QString()} << ethernetCommands << defaultTable.at(0);
}

void TestNetworkManager::appliesSettings()
{
    QFETCH(QString, settings);
    QFETCH(QString, failure);
    QFETCH(bool, errorsToStdout);
    QFETCH(QList<QString>, result);
    QFETCH(QStringList, commands);
    QFETCH(QString, after);
    FakeMac mac;
    NetworkManager manager;
    mac.setFailure(failure);
    mac.setErrorsToStdout(errorsToStdout);
    mac.clearCalls();

    const QStringList s = settings.split(QLatin1Char('|'));
    QCOMPARE(s.size() == 1 ? NetworkManager::setDHCP(s.at(0))
                           : NetworkManager::setManual(s.at(0), s.at(1), s.at(2), s.at(3)),
             result);
    QCOMPARE(calls(mac), commands);
    QCOMPARE(table(manager), defaultTable); // unchanged until the caller refreshes it
    mac.setFailure(QString());
    manager.update();
    QVERIFY2(table(manager).contains(after), qPrintable(table(manager).join(u"; "_s)));
}

QTEST_GUILESS_MAIN(TestNetworkManager)
#include "tst_networkmanager.moc"
