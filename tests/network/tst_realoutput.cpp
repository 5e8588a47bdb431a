#include "network/networkmanager.h"

#include "network/system.h"
#include "tests/common/fakemac.h"

#include <QDir>
#include <QFile>
#include <QTest>

// Output of real Macs published by others, kept outside the project. Every suite here skips when the
// folder is not beside the checkout.
namespace {

QString realText(const QString& name)
{
    QFile file(QDir(FakeMac::realFixturesDir()).filePath(name));
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromUtf8(file.readAll());
}

QStringList flatten(const InterfaceMap& map)
{
    QStringList lines;
    for (auto device = map.cbegin(); device != map.cend(); ++device) {
        for (auto attribute = device->cbegin(); attribute != device->cend(); ++attribute)
            lines.append(device.key() + QLatin1Char(' ') + attribute.key() + QLatin1Char('=') + attribute.value());
    }
    return lines;
}

void addFileRows(const QString& pattern)
{
    QTest::addColumn<QString>("file");
    const QStringList files = QDir(FakeMac::realFixturesDir()).entryList({pattern}, QDir::Files, QDir::Name);
    for (const QString& file : files)
        QTest::newRow(qPrintable(file)) << file;
}

} // namespace

class TestRealOutput : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void everyIfconfigGivesSaneAddresses_data();
    void everyIfconfigGivesSaneAddresses();
    void everyListingGivesOnlyAcceptedServices_data();
    void everyListingGivesOnlyAcceptedServices();
    void everyGetinfoGivesOnlyAddressKeys_data();
    void everyGetinfoGivesOnlyAddressKeys();
    void readsIfconfigAsWorkedOutByHand_data();
    void readsIfconfigAsWorkedOutByHand();
    void readsListingsAsWorkedOutByHand_data();
    void readsListingsAsWorkedOutByHand();
    void readsGetinfoAsWorkedOutByHand_data();
    void readsGetinfoAsWorkedOutByHand();
    void simulatedErrorsReadLikeRealOnes_data();
    void simulatedErrorsReadLikeRealOnes();
};

void TestRealOutput::initTestCase()
{
    if (!QDir(FakeMac::realFixturesDir()).exists())
        QSKIP(qPrintable(QStringLiteral("no real command output at %1").arg(FakeMac::realFixturesDir())));
}

void TestRealOutput::everyIfconfigGivesSaneAddresses_data()
{
    addFileRows(QStringLiteral("ifconfig-*.txt"));
}

void TestRealOutput::everyIfconfigGivesSaneAddresses()
{
    QFETCH(QString, file);
    const InterfaceMap map = NetworkManager::parseIfconfig(realText(file));
    QVERIFY(!map.isEmpty());
    // This sample lost its tabs and had its addresses replaced by letters: it only has to be survived.
    if (file == QLatin1String("ifconfig-glpi-5.txt"))
        return;
    for (auto device = map.cbegin(); device != map.cend(); ++device) {
        QVERIFY2(!device.key().isEmpty() && !device.key().contains(QLatin1Char(' ')), qPrintable(device.key()));
        QVERIFY2(device->contains(QStringLiteral("flags")), qPrintable(device.key()));
        for (const char* key : {"inet", "netmask", "broadcast"}) {
            const QString value = device->value(QLatin1String(key));
            QVERIFY2(value.isEmpty() || NetworkManager::isIPv4(value),
                     qPrintable(device.key() + QLatin1Char(' ') + QLatin1String(key) + QLatin1Char('=') + value));
        }
    }
}

void TestRealOutput::everyListingGivesOnlyAcceptedServices_data()
{
    addFileRows(QStringLiteral("listorder-*.txt"));
}

void TestRealOutput::everyListingGivesOnlyAcceptedServices()
{
    QFETCH(QString, file);
    const QList<NetworkManager::Service> services = NetworkManager::parseServiceOrder(realText(file));
    QVERIFY(!services.isEmpty());
    for (const NetworkManager::Service& service : services) {
        QVERIFY2(service.device.startsWith(QLatin1String("en")), qPrintable(service.device));
        QVERIFY(!service.name.isEmpty());
        QVERIFY(!NetworkManager::NETWORKSETUP_FORBIDDEN_INTERFACES.contains(service.name));
    }
}

