#include "network/networkmanager.h"

#include "tests/common/fakemac.h"

#include <QTest>

namespace {

// "device key=value" per attribute, in map order: a readable form to compare and to print on failure.
QStringList flatten(const InterfaceMap& map)
{
    QStringList lines;
    for (auto device = map.cbegin(); device != map.cend(); ++device) {
        for (auto attribute = device->cbegin(); attribute != device->cend(); ++attribute)
            lines.append(device.key() + QLatin1Char(' ') + attribute.key() + QLatin1Char('=') + attribute.value());
    }
    return lines;
}

QStringList flatten(const QMap<QString, QString>& entry)
{
    QStringList lines;
    for (auto attribute = entry.cbegin(); attribute != entry.cend(); ++attribute)
        lines.append(attribute.key() + QLatin1Char('=') + attribute.value());
    return lines;
}

QStringList flatten(const QList<NetworkManager::Service>& services)
{
    QStringList lines;
    for (const NetworkManager::Service& service : services)
        lines.append(service.name + QLatin1Char('|') + service.hardware + QLatin1Char('|') + service.device);
    return lines;
}

const QString heading = QStringLiteral("An asterisk (*) denotes that a network service is disabled.\n");

} // namespace

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
    void readsOurRecordedMachines_data();
    void readsOurRecordedMachines();
    void convertsHexNetmasks_data();
    void convertsHexNetmasks();
    void checksIPv4Text_data();
    void checksIPv4Text();
    void mergeKeepsOnlyDevicesBothCommandsKnow();
};

