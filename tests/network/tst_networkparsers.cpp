#include "network/networkmanager.h"

#include "tests/network/flatten.h"

#include <QTest>

using namespace Qt::StringLiterals;

class TestNetworkParsers : public QObject
{
    Q_OBJECT

private slots:
    void readsServiceOrder_data();
    void readsServiceOrder();
    void readsServiceInfo_data();
    void readsServiceInfo();
    void readsIfconfigBlocks_data();
    void readsIfconfigBlocks();
    void convertsHexNetmasks_data();
    void convertsHexNetmasks();
    void checksIPv4Text_data();
    void checksIPv4Text();
};

void TestNetworkParsers::readsServiceOrder_data()
{
    QTest::addColumn<QString>("listing");
    QTest::addColumn<QStringList>("services");

    const QString heading = u"An asterisk (*) denotes that a network service is disabled.\n"_s;
    QTest::newRow("en services, two on one device, one named apart from its port")
        << heading + u"(1) Ethernet\n(Hardware Port: Ethernet, Device: en0)\n\n"
                     "(2) USB 10/100/1000 LAN\n(Hardware Port: USB 10/100/1000 LAN, Device: en11)\n\n"
                     "(3) USB 10/100/1000 LAN 2\n(Hardware Port: USB 10/100/1000 LAN, Device: en11)\n"_s
        << lines("Ethernet|Ethernet|en0; USB 10/100/1000 LAN|USB 10/100/1000 LAN|en11; "
                 "USB 10/100/1000 LAN 2|USB 10/100/1000 LAN|en11");
    QTest::newRow("no line feed after the last service")
        << heading + u"(1) Wi-Fi\n(Hardware Port: Wi-Fi, Device: en0)"_s << lines("Wi-Fi|Wi-Fi|en0");
    QTest::newRow("disabled service is listed like an enabled one")
        << heading + u"(*) iPhone USB\n(Hardware Port: iPhone USB, Device: en6)\n"_s
        << lines("iPhone USB|iPhone USB|en6");
    QTest::newRow("blanks before the order mark stay in the name")
        << u"  (1) Ethernet\n(Hardware Port: Ethernet, Device: en0)\n"_s << lines(" (1) Ethernet|Ethernet|en0");
    QTest::newRow("parenthesis inside the port name is dropped")
        << u"(1) Phone (tether)\n(Hardware Port: Modem (usb), Device: en9)\n"_s
        << lines("Phone (tether)|Modem (usb|en9");
    QTest::newRow("port name with a comma is skipped")
        << u"(1) Dock\n(Hardware Port: Dock, Rear, Device: en8)\n"_s << QStringList();
    QTest::newRow("devices other than en are skipped")
        << u"(1) Bluetooth DUN\n(Hardware Port: Bluetooth DUN, Device: Bluetooth-Modem)\n\n"
           "(2) VPN (L2TP)\n(Hardware Port: L2TP, Device: )\n"_s
        << QStringList();
    QTest::newRow("Thunderbolt Bridge skipped even on an en device, by exact name")
        << u"(1) Thunderbolt Bridge\n(Hardware Port: Thunderbolt Bridge, Device: en5)\n\n"
           "(2) Pont Thunderbolt\n(Hardware Port: Thunderbolt Bridge, Device: en6)\n\n"
           "(3) thunderbolt bridge\n(Hardware Port: Thunderbolt Bridge, Device: en7)\n"_s
        << lines("thunderbolt bridge|Thunderbolt Bridge|en7");
    QTest::newRow("hardware line right after another names the next service")
        << u"(1) Ethernet\n(Hardware Port: Ethernet, Device: en0)\n(Hardware Port: Wi-Fi, Device: en1)\n"_s
        << lines("Ethernet|Ethernet|en0; Ethernet,en0|Wi-Fi|en1");
}

void TestNetworkParsers::readsServiceOrder()
{
    QFETCH(QString, listing);
    QFETCH(QStringList, services);
    QCOMPARE(flatten(NetworkManager::parseServiceOrder(listing)), services);
}

