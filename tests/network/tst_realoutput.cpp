#include "network/networkmanager.h"

#include "network/system.h"
#include "tests/common/fakemac.h"
#include "tests/network/flatten.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

// Output of real Macs published by others, kept outside the project. The suite skips when the folder
// is not beside the checkout.
namespace {

QString realText(const QString& name)
{
    QFile file(QDir(FakeMac::realFixturesDir()).filePath(name));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// A file read by the parser for the command that wrote it; error messages are read as getinfo output,
// as the program would read them.
QStringList parsed(const QString& file)
{
    if (file.startsWith(QLatin1String("ifconfig-")))
        return flatten(NetworkManager::parseIfconfig(realText(file)));
    if (file.startsWith(QLatin1String("listorder-")))
        return flatten(NetworkManager::parseServiceOrder(realText(file)));
    QMap<QString, QString> entry;
    NetworkManager::parseServiceInfo(realText(file), entry);
    return flatten(entry);
}

} // namespace

class TestRealOutput : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void everyFileReadsSanely_data();
    void everyFileReadsSanely();
    void readsAsWorkedOutByHand_data();
    void readsAsWorkedOutByHand();
    void simulatedErrorsReadLikeRealOnes();
};

void TestRealOutput::initTestCase()
{
    if (!QDir(FakeMac::realFixturesDir()).exists())
        QSKIP(qPrintable(u"no real command output at %1"_s.arg(FakeMac::realFixturesDir())));
}

void TestRealOutput::everyFileReadsSanely_data()
{
    QTest::addColumn<QString>("file");
    for (const QString& file : QDir(FakeMac::realFixturesDir()).entryList({u"*-*.txt"_s}, QDir::Files, QDir::Name))
        QTest::newRow(qPrintable(file)) << file;
}

void TestRealOutput::everyFileReadsSanely()
{
    QFETCH(QString, file);
    if (file.startsWith(QLatin1String("ifconfig-"))) {
        const InterfaceMap map = NetworkManager::parseIfconfig(realText(file));
        QVERIFY(!map.isEmpty());
        // This sample lost its tabs and had its addresses replaced by letters: it only has to be survived.
        if (file == QLatin1String("ifconfig-glpi-5.txt"))
            return;
        for (auto device = map.cbegin(); device != map.cend(); ++device) {
            QVERIFY2(!device.key().isEmpty() && !device.key().contains(QLatin1Char(' ')), qPrintable(device.key()));
            QVERIFY2(device->contains(u"flags"_s), qPrintable(device.key()));
            for (const char* key : {"inet", "netmask", "broadcast"}) {
                const QString value = device->value(QLatin1String(key));
                QVERIFY2(value.isEmpty() || NetworkManager::isIPv4(value), qPrintable(device.key() + u' ' + value));
            }
        }
    } else {
        // Services only on en devices and never a forbidden one; getinfo answers only dotted addresses
        // under the three keys, error messages nothing at all.
        static const QRegularExpression service(u"^([^|]+)\\|[^|]*\\|en[^|]*$"_s);
        static const QRegularExpression address(u"^(IP address|Subnet mask|Router)=(.*)$"_s);
        const bool listing = file.startsWith(QLatin1String("listorder-"));
        const QStringList read = parsed(file);
        if (listing)
            QVERIFY(!read.isEmpty());
        if (file.startsWith(QLatin1String("seterror-")))
            QCOMPARE(read, QStringList());
        for (const QString& line : read) {
            const QRegularExpressionMatch match = (listing ? service : address).match(line);
            QVERIFY2(match.hasMatch(), qPrintable(line));
            QVERIFY2(listing ? !NetworkManager::NETWORKSETUP_FORBIDDEN_INTERFACES.contains(match.captured(1))
                             : NetworkManager::isIPv4(match.captured(2)),
                     qPrintable(line));
        }
    }
}

