#include "network/networkmanager.h"

#include "tests/common/fakemac.h"

#include <QRegularExpression>
#include <QTest>

namespace {

const char* const versionLine = "NetworkManager version: \"26.205-1424\"";
const char* const listingWarning = "Erreur : Impossible de récupérer la liste des interfaces réseau.";
const char* const ifconfigWarning = "Erreur : Impossible de récupérer ifconfig.";

QStringList call(std::initializer_list<const char*> words)
{
    QStringList result;
    for (const char* word : words)
        result.append(QString::fromUtf8(word));
    return result;
}

// The file name our recordings give the -getinfo output of a service.
QString slug(const QString& service)
{
    static const QRegularExpression others(QStringLiteral("[^a-z0-9]+"));
    QString text = service.toLower().replace(others, QStringLiteral("-"));
    while (text.endsWith(QLatin1Char('-')))
        text.chop(1);
    return text;
}

// Loads one of our recorded machines into the simulated Mac as replays.
void replayMachine(FakeMac& mac, const QString& machine)
{
    const QString listing = FakeMac::fixture(machine + QStringLiteral("/listnetworkserviceorder.txt"));
    mac.setReplay(QStringLiteral("listnetworkserviceorder"), listing);
    mac.setReplay(QStringLiteral("ifconfig"), FakeMac::fixture(machine + QStringLiteral("/ifconfig.txt")));
    for (const NetworkManager::Service& service : NetworkManager::parseServiceOrder(listing)) {
        const QString file = machine + QStringLiteral("/getinfo-") + slug(service.name) + QStringLiteral(".txt");
        mac.setReplay(QStringLiteral("getinfo-") + service.name, FakeMac::fixture(file));
    }
}

} // namespace

class TestNetworkManager : public QObject
{
    Q_OBJECT

private slots:
    void readsTheDefaultMachineInCommandOrder();
    void findsDeviceByServiceName_data();
    void findsDeviceByServiceName();
    void answersEmptyForUnknownDevices();
    void readsRecordedMachines_data();
    void readsRecordedMachines();
    void keepsOnlyDevicesIfconfigShows();
    void emptiesTheTableWhenIfconfigSaysNothing();
    void emptiesTheTableWhenTheListingIsEmpty();
    void warnsTwiceWhenBothCommandsAreSilent();
    void keepsNameWhenGetinfoFails();
    void appliesDhcpWithServiceOnly();
    void appliesManualAfterDhcpAndShowsItAfterUpdate();
    void passesAnEmptyRouterAsAnArgument();
    void returnsTheErrorOfTheManualStep_data();
    void returnsTheErrorOfTheManualStep();
};

void TestNetworkManager::readsTheDefaultMachineInCommandOrder()
{
    FakeMac mac;
    QTest::ignoreMessage(QtDebugMsg, versionLine);
    const NetworkManager manager;

    // The disabled iPhone tether is read like an enabled service; the bridge is forbidden and the VPN
    // has no en device, so neither is asked for details.
    QCOMPARE(manager.getInterfaces(), (QList<QString>{QStringLiteral("en0"), QStringLiteral("en1"),
                                                      QStringLiteral("en5"), QStringLiteral("en6")}));
    QCOMPARE(mac.calls(), (QList<QStringList>{call({"networksetup", "-listnetworkserviceorder"}),
                                              call({"networksetup", "-getinfo", "Ethernet"}),
                                              call({"networksetup", "-getinfo", "Wi-Fi"}),
                                              call({"networksetup", "-getinfo", "USB 10/100/1000 LAN"}),
                                              call({"networksetup", "-getinfo", "iPhone USB"}), call({"ifconfig"})}));

    QCOMPARE(manager.getName(QStringLiteral("en0")), QStringLiteral("Ethernet"));
    QCOMPARE(manager.getIp4(QStringLiteral("en0")), QStringLiteral("192.168.1.201"));
    QCOMPARE(manager.getNetmask(QStringLiteral("en0")), QStringLiteral("255.255.255.0"));
    QCOMPARE(manager.getRouter(QStringLiteral("en0")), QStringLiteral("192.168.1.1"));
    QCOMPARE(manager.getName(QStringLiteral("en1")), QStringLiteral("Wi-Fi"));
    QCOMPARE(manager.getIp4(QStringLiteral("en1")), QStringLiteral("10.0.0.23"));
    QCOMPARE(manager.getRouter(QStringLiteral("en1")), QStringLiteral("10.0.0.1"));
    QCOMPARE(manager.getName(QStringLiteral("en5")), QStringLiteral("USB 10/100/1000 LAN"));
    QCOMPARE(manager.getIp4(QStringLiteral("en5")), QString());
    QCOMPARE(manager.getRouter(QStringLiteral("en5")), QString());
}