void TestNetworkParsers::readsServiceInfo_data()
{
    QTest::addColumn<QString>("info");
    QTest::addColumn<QStringList>("entry");

    QTest::newRow("manual with router, blanks and carriage return trimmed")
        << u"Manual Configuration\nIP address:   10.1.2.3  \nSubnet mask: 255.255.0.0\r\nRouter: 10.1.0.1 \n"
           "IPv6: Automatic\nEthernet Address: a8:20:66:4b:00:11\n"_s
        << lines("IP address=10.1.2.3; Router=10.1.0.1; Subnet mask=255.255.0.0");
    QTest::newRow("router (null) gives no router key")
        << u"IP address: 10.0.1.16\nSubnet mask: 255.255.255.0\nRouter: (null)\n"_s
        << lines("IP address=10.0.1.16; Subnet mask=255.255.255.0");
    QTest::newRow("empty router and address keep their keys")
        << u"IP address:\nSubnet mask: 255.0.0.0\nRouter:\n"_s << lines("IP address=; Router=; Subnet mask=255.0.0.0");
    QTest::newRow("DHCP without lease") << u"DHCP Configuration\nClient ID: \nIPv6: Automatic\n"_s << QStringList();
    QTest::newRow("only lines starting with the prefix count")
        << u" IP address: 1.1.1.1\nIPv6 IP address: fd00::1\nIPv6 Router: fd00::fe\nip address: 2.2.2.2\n"_s
        << QStringList();
    QTest::newRow("later line wins, a later (null) router erases nothing")
        << u"IP address: 1.1.1.1\nIP address: 2.2.2.2\nRouter: 1.1.1.254\nRouter: (null)\n"_s
        << lines("IP address=2.2.2.2; Router=1.1.1.254");
}

void TestNetworkParsers::readsServiceInfo()
{
    QFETCH(QString, info);
    QFETCH(QStringList, entry);
    QMap<QString, QString> parsed{{u"name"_s, u"Wi-Fi"_s}};
    NetworkManager::parseServiceInfo(info, parsed);
    QCOMPARE(parsed.take(u"name"_s), u"Wi-Fi"_s); // added to, never cleared
    QCOMPARE(flatten(parsed), entry);
}

void TestNetworkParsers::readsIfconfigBlocks_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("attributes");

    QTest::newRow("active Ethernet")
        << u"en0: flags=8863<UP,BROADCAST,SMART,RUNNING,SIMPLEX,MULTICAST> mtu 1500\n"
           "\toptions=6463<RXCSUM,TXCSUM,TSO4,TSO6>\n\tether 00:11:22:33:44:55\n"
           "\tinet6 fe80::1c2b:3d4e:5f60:7182%en0 prefixlen 64 secured scopeid 0x4 \n"
           "\tinet 192.168.1.201 netmask 0xffffff00 broadcast 192.168.1.255\n\tnd6 options=201<PERFORMNUD,DAD>\n"
           "\tmedia: autoselect (1000baseT <full-duplex>)\n\tstatus: active\n"_s
        << lines("en0 broadcast=192.168.1.255; en0 ether=00:11:22:33:44:55; "
                 "en0 flags=8863<UP,BROADCAST,SMART,RUNNING,SIMPLEX,MULTICAST>; en0 inet=192.168.1.201; "
                 "en0 inet6=fe80::1c2b:3d4e:5f60:7182%en0; en0 media=autoselect; en0 mtu=1500; "
                 "en0 nd6_options=options=201<PERFORMNUD,DAD>; en0 netmask=255.255.255.0; "
                 "en0 options=6463<RXCSUM,TXCSUM,TSO4,TSO6>; en0 prefixlen=64; en0 scopeid=0x4; en0 status=active");
    QTest::newRow("last block lost without final line feed")
        << u"en0: flags=8863<UP> mtu 1500\n\tstatus: active\nen1: flags=8863<UP> mtu 1500\n\tstatus: inactive"_s
        << lines("en0 flags=8863<UP>; en0 mtu=1500; en0 status=active");
    QTest::newRow("header-only blocks")
        << u"XHC20: flags=0<> mtu 0\ngif0: flags=8010<POINTOPOINT,MULTICAST> mtu 1280\n"_s
        << lines("XHC20 flags=0<>; XHC20 mtu=0; gif0 flags=8010<POINTOPOINT,MULTICAST>; gif0 mtu=1280");
    QTest::newRow("VPN tunnel to itself")
        << u"utun4: flags=80d1<UP,POINTOPOINT> mtu 1390\n\tinet 10.75.129.190 --> 10.75.129.190 netmask 0xffffffff \n"_s
        << lines("utun4 flags=80d1<UP,POINTOPOINT>; utun4 inet=10.75.129.190; utun4 mtu=1390; "
                 "utun4 netmask=255.255.255.255");
    QTest::newRow("bridge member flags replace the bridge's own")
        << u"bridge0: flags=8863<UP,BROADCAST> mtu 1500\n\tConfiguration:\n\t\tipfilter disabled flags 0x0\n"
           "\tmember: en1 flags=3<LEARNING,DISCOVER>\n\t        ifmaxaddr 0 port 5 priority 0 path cost 0\n"
           "\tmedia: <unknown type>\n"_s
        << lines("bridge0 flags=3<LEARNING,DISCOVER>; bridge0 media=<unknown; bridge0 mtu=1500");
    QTest::newRow("eflags and other option words keep their own key")
        << u"en0: flags=8863<UP> eflags=1002080<TXSTART> mtu 1500\n\tlinkoptions=a=b\n"_s
        << lines("en0 eflags=1002080<TXSTART>; en0 flags=8863<UP>; en0 mtu=1500");
    QTest::newRow("two spaces, or a keyword ending the block, give an empty value")
        << u"en0: flags=8863<UP> mtu  1500\n\tnd6\nen1: flags=8863<UP> mtu\n"_s
        << lines("en0 flags=8863<UP>; en0 mtu=; en0 nd6_options=; en1 flags=8863<UP>; en1 mtu=");
    QTest::newRow("header with a second colon: its lines replace the previous device's")
        << u"en0: flags=8863<UP> mtu 1500\nen1: odd: header\n\tstatus: active\n"_s << lines("en0 status=active");
}