void TestRealOutput::readsAsWorkedOutByHand_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QStringList>("facts"); // "!fact" for a key that must be missing

    QTest::newRow("Catalina laptop with USB Ethernet and a VPN")
        << u"ifconfig-glpi-1.txt"_s
        << lines("en35 inet=192.168.0.205; en35 netmask=255.255.255.0; en35 status=active; en35 media=autoselect; "
                 "utun4 inet=10.75.129.190; utun4 netmask=255.255.255.0; en40 netmask=255.255.0.0; "
                 "lo0 inet6=fe80::1%lo0; bridge100 flags=3<LEARNING,DISCOVER>; en0 status=inactive; "
                 "!en0 inet=; !en0 netmask=");
    QTest::newRow("loopback alias: the second inet wins")
        << u"ifconfig-pyifcfg-1.txt"_s << lines("lo0 inet=127.0.1.99; utun3 netmask=255.255.255.255");
    QTest::newRow("old layout: media and status on one line")
        << u"ifconfig-facter-3.txt"_s << lines("en0 media=autoselect; en0 status=inactive; !en0 inet=");
    QTest::newRow("header-only device on Apple silicon")
        << u"ifconfig-getmac-3.txt"_s << lines("XHC12 flags=0<>; XHC12 mtu=0");
    QTest::newRow("ten services, VPNs and a modem skipped")
        << u"listorder-mastermind-1.txt"_s
        << lines("Thunderbolt Ethernet|Thunderbolt Ethernet|en3; Wi-Fi|Wi-Fi|en0; AirCard 782S|AirCard 782S|en5; "
                 "Bluetooth PAN|Bluetooth PAN|en4");
    QTest::newRow("service name differs from its port")
        << u"listorder-dnscryptswitcher-1.txt"_s
        << lines("AX88179A|AX88179A|en9; USB 10/100/1000 LAN|USB 10/100/1000 LAN|en5; AX88179|AX88179|en6; "
                 "USB 10/100/1000 LAN 2|USB 10/100/1000 LAN|en11; Wi-Fi|Wi-Fi|en0");
    QTest::newRow("Wi-Fi lease, no final line feed")
        << u"getinfo-alfrednet-1.txt"_s
        << lines("IP address=192.168.1.100; Router=192.168.1.1; Subnet mask=255.255.255.0");
    QTest::newRow("manual without router, IPv6 off")
        << u"getinfo-macosscripts-1.txt"_s << lines("IP address=10.0.1.16; Subnet mask=255.255.255.0");
    QTest::newRow("DHCP without lease") << u"getinfo-plantegg-2.txt"_s << QStringList();
}

void TestRealOutput::readsAsWorkedOutByHand()
{
    QFETCH(QString, file);
    QFETCH(QStringList, facts);
    const QStringList read = parsed(file);
    // A listing or a getinfo answer is short enough to be worked out whole.
    if (!file.startsWith(QLatin1String("ifconfig-")))
        QCOMPARE(read, facts);
    for (const QString& fact : facts) {
        const bool missing = fact.startsWith(QLatin1Char('!'));
        const bool found = std::any_of(read.cbegin(), read.cend(), [&](const QString& line) {
            return missing ? line.startsWith(fact.mid(1)) : line == fact;
        });
        QVERIFY2(found != missing, qPrintable(fact));
    }
}

void TestRealOutput::simulatedErrorsReadLikeRealOnes()
{
    FakeMac mac;
    mac.setErrorsToStdout(true);
    QCOMPARE(System::execute(u"networksetup"_s, {u"-getinfo"_s, u"Bluetooth"_s}),
             (QList<QString>{realText(u"seterror-eddie-1.txt"_s), QString()}));
    mac.setFailure(u"admin"_s);
    QCOMPARE(System::execute(u"networksetup"_s, {u"-setdhcp"_s, u"Ethernet"_s}),
             (QList<QString>{realText(u"seterror-zendesktop-1.txt"_s), QString()}));
}

QTEST_GUILESS_MAIN(TestRealOutput)
#include "tst_realoutput.moc"