void TestNetworkParsers::readsServiceOrder_data()
{
    QTest::addColumn<QString>("listing");
    QTest::addColumn<QStringList>("services");

    QTest::newRow("empty output") << QString() << QStringList();
    QTest::newRow("two en services") << heading +
                                            QStringLiteral("(1) Ethernet\n(Hardware Port: Ethernet, Device: en0)\n\n"
                                                           "(2) Wi-Fi\n(Hardware Port: Wi-Fi, Device: en1)\n")
                                     << QStringList{QStringLiteral("Ethernet|Ethernet|en0"),
                                                    QStringLiteral("Wi-Fi|Wi-Fi|en1")};
    QTest::newRow("no line feed after the last service")
        << heading + QStringLiteral("(1) Wi-Fi\n(Hardware Port: Wi-Fi, Device: en0)")
        << QStringList{QStringLiteral("Wi-Fi|Wi-Fi|en0")};
    QTest::newRow("disabled service is listed like an enabled one")
        << heading + QStringLiteral("(*) iPhone USB\n(Hardware Port: iPhone USB, Device: en6)\n")
        << QStringList{QStringLiteral("iPhone USB|iPhone USB|en6")};
    QTest::newRow("two-digit order mark")
        << heading + QStringLiteral("(10) Dock Ethernet\n(Hardware Port: Dock Ethernet, Device: en12)\n")
        << QStringList{QStringLiteral("Dock Ethernet|Dock Ethernet|en12")};
    QTest::newRow("service name differs from its port")
        << heading + QStringLiteral("(4) USB 10/100/1000 LAN 2\n(Hardware Port: USB 10/100/1000 LAN, Device: en11)\n")
        << QStringList{QStringLiteral("USB 10/100/1000 LAN 2|USB 10/100/1000 LAN|en11")};
    QTest::newRow("blanks before the order mark stay in the name")
        << heading + QStringLiteral("  (1) Ethernet\n(Hardware Port: Ethernet, Device: en0)\n")
        << QStringList{QStringLiteral(" (1) Ethernet|Ethernet|en0")};
    QTest::newRow("parenthesis inside the port name is dropped")
        << heading + QStringLiteral("(1) Phone (tether)\n(Hardware Port: Modem (usb), Device: en9)\n")
        << QStringList{QStringLiteral("Phone (tether)|Modem (usb|en9")};
    QTest::newRow("port name with a comma is skipped")
        << heading + QStringLiteral("(1) Dock\n(Hardware Port: Dock, Rear, Device: en8)\n") << QStringList();
    QTest::newRow("devices other than en are skipped")
        << heading + QStringLiteral("(1) Bluetooth DUN\n(Hardware Port: Bluetooth DUN, Device: Bluetooth-Modem)\n\n"
                                    "(2) FireWire\n(Hardware Port: FireWire, Device: fw0)\n\n"
                                    "(3) VPN (L2TP)\n(Hardware Port: L2TP, Device: )\n\n"
                                    "(4) Bridge\n(Hardware Port: Bridge, Device: bridge1)\n")
        << QStringList();
    QTest::newRow("Thunderbolt Bridge skipped even on an en device")
        << heading + QStringLiteral("(1) Thunderbolt Bridge\n(Hardware Port: Thunderbolt Bridge, Device: en5)\n\n"
                                    "(2) Pont Thunderbolt\n(Hardware Port: Thunderbolt Bridge, Device: en6)\n\n"
                                    "(3) thunderbolt bridge\n(Hardware Port: Thunderbolt Bridge, Device: en7)\n")
        << QStringList{QStringLiteral("thunderbolt bridge|Thunderbolt Bridge|en7")};
    QTest::newRow("two services on one device are both listed")
        << heading + QStringLiteral("(1) Ethernet\n(Hardware Port: Ethernet, Device: en0)\n\n"
                                    "(2) Ethernet 2\n(Hardware Port: Ethernet, Device: en0)\n")
        << QStringList{QStringLiteral("Ethernet|Ethernet|en0"), QStringLiteral("Ethernet 2|Ethernet|en0")};
    QTest::newRow("hardware line before any service line")
        << QStringLiteral("(Hardware Port: Ethernet, Device: en0)\n") << QStringList{QStringLiteral("|Ethernet|en0")};
    QTest::newRow("hardware line right after the heading takes the heading's tail")
        << heading + QStringLiteral("(Hardware Port: Ethernet, Device: en0)\n")
        << QStringList{QStringLiteral("asterisk (*) denotes that a network service is disabled.|Ethernet|en0")};
    QTest::newRow("hardware line right after another one")
        << QStringLiteral("(1) Ethernet\n(Hardware Port: Ethernet, Device: en0)\n(Hardware Port: Wi-Fi, Device: en1)\n")
        << QStringList{QStringLiteral("Ethernet|Ethernet|en0"), QStringLiteral("Ethernet,en0|Wi-Fi|en1")};
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

    const QString ipv6 = QStringLiteral("IPv6: Automatic\nIPv6 IP address: none\nIPv6 Router: none\n");
    QTest::newRow("manual with router")
        << QStringLiteral("Manual Configuration\nIP address: 192.168.1.201\nSubnet mask: 255.255.255.0\n"
                          "Router: 192.168.1.1\n") +
               ipv6 + QStringLiteral("Ethernet Address: a8:20:66:4b:00:11\n")
        << QStringList{QStringLiteral("IP address=192.168.1.201"), QStringLiteral("Router=192.168.1.1"),
                       QStringLiteral("Subnet mask=255.255.255.0")};
    QTest::newRow("router (null) gives no router")
        << QStringLiteral("Manual Configuration\nIP address: 10.0.1.16\nSubnet mask: 255.255.255.0\nRouter: (null)\n"
                          "IPv6: Off\n")
        << QStringList{QStringLiteral("IP address=10.0.1.16"), QStringLiteral("Subnet mask=255.255.255.0")};
    QTest::newRow("empty router and address keep their keys")
        << QStringLiteral("Manual Configuration\nIP address:\nSubnet mask: 255.0.0.0\nRouter:\n")
        << QStringList{QStringLiteral("IP address="), QStringLiteral("Router="),
                       QStringLiteral("Subnet mask=255.0.0.0")};
    QTest::newRow("DHCP without lease") << QStringLiteral("DHCP Configuration\nClient ID: \n") + ipv6 +
                                               QStringLiteral("Wi-Fi ID: 8c:85:90:3b:c2:17\n")
                                        << QStringList();
    QTest::newRow("blanks trimmed, carriage return too")
        << QStringLiteral("IP address:   10.1.2.3  \nSubnet mask: 255.255.0.0\r\nRouter: 10.1.0.1 \n")
        << QStringList{QStringLiteral("IP address=10.1.2.3"), QStringLiteral("Router=10.1.0.1"),
                       QStringLiteral("Subnet mask=255.255.0.0")};
    QTest::newRow("only lines starting with the prefix count")
        << QStringLiteral(
               " IP address: 1.1.1.1\nIPv6 IP address: fd00::1\nIPv6 Router: fd00::fe\nip address: 2.2.2.2\n")
        << QStringList();
    QTest::newRow("later line wins")
        << QStringLiteral("IP address: 1.1.1.1\nIP address: 2.2.2.2\nRouter: 1.1.1.254\nRouter: (null)\n")
        << QStringList{QStringLiteral("IP address=2.2.2.2"), QStringLiteral("Router=1.1.1.254")};
    QTest::newRow("error text adds nothing")
        << QStringLiteral("Wi-Fi is not a recognized network service.\n** Error: The parameters were not valid.\n")
        << QStringList();
}