void TestRealOutput::everyGetinfoGivesOnlyAddressKeys_data()
{
    addFileRows(QStringLiteral("getinfo-*.txt"));
}

void TestRealOutput::everyGetinfoGivesOnlyAddressKeys()
{
    QFETCH(QString, file);
    QMap<QString, QString> entry;
    NetworkManager::parseServiceInfo(realText(file), entry);
    for (auto it = entry.cbegin(); it != entry.cend(); ++it) {
        QVERIFY2(QStringList({QStringLiteral("IP address"), QStringLiteral("Subnet mask"), QStringLiteral("Router")})
                     .contains(it.key()),
                 qPrintable(it.key()));
        QVERIFY2(NetworkManager::isIPv4(it.value()), qPrintable(it.key() + QLatin1Char('=') + it.value()));
    }
}

void TestRealOutput::readsIfconfigAsWorkedOutByHand_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QStringList>("facts");
    QTest::addColumn<QStringList>("absent"); // "device key"

    QTest::newRow("Catalina laptop with USB Ethernet and a VPN")
        << QStringLiteral("ifconfig-glpi-1.txt")
        << QStringList{QStringLiteral("en35 inet=192.168.0.205"),
                       QStringLiteral("en35 netmask=255.255.255.0"),
                       QStringLiteral("en35 status=active"),
                       QStringLiteral("en35 media=autoselect"),
                       QStringLiteral("utun4 inet=10.75.129.190"),
                       QStringLiteral("utun4 netmask=255.255.255.0"),
                       QStringLiteral("en40 netmask=255.255.0.0"),
                       QStringLiteral("lo0 inet6=fe80::1%lo0"),
                       QStringLiteral("bridge100 flags=3<LEARNING,DISCOVER>"),
                       QStringLiteral("en0 status=inactive"),
                       QStringLiteral("stf0 mtu=1280")}
        << QStringList{QStringLiteral("en0 inet"), QStringLiteral("en0 netmask")};
    QTest::newRow("loopback alias: the second inet wins")
        << QStringLiteral("ifconfig-pyifcfg-1.txt")
        << QStringList{QStringLiteral("lo0 inet=127.0.1.99"), QStringLiteral("utun3 inet=10.63.73.73"),
                       QStringLiteral("utun3 netmask=255.255.255.255")}
        << QStringList();
    QTest::newRow("old layout: media and status on one line")
        << QStringLiteral("ifconfig-facter-3.txt")
        << QStringList{QStringLiteral("en0 media=autoselect"), QStringLiteral("en0 status=inactive")}
        << QStringList{QStringLiteral("en0 inet")};
    QTest::newRow("header-only device on Apple silicon")
        << QStringLiteral("ifconfig-getmac-3.txt")
        << QStringList{QStringLiteral("XHC12 flags=0<>"), QStringLiteral("XHC12 mtu=0")} << QStringList();
}

void TestRealOutput::readsIfconfigAsWorkedOutByHand()
{
    QFETCH(QString, file);
    QFETCH(QStringList, facts);
    QFETCH(QStringList, absent);
    const InterfaceMap map = NetworkManager::parseIfconfig(realText(file));
    const QStringList attributes = flatten(map);
    for (const QString& fact : facts)
        QVERIFY2(attributes.contains(fact), qPrintable(fact));
    for (const QString& pair : absent) {
        const QStringList parts = pair.split(QLatin1Char(' '));
        QVERIFY2(map.contains(parts.at(0)) && !map.value(parts.at(0)).contains(parts.at(1)), qPrintable(pair));
    }
}