void TestNetworkManager::findsDeviceByServiceName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("device");

    QTest::newRow("whole name") << QStringLiteral("Ethernet") << QStringLiteral("en0");
    QTest::newRow("part of a name") << QStringLiteral("Wi") << QStringLiteral("en1");
    QTest::newRow("name with blanks and slashes") << QStringLiteral("USB 10/100/1000 LAN") << QStringLiteral("en5");
    QTest::newRow("shared part: first device wins") << QStringLiteral("USB") << QStringLiteral("en5");
    QTest::newRow("empty name: first device") << QString() << QStringLiteral("en0");
    QTest::newRow("case matters") << QStringLiteral("ethernet") << QString();
    QTest::newRow("forbidden service is not in the table") << QStringLiteral("Thunderbolt Bridge") << QString();
    QTest::newRow("VPN is not in the table") << QStringLiteral("Office VPN") << QString();
}

void TestNetworkManager::findsDeviceByServiceName()
{
    QFETCH(QString, name);
    QFETCH(QString, device);
    FakeMac mac;
    QTest::ignoreMessage(QtDebugMsg, versionLine);
    const NetworkManager manager;
    QCOMPARE(manager.getInterfaceByName(name), device);
}

void TestNetworkManager::answersEmptyForUnknownDevices()
{
    FakeMac mac;
    QTest::ignoreMessage(QtDebugMsg, versionLine);
    const NetworkManager manager;
    for (const QString& device : {QStringLiteral("en9"), QStringLiteral("lo0"), QStringLiteral("bridge0"), QString()}) {
        QCOMPARE(manager.getName(device), QString());
        QCOMPARE(manager.getIp4(device), QString());
        QCOMPARE(manager.getNetmask(device), QString());
        QCOMPARE(manager.getRouter(device), QString());
    }
}

void TestNetworkManager::readsRecordedMachines_data()
{
    QTest::addColumn<QString>("machine");
    QTest::addColumn<QStringList>("table"); // device|name|ip|mask|router

    QTest::newRow("MacBook Air: tether missing from ifconfig")
        << QStringLiteral("macbook-air-m2")
        << QStringList{QStringLiteral("en0|Wi-Fi|192.168.178.52|255.255.255.0|192.168.178.1"),
                       QStringLiteral("en7|USB 10/100/1000 LAN|192.168.178.47|255.255.255.0|192.168.178.1")};
    QTest::newRow("iMac: French bridge skipped, Wi-Fi without lease")
        << QStringLiteral("imac-2019")
        << QStringList{QStringLiteral("en0|Ethernet|10.20.30.201|255.255.254.0|10.20.30.1"),
                       QStringLiteral("en1|Wi-Fi|||"), QStringLiteral("en3|PAN Bluetooth|||")};
    QTest::newRow("MacBook Pro: later service on en4 wins, no router")
        << QStringLiteral("macbook-pro-2015")
        << QStringList{QStringLiteral("en0|Wi-Fi|192.168.10.201|255.255.255.0|"),
                       QStringLiteral("en4|Thunderbolt Ethernet 2|172.20.1.201|255.255.0.0|172.20.0.1")};
}

void TestNetworkManager::readsRecordedMachines()
{
    QFETCH(QString, machine);
    QFETCH(QStringList, table);
    FakeMac mac;
    replayMachine(mac, machine);
    QTest::ignoreMessage(QtDebugMsg, versionLine);
    const NetworkManager manager;

    QStringList read;
    for (const QString& device : manager.getInterfaces()) {
        read.append(QStringList{device, manager.getName(device), manager.getIp4(device), manager.getNetmask(device),
                                manager.getRouter(device)}
                        .join(QLatin1Char('|')));
    }
    QCOMPARE(read, table);
}