void TestNetworkParsers::readsServiceInfo()
{
    QFETCH(QString, info);
    QFETCH(QStringList, entry);
    QMap<QString, QString> parsed{{QStringLiteral("name"), QStringLiteral("Wi-Fi")}};
    NetworkManager::parseServiceInfo(info, parsed);
    QCOMPARE(parsed.take(QStringLiteral("name")), QStringLiteral("Wi-Fi"));
    QCOMPARE(flatten(parsed), entry);
}

void TestNetworkParsers::readsIfconfigBlocks_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("attributes");

    QTest::newRow("empty output") << QString() << QStringList();
    QTest::newRow("active Ethernet")
        << QStringLiteral("en0: flags=8863<UP,BROADCAST,SMART,RUNNING,SIMPLEX,MULTICAST> mtu 1500\n"
                          "\toptions=6463<RXCSUM,TXCSUM,TSO4,TSO6>\n"
                          "\tether 00:11:22:33:44:55\n"
                          "\tinet6 fe80::1c2b:3d4e:5f60:7182%en0 prefixlen 64 secured scopeid 0x4 \n"
                          "\tinet 192.168.1.201 netmask 0xffffff00 broadcast 192.168.1.255\n"
                          "\tnd6 options=201<PERFORMNUD,DAD>\n"
                          "\tmedia: autoselect (1000baseT <full-duplex>)\n"
                          "\tstatus: active\n")
        << QStringList{QStringLiteral("en0 broadcast=192.168.1.255"),
                       QStringLiteral("en0 ether=00:11:22:33:44:55"),
                       QStringLiteral("en0 flags=8863<UP,BROADCAST,SMART,RUNNING,SIMPLEX,MULTICAST>"),
                       QStringLiteral("en0 inet=192.168.1.201"),
                       QStringLiteral("en0 inet6=fe80::1c2b:3d4e:5f60:7182%en0"),
                       QStringLiteral("en0 media=autoselect"),
                       QStringLiteral("en0 mtu=1500"),
                       QStringLiteral("en0 nd6_options=options=201<PERFORMNUD,DAD>"),
                       QStringLiteral("en0 netmask=255.255.255.0"),
                       QStringLiteral("en0 options=6463<RXCSUM,TXCSUM,TSO4,TSO6>"),
                       QStringLiteral("en0 prefixlen=64"),
                       QStringLiteral("en0 scopeid=0x4"),
                       QStringLiteral("en0 status=active")};
    QTest::newRow("last block lost without final line feed")
        << QStringLiteral(
               "en0: flags=8863<UP> mtu 1500\n\tstatus: active\nen1: flags=8863<UP> mtu 1500\n\tstatus: inactive")
        << QStringList{QStringLiteral("en0 flags=8863<UP>"), QStringLiteral("en0 mtu=1500"),
                       QStringLiteral("en0 status=active")};
    QTest::newRow("loopback: last inet6 wins")
        << QStringLiteral("lo0: flags=8049<UP,LOOPBACK,RUNNING,MULTICAST> mtu 16384\n"
                          "\tinet 127.0.0.1 netmask 0xff000000\n\tinet6 ::1 prefixlen 128 \n"
                          "\tinet6 fe80::1%lo0 prefixlen 64 scopeid 0x1 \n")
        << QStringList{QStringLiteral("lo0 flags=8049<UP,LOOPBACK,RUNNING,MULTICAST>"),
                       QStringLiteral("lo0 inet=127.0.0.1"),
                       QStringLiteral("lo0 inet6=fe80::1%lo0"),
                       QStringLiteral("lo0 mtu=16384"),
                       QStringLiteral("lo0 netmask=255.0.0.0"),
                       QStringLiteral("lo0 prefixlen=64"),
                       QStringLiteral("lo0 scopeid=0x1")};
    QTest::newRow("header-only blocks")
        << QStringLiteral("XHC20: flags=0<> mtu 0\ngif0: flags=8010<POINTOPOINT,MULTICAST> mtu 1280\n")
        << QStringList{QStringLiteral("XHC20 flags=0<>"), QStringLiteral("XHC20 mtu=0"),
                       QStringLiteral("gif0 flags=8010<POINTOPOINT,MULTICAST>"), QStringLiteral("gif0 mtu=1280")};
    QTest::newRow("VPN tunnel to itself")
        << QStringLiteral("utun4: flags=80d1<UP,POINTOPOINT,RUNNING,NOARP,MULTICAST> mtu 1390\n"
                          "\tinet 10.75.129.190 --> 10.75.129.190 netmask 0xffffffff \n")
        << QStringList{QStringLiteral("utun4 flags=80d1<UP,POINTOPOINT,RUNNING,NOARP,MULTICAST>"),
                       QStringLiteral("utun4 inet=10.75.129.190"), QStringLiteral("utun4 mtu=1390"),
                       QStringLiteral("utun4 netmask=255.255.255.255")};
    QTest::newRow("bridge member flags replace the bridge's own")
        << QStringLiteral("bridge0: flags=8863<UP,BROADCAST> mtu 1500\n\tConfiguration:\n"
                          "\t\tipfilter disabled flags 0x0\n\tmember: en1 flags=3<LEARNING,DISCOVER>\n"
                          "\t        ifmaxaddr 0 port 5 priority 0 path cost 0\n\tmedia: <unknown type>\n")
        << QStringList{QStringLiteral("bridge0 flags=3<LEARNING,DISCOVER>"), QStringLiteral("bridge0 media=<unknown"),
                       QStringLiteral("bridge0 mtu=1500")};
    QTest::newRow("old one-line media and status")
        << QStringLiteral("en0: flags=8863<UP> mtu 1500\n\tmedia: autoselect status: inactive\n")
        << QStringList{QStringLiteral("en0 flags=8863<UP>"), QStringLiteral("en0 media=autoselect"),
                       QStringLiteral("en0 mtu=1500"), QStringLiteral("en0 status=inactive")};
    QTest::newRow("eflags and other option words keep their own key")
        << QStringLiteral("en0: flags=8863<UP> eflags=1002080<TXSTART> mtu 1500\n\tlinkoptions=a=b\n")
        << QStringList{QStringLiteral("en0 eflags=1002080<TXSTART>"), QStringLiteral("en0 flags=8863<UP>"),
                       QStringLiteral("en0 mtu=1500")};
    QTest::newRow("two spaces give an empty value")
        << QStringLiteral("en0: flags=8863<UP> mtu  1500\n")
        << QStringList{QStringLiteral("en0 flags=8863<UP>"), QStringLiteral("en0 mtu=")};
    QTest::newRow("keyword ending the block gets an empty value")
        << QStringLiteral("en0: flags=8863<UP> mtu 1500\n\tnd6\nen1: flags=8863<UP> mtu\n")
        << QStringList{QStringLiteral("en0 flags=8863<UP>"), QStringLiteral("en0 mtu=1500"),
                       QStringLiteral("en0 nd6_options="), QStringLiteral("en1 flags=8863<UP>"),
                       QStringLiteral("en1 mtu=")};
    QTest::newRow("header with a second colon is ignored")
        << QStringLiteral("en0: flags=8863<UP> mtu 1500\nen1: odd: header\n\tstatus: active\n")
        << QStringList{QStringLiteral("en0 status=active")};
    QTest::newRow("attribute lines before any header")
        << QStringLiteral("\tinet 10.0.0.1 netmask 0xff000000\nen0: flags=8863<UP> mtu 1500\n")
        << QStringList{QStringLiteral(" inet=10.0.0.1"), QStringLiteral(" netmask=255.0.0.0"),
                       QStringLiteral("en0 flags=8863<UP>"), QStringLiteral("en0 mtu=1500")};
    QTest::newRow("unparsable netmask kept as printed")
        << QStringLiteral("en0: flags=8863<UP> mtu 1500\n\tinet 10.0.0.1 netmask 0xffzz0000\n")
        << QStringList{QStringLiteral("en0 flags=8863<UP>"), QStringLiteral("en0 inet=10.0.0.1"),
                       QStringLiteral("en0 mtu=1500"), QStringLiteral("en0 netmask=0xffzz0000")};
}