void TestRealOutput::readsListingsAsWorkedOutByHand_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QStringList>("services");

    QTest::newRow("ten services, VPNs and a modem skipped")
        << QStringLiteral("listorder-mastermind-1.txt")
        << QStringList{QStringLiteral("Thunderbolt Ethernet|Thunderbolt Ethernet|en3"),
                       QStringLiteral("Wi-Fi|Wi-Fi|en0"), QStringLiteral("AirCard 782S|AirCard 782S|en5"),
                       QStringLiteral("Bluetooth PAN|Bluetooth PAN|en4")};
    QTest::newRow("service name differs from its port")
        << QStringLiteral("listorder-dnscryptswitcher-1.txt")
        << QStringList{
               QStringLiteral("AX88179A|AX88179A|en9"), QStringLiteral("USB 10/100/1000 LAN|USB 10/100/1000 LAN|en5"),
               QStringLiteral("AX88179|AX88179|en6"), QStringLiteral("USB 10/100/1000 LAN 2|USB 10/100/1000 LAN|en11"),
               QStringLiteral("Wi-Fi|Wi-Fi|en0")};
    QTest::newRow("serial modem first") << QStringLiteral("listorder-tailscale-1.txt")
                                        << QStringList{QStringLiteral("Ethernet|Ethernet|en0"),
                                                       QStringLiteral("Wi-Fi|Wi-Fi|en1"),
                                                       QStringLiteral("iPhone USB|iPhone USB|en5"),
                                                       QStringLiteral("Bluetooth PAN|Bluetooth PAN|en4")};
    QTest::newRow("port with parentheses")
        << QStringLiteral("listorder-udw-1.txt")
        << QStringList{QStringLiteral("Thunderbolt Ethernet|Thunderbolt Ethernet|en4"),
                       QStringLiteral("Wi-Fi|Wi-Fi|en0")};
}

void TestRealOutput::readsListingsAsWorkedOutByHand()
{
    QFETCH(QString, file);
    QFETCH(QStringList, services);
    QStringList read;
    for (const NetworkManager::Service& service : NetworkManager::parseServiceOrder(realText(file)))
        read.append(service.name + QLatin1Char('|') + service.hardware + QLatin1Char('|') + service.device);
    QCOMPARE(read, services);
}

void TestRealOutput::readsGetinfoAsWorkedOutByHand_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QStringList>("entry");

    QTest::newRow("Wi-Fi lease, no final line feed")
        << QStringLiteral("getinfo-alfrednet-1.txt")
        << QStringList{QStringLiteral("IP address=192.168.1.100"), QStringLiteral("Router=192.168.1.1"),
                       QStringLiteral("Subnet mask=255.255.255.0")};
    QTest::newRow("manual without router, IPv6 off")
        << QStringLiteral("getinfo-macosscripts-1.txt")
        << QStringList{QStringLiteral("IP address=10.0.1.16"), QStringLiteral("Subnet mask=255.255.255.0")};
    QTest::newRow("self-assigned address")
        << QStringLiteral("getinfo-usblan2016-1.txt")
        << QStringList{QStringLiteral("IP address=169.254.31.164"), QStringLiteral("Subnet mask=255.255.0.0")};
    QTest::newRow("DHCP without lease") << QStringLiteral("getinfo-plantegg-2.txt") << QStringList();
}

void TestRealOutput::readsGetinfoAsWorkedOutByHand()
{
    QFETCH(QString, file);
    QFETCH(QStringList, entry);
    QMap<QString, QString> parsed;
    NetworkManager::parseServiceInfo(realText(file), parsed);
    QStringList read;
    for (auto it = parsed.cbegin(); it != parsed.cend(); ++it)
        read.append(it.key() + QLatin1Char('=') + it.value());
    QCOMPARE(read, entry);
}

void TestRealOutput::simulatedErrorsReadLikeRealOnes_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("failure");
    QTest::addColumn<QStringList>("arguments");

    QTest::newRow("unknown service") << QStringLiteral("seterror-eddie-1.txt") << QString()
                                     << QStringList{QStringLiteral("-getinfo"), QStringLiteral("Bluetooth")};
    QTest::newRow("no admin rights") << QStringLiteral("seterror-zendesktop-1.txt") << QStringLiteral("admin")
                                     << QStringList{QStringLiteral("-setdhcp"), QStringLiteral("Ethernet")};
}

void TestRealOutput::simulatedErrorsReadLikeRealOnes()
{
    QFETCH(QString, file);
    QFETCH(QString, failure);
    QFETCH(QStringList, arguments);
    FakeMac mac;
    mac.setFailure(failure);
    mac.setErrorsToStdout(true);
    QCOMPARE(System::execute(QStringLiteral("networksetup"), arguments), (QList<QString>{realText(file), QString()}));
}

QTEST_GUILESS_MAIN(TestRealOutput)
#include "tst_realoutput.moc"