void TestNetworkManager::keepsOnlyDevicesIfconfigShows()
{
    FakeMac mac;
    mac.setReplay(QStringLiteral("ifconfig"),
                  QStringLiteral("lo0: flags=8049<UP,LOOPBACK,RUNNING,MULTICAST> mtu 16384\n"
                                 "\tinet 127.0.0.1 netmask 0xff000000\n"
                                 "en0: flags=8863<UP,BROADCAST,SMART,RUNNING,SIMPLEX,MULTICAST> mtu 1500\n"
                                 "\tinet 192.168.1.201 netmask 0xffffff00 broadcast 192.168.1.255\n"
                                 "\tstatus: active\n"));
    QTest::ignoreMessage(QtDebugMsg, versionLine);
    const NetworkManager manager;
    QCOMPARE(manager.getInterfaces(), QList<QString>{QStringLiteral("en0")});
}

void TestNetworkManager::emptiesTheTableWhenIfconfigSaysNothing()
{
    FakeMac mac;
    QTest::ignoreMessage(QtDebugMsg, versionLine);
    NetworkManager manager;
    QVERIFY(!manager.getInterfaces().isEmpty());

    mac.setReplay(QStringLiteral("ifconfig"), QString());
    QTest::ignoreMessage(QtWarningMsg, ifconfigWarning);
    manager.update();
    QVERIFY(manager.getInterfaces().isEmpty());
    QCOMPARE(manager.getInterfaceByName(QString()), QString());
    QCOMPARE(manager.getIp4(QStringLiteral("en0")), QString());
}

void TestNetworkManager::emptiesTheTableWhenTheListingIsEmpty()
{
    FakeMac mac;
    mac.setReplay(QStringLiteral("listnetworkserviceorder"), QString());
    QTest::ignoreMessage(QtDebugMsg, versionLine);
    QTest::ignoreMessage(QtWarningMsg, listingWarning);
    const NetworkManager manager;
    QVERIFY(manager.getInterfaces().isEmpty());
    QCOMPARE(mac.calls(), (QList<QStringList>{call({"networksetup", "-listnetworkserviceorder"}), call({"ifconfig"})}));
}

void TestNetworkManager::warnsTwiceWhenBothCommandsAreSilent()
{
    FakeMac mac;
    mac.setFailure(QStringLiteral("silent"));
    QTest::ignoreMessage(QtDebugMsg, versionLine);
    QTest::ignoreMessage(QtWarningMsg, listingWarning);
    QTest::ignoreMessage(QtWarningMsg, ifconfigWarning);
    const NetworkManager manager;
    QVERIFY(manager.getInterfaces().isEmpty());
}

void TestNetworkManager::keepsNameWhenGetinfoFails()
{
    FakeMac mac;
    mac.setReplay(QStringLiteral("getinfo-Wi-Fi"), QString());
    QTest::ignoreMessage(QtDebugMsg, versionLine);
    NetworkManager manager;
    QCOMPARE(manager.getName(QStringLiteral("en1")), QStringLiteral("Wi-Fi"));
    QCOMPARE(manager.getIp4(QStringLiteral("en1")), QString());

    // An unknown service answers on standard error only, which adds nothing either.
    mac.setFailure(QStringLiteral("unknown"));
    manager.update();
    QCOMPARE(manager.getInterfaces().size(), 4);
    QCOMPARE(manager.getName(QStringLiteral("en0")), QStringLiteral("Ethernet"));
    QCOMPARE(manager.getIp4(QStringLiteral("en0")), QString());
}

void TestNetworkManager::appliesDhcpWithServiceOnly()
{
    FakeMac mac;
    QTest::ignoreMessage(QtDebugMsg, versionLine);
    NetworkManager manager;
    mac.clearCalls();

    QCOMPARE(NetworkManager::setDHCP(QStringLiteral("Ethernet")), (QList<QString>{QString(), QString()}));
    QCOMPARE(mac.calls(), QList<QStringList>{call({"networksetup", "-setdhcp", "Ethernet"})});

    // Applying changes nothing in the table until the caller refreshes it.
    QCOMPARE(manager.getIp4(QStringLiteral("en0")), QStringLiteral("192.168.1.201"));
    manager.update();
    QCOMPARE(manager.getIp4(QStringLiteral("en0")), QStringLiteral("10.0.1.100"));
    QCOMPARE(manager.getRouter(QStringLiteral("en0")), QStringLiteral("10.0.1.1"));
}