void TestNetworkParsers::readsIfconfigBlocks()
{
    QFETCH(QString, text);
    QFETCH(QStringList, attributes);
    QCOMPARE(flatten(NetworkManager::parseIfconfig(text)), attributes);
}

void TestNetworkParsers::readsOurRecordedMachines_data()
{
    QTest::addColumn<QString>("machine");
    QTest::addColumn<QStringList>("services");
    QTest::addColumn<QStringList>("devices");
    QTest::addColumn<QStringList>("facts");

    QTest::newRow("MacBook Air, macOS 14")
        << QStringLiteral("macbook-air-m2")
        << QStringList{QStringLiteral("USB 10/100/1000 LAN|USB 10/100/1000 LAN|en7"), QStringLiteral("Wi-Fi|Wi-Fi|en0"),
                       QStringLiteral("iPhone USB|iPhone USB|en8")}
        << QStringList{QStringLiteral("lo0"),   QStringLiteral("gif0"),    QStringLiteral("stf0"),
                       QStringLiteral("anpi0"), QStringLiteral("anpi1"),   QStringLiteral("en3"),
                       QStringLiteral("en4"),   QStringLiteral("en1"),     QStringLiteral("en2"),
                       QStringLiteral("ap1"),   QStringLiteral("en0"),     QStringLiteral("awdl0"),
                       QStringLiteral("llw0"),  QStringLiteral("bridge0"), QStringLiteral("utun0"),
                       QStringLiteral("utun1"), QStringLiteral("utun2"),   QStringLiteral("utun3"),
                       QStringLiteral("en7"),   QStringLiteral("utun4")}
        << QStringList{QStringLiteral("en0 inet=192.168.178.52"),
                       QStringLiteral("en0 inet6=2a02:8109:b6c0:4e00:14d2:9a1f:63b8:c2e7"),
                       QStringLiteral("en7 netmask=255.255.255.0"),
                       QStringLiteral("en7 status=active"),
                       QStringLiteral("utun4 inet=172.31.4.18"),
                       QStringLiteral("anpi0 media=none"),
                       QStringLiteral("bridge0 flags=3<LEARNING,DISCOVER>")};
    QTest::newRow("iMac, macOS 10.14, French names")
        << QStringLiteral("imac-2019")
        << QStringList{QStringLiteral("Ethernet|Ethernet|en0"), QStringLiteral("Wi-Fi|Wi-Fi|en1"),
                       QStringLiteral("PAN Bluetooth|Bluetooth PAN|en3")}
        << QStringList{QStringLiteral("lo0"),   QStringLiteral("gif0"),    QStringLiteral("stf0"),
                       QStringLiteral("XHC20"), QStringLiteral("en0"),     QStringLiteral("en1"),
                       QStringLiteral("en2"),   QStringLiteral("bridge0"), QStringLiteral("p2p0"),
                       QStringLiteral("en3"),   QStringLiteral("utun0")}
        << QStringList{QStringLiteral("en0 netmask=255.255.254.0"), QStringLiteral("en0 broadcast=10.20.31.255"),
                       QStringLiteral("en0 ether=38:f9:d3:0a:41:5e"), QStringLiteral("en1 status=inactive"),
                       QStringLiteral("XHC20 mtu=0")};
    QTest::newRow("MacBook Pro, OS X 10.11")
        << QStringLiteral("macbook-pro-2015")
        << QStringList{QStringLiteral("Wi-Fi|Wi-Fi|en0"),
                       QStringLiteral("Thunderbolt Ethernet|Thunderbolt Ethernet|en4"),
                       QStringLiteral("Thunderbolt Ethernet 2|Thunderbolt Ethernet|en4")}
        << QStringList{QStringLiteral("lo0"),  QStringLiteral("gif0"),  QStringLiteral("stf0"),
                       QStringLiteral("en0"),  QStringLiteral("en1"),   QStringLiteral("en2"),
                       QStringLiteral("p2p0"), QStringLiteral("awdl0"), QStringLiteral("bridge0"),
                       QStringLiteral("en4")}
        << QStringList{QStringLiteral("en4 inet6=fd00:5:1:0:8d1f:22e6:f3a0:7b51"),
                       QStringLiteral("en4 inet=172.20.1.201"), QStringLiteral("en4 netmask=255.255.0.0"),
                       QStringLiteral("lo0 inet6=fe80::1%lo0"),
                       QStringLiteral("en0 nd6_options=options=1<PERFORMNUD>")};
}