void TestNetworkParsers::readsIfconfigBlocks()
{
    QFETCH(QString, text);
    QFETCH(QStringList, attributes);
    QCOMPARE(flatten(NetworkManager::parseIfconfig(text)), attributes);
}

void TestNetworkParsers::convertsHexNetmasks_data()
{
    QTest::addColumn<QString>("hex");
    QTest::addColumn<QString>("dotted");

    QTest::newRow("/24") << u"0xffffff00"_s << u"255.255.255.0"_s;
    QTest::newRow("/23") << u"0xfffffe00"_s << u"255.255.254.0"_s;
    QTest::newRow("/0") << u"0x00000000"_s << u"0.0.0.0"_s;
    QTest::newRow("capital letters") << u"0xFFFFFF00"_s << u"255.255.255.0"_s;
    QTest::newRow("one byte, the shortest accepted") << u"0xff"_s << u"255"_s;
    QTest::newRow("odd length drops the last digit") << u"0xfff"_s << u"255"_s;
    QTest::newRow("no prefix: first two digits unread") << u"ffffff00"_s << u"255.255.0"_s;
    QTest::newRow("not hexadecimal: unchanged") << u"0xffzz0000"_s << u"0xffzz0000"_s;
    QTest::newRow("too short") << u"0xf"_s << QString();
    QTest::newRow("eleven characters") << u"0xffffff000"_s << QString();
}

void TestNetworkParsers::convertsHexNetmasks()
{
    QFETCH(QString, hex);
    QFETCH(QString, dotted);
    QCOMPARE(NetworkManager::NetmaskHex2Str(hex), dotted);
}

void TestNetworkParsers::checksIPv4Text_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("valid");

    QTest::newRow("usual address") << u"192.168.1.201"_s << true;
    QTest::newRow("all ones") << u"255.255.255.255"_s << true;
    QTest::newRow("all zeros") << u"0.0.0.0"_s << true;
    QTest::newRow("leading zeros") << u"192.168.001.010"_s << true;
    QTest::newRow("trailing line feed") << u"1.2.3.4\n"_s << true;
    QTest::newRow("two trailing line feeds") << u"1.2.3.4\n\n"_s << false;
    QTest::newRow("trailing carriage return") << u"1.2.3.4\r"_s << false;
    QTest::newRow("line feed inside") << u"1.2.3.4\n5.6.7.8"_s << false;
    QTest::newRow("empty") << QString() << false;
    QTest::newRow("256") << u"255.255.255.256"_s << false;
    QTest::newRow("three fields") << u"1.2.3"_s << false;
    QTest::newRow("five fields") << u"1.2.3.4.5"_s << false;
    QTest::newRow("four digits") << u"1.2.3.0004"_s << false;
    QTest::newRow("leading blank") << u" 1.2.3.4"_s << false;
    QTest::newRow("trailing blank") << u"1.2.3.4 "_s << false;
    QTest::newRow("letters") << u"a.b.c.d"_s << false;
}

void TestNetworkParsers::checksIPv4Text()
{
    QFETCH(QString, text);
    QFETCH(bool, valid);
    QCOMPARE(NetworkManager::isIPv4(text), valid);
}

QTEST_GUILESS_MAIN(TestNetworkParsers)
#include "tst_networkparsers.moc"