void TestNetworkManager::appliesManualAfterDhcpAndShowsItAfterUpdate()
{
    FakeMac mac;
    QTest::ignoreMessage(QtDebugMsg, versionLine);
    NetworkManager manager;
    mac.clearCalls();

    const QList<QString> result =
        NetworkManager::setManual(QStringLiteral("Wi-Fi"), QStringLiteral("192.168.1.201"),
                                  QStringLiteral("255.255.255.0"), QStringLiteral("192.168.1.1"));
    QCOMPARE(result, (QList<QString>{QString(), QString()}));
    QCOMPARE(mac.calls(), (QList<QStringList>{call({"networksetup", "-setdhcp", "Wi-Fi"}),
                                              call({"networksetup", "-setmanual", "Wi-Fi", "192.168.1.201",
                                                    "255.255.255.0", "192.168.1.1"})}));
    manager.update();
    QCOMPARE(manager.getIp4(QStringLiteral("en1")), QStringLiteral("192.168.1.201"));
    QCOMPARE(manager.getNetmask(QStringLiteral("en1")), QStringLiteral("255.255.255.0"));
    QCOMPARE(manager.getRouter(QStringLiteral("en1")), QStringLiteral("192.168.1.1"));
}

void TestNetworkManager::passesAnEmptyRouterAsAnArgument()
{
    FakeMac mac;
    QTest::ignoreMessage(QtDebugMsg, versionLine);
    NetworkManager manager;
    mac.clearCalls();

    NetworkManager::setManual(QStringLiteral("USB 10/100/1000 LAN"), QStringLiteral("172.16.5.9"),
                              QStringLiteral("255.255.240.0"), QString());
    QCOMPARE(mac.calls().last(),
             (call({"networksetup", "-setmanual", "USB 10/100/1000 LAN", "172.16.5.9", "255.255.240.0", ""})));
    manager.update();
    QCOMPARE(manager.getIp4(QStringLiteral("en5")), QStringLiteral("172.16.5.9"));
    QCOMPARE(manager.getNetmask(QStringLiteral("en5")), QStringLiteral("255.255.240.0"));
    QCOMPARE(manager.getRouter(QStringLiteral("en5")), QString());
}

void TestNetworkManager::returnsTheErrorOfTheManualStep_data()
{
    QTest::addColumn<QString>("failure");
    QTest::addColumn<bool>("errorsToStdout");
    QTest::addColumn<QString>("out");
    QTest::addColumn<QString>("err");
    QTest::addColumn<QString>("addressAfter");

    const QString unchanged = QStringLiteral("192.168.1.201");
    QTest::newRow("no admin rights") << QStringLiteral("admin") << false << QString()
                                     << QStringLiteral("** Error: Command requires admin privileges.\n") << unchanged;
    QTest::newRow("unknown service")
        << QStringLiteral("unknown") << false << QString()
        << QStringLiteral("Ethernet is not a recognized network service.\n** Error: The parameters were not valid.\n")
        << unchanged;
    // The switch to DHCP before the refused step did happen: the service is left with a lease.
    QTest::newRow("address refused") << QStringLiteral("invalid") << false << QString()
                                     << QStringLiteral("** Error: 192.168.1.201 is not a valid IP address.\n")
                                     << QStringLiteral("10.0.1.100");
    // Where the real command prints its errors on standard output, the caller sees no error text.
    QTest::newRow("error printed on standard output")
        << QStringLiteral("admin") << true << QStringLiteral("** Error: Command requires admin privileges.\n")
        << QString() << unchanged;
}

void TestNetworkManager::returnsTheErrorOfTheManualStep()
{
    QFETCH(QString, failure);
    QFETCH(bool, errorsToStdout);
    QFETCH(QString, out);
    QFETCH(QString, err);
    QFETCH(QString, addressAfter);

    FakeMac mac;
    QTest::ignoreMessage(QtDebugMsg, versionLine);
    NetworkManager manager;
    mac.setFailure(failure);
    mac.setErrorsToStdout(errorsToStdout);
    mac.clearCalls();

    const QList<QString> result =
        NetworkManager::setManual(QStringLiteral("Ethernet"), QStringLiteral("192.168.1.201"),
                                  QStringLiteral("255.255.255.0"), QStringLiteral("192.168.1.1"));
    QCOMPARE(result, (QList<QString>{out, err}));
    // The manual step runs even when the switch to DHCP before it failed.
    QCOMPARE(mac.calls().size(), 2);
    QCOMPARE(mac.calls().last().at(1), QStringLiteral("-setmanual"));

    mac.setFailure(QString());
    manager.update();
    QCOMPARE(manager.getIp4(QStringLiteral("en0")), addressAfter);
}

QTEST_GUILESS_MAIN(TestNetworkManager)
#include "tst_networkmanager.moc"