void TestNetworkParsers::readsOurRecordedMachines()
{
    QFETCH(QString, machine);
    QFETCH(QStringList, services);
    QFETCH(QStringList, devices);
    QFETCH(QStringList, facts);

    const QString listing = FakeMac::fixture(machine + QStringLiteral("/listnetworkserviceorder.txt"));
    QCOMPARE(flatten(NetworkManager::parseServiceOrder(listing)), services);

    const InterfaceMap ifconfig =
        NetworkManager::parseIfconfig(FakeMac::fixture(machine + QStringLiteral("/ifconfig.txt")));
    QStringList sortedDevices = devices;
    sortedDevices.sort();
    QStringList keys = ifconfig.keys();
    keys.sort();
    QCOMPARE(keys, sortedDevices);
    const QStringList attributes = flatten(ifconfig);
    for (const QString& fact : facts)
        QVERIFY2(attributes.contains(fact), qPrintable(fact));
}

void TestNetworkParsers::convertsHexNetmasks_data()
{
    QTest::addColumn<QString>("hex");
    QTest::addColumn<QString>("dotted");

    QTest::newRow("/24") << QStringLiteral("0xffffff00") << QStringLiteral("255.255.255.0");
    QTest::newRow("/16") << QStringLiteral("0xffff0000") << QStringLiteral("255.255.0.0");
    QTest::newRow("/23") << QStringLiteral("0xfffffe00") << QStringLiteral("255.255.254.0");
    QTest::newRow("/20") << QStringLiteral("0xfffff000") << QStringLiteral("255.255.240.0");
    QTest::newRow("/32") << QStringLiteral("0xffffffff") << QStringLiteral("255.255.255.255");
    QTest::newRow("/0") << QStringLiteral("0x00000000") << QStringLiteral("0.0.0.0");
    QTest::newRow("capital letters") << QStringLiteral("0xFFFFFF00") << QStringLiteral("255.255.255.0");
    QTest::newRow("one byte") << QStringLiteral("0xff") << QStringLiteral("255");
    QTest::newRow("odd length drops the last digit") << QStringLiteral("0xfff") << QStringLiteral("255");
    QTest::newRow("no prefix: first two digits unread") << QStringLiteral("ffffff00") << QStringLiteral("255.255.0");
    QTest::newRow("not hexadecimal: unchanged") << QStringLiteral("0xffzz0000") << QStringLiteral("0xffzz0000");
    QTest::newRow("empty") << QString() << QString();
    QTest::newRow("too short") << QStringLiteral("0xf") << QString();
    QTest::newRow("eleven characters") << QStringLiteral("0xffffff000") << QString();
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

    QTest::newRow("usual address") << QStringLiteral("192.168.1.201") << true;
    QTest::newRow("all ones") << QStringLiteral("255.255.255.255") << true;
    QTest::newRow("all zeros") << QStringLiteral("0.0.0.0") << true;
    QTest::newRow("leading zeros") << QStringLiteral("192.168.001.010") << true;
    QTest::newRow("three zeros") << QStringLiteral("000.0.0.0") << true;
    QTest::newRow("099") << QStringLiteral("099.1.1.1") << true;
    QTest::newRow("trailing line feed") << QStringLiteral("1.2.3.4\n") << true;
    QTest::newRow("two trailing line feeds") << QStringLiteral("1.2.3.4\n\n") << false;
    QTest::newRow("trailing carriage return") << QStringLiteral("1.2.3.4\r") << false;
    QTest::newRow("empty") << QString() << false;
    QTest::newRow("256 last") << QStringLiteral("255.255.255.256") << false;
    QTest::newRow("256 first") << QStringLiteral("256.1.1.1") << false;
    QTest::newRow("three fields") << QStringLiteral("1.2.3") << false;
    QTest::newRow("five fields") << QStringLiteral("1.2.3.4.5") << false;
    QTest::newRow("empty field") << QStringLiteral("1..2.3") << false;
    QTest::newRow("four digits") << QStringLiteral("1.2.3.0004") << false;
    QTest::newRow("leading blank") << QStringLiteral(" 1.2.3.4") << false;
    QTest::newRow("trailing blank") << QStringLiteral("1.2.3.4 ") << false;
    QTest::newRow("sign") << QStringLiteral("+1.2.3.4") << false;
    QTest::newRow("line feed inside") << QStringLiteral("1.2.3.4\n5.6.7.8") << false;
    QTest::newRow("letters") << QStringLiteral("a.b.c.d") << false;
}

void TestNetworkParsers::checksIPv4Text()
{
    QFETCH(QString, text);
    QFETCH(bool, valid);
    QCOMPARE(NetworkManager::isIPv4(text), valid);
}

void TestNetworkParsers::mergeKeepsOnlyDevicesBothCommandsKnow()
{
    const InterfaceMap networksetup{{QStringLiteral("en0"),
                                     {{QStringLiteral("name"), QStringLiteral("Ethernet")},
                                      {QStringLiteral("status"), QStringLiteral("from networksetup")}}},
                                    {QStringLiteral("en1"), {{QStringLiteral("name"), QStringLiteral("Wi-Fi")}}}};
    const InterfaceMap ifconfig{{QStringLiteral("en0"),
                                 {{QStringLiteral("inet"), QStringLiteral("192.168.1.201")},
                                  {QStringLiteral("status"), QStringLiteral("active")}}},
                                {QStringLiteral("lo0"), {{QStringLiteral("inet"), QStringLiteral("127.0.0.1")}}}};

    QCOMPARE(flatten(NetworkManager::mergeMap(networksetup, ifconfig)),
             (QStringList{QStringLiteral("en0 inet=192.168.1.201"), QStringLiteral("en0 name=Ethernet"),
                          QStringLiteral("en0 status=from networksetup")}));
    QVERIFY(NetworkManager::mergeMap(networksetup, {}).isEmpty());
    QVERIFY(NetworkManager::mergeMap({}, ifconfig).isEmpty());
}

QTEST_GUILESS_MAIN(TestNetworkParsers)
#include "tst_networkparsers.moc"
