#include "network/networkmanager.h"

#include "core/servicestate.h"
#include "network/system.h"
#include "tools/fakemac/fakemac.h"

#include <QDir>
#include <QTemporaryDir>
#include <QRegularExpression>
#include <QTest>

namespace {

// One line per fact: "<prefix>key=value", or "<prefix>device key=value" for every device of a map.
QStringList flatten(const QMap<QString, QString>& entry, const QString& prefix)
{
    QStringList lines;
    for (auto it = entry.cbegin(); it != entry.cend(); ++it)
        lines.append(prefix + it.key() + '=' + it.value());
    return lines;
}

QStringList flatten(const InterfaceMap& map, const QString& prefix)
{
    QStringList lines;
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        lines += flatten(*it, prefix + it.key() + ' ');
    return lines;
}

} // namespace

class TestNetwork : public QObject
{
    Q_OBJECT

private slots:
    void readsRecordedMachines_data()
    {
        QTest::addColumn<QString>("machine");
        for (const QString& machine : QDir(TARNWICK_FIXTURES_DIR).entryList({"*-*"}, QDir::Dirs))
            QTest::newRow(qPrintable(machine)) << machine + '/';
    }

    // Every parser on every recorded output of one machine, then the whole reading through the simulated
    // Mac replaying them (or answering itself where nothing is recorded): the commands it was asked and
    // the table the window reads, all compared with the machine's parsed.txt.
    void readsRecordedMachines()
    {
        QFETCH(QString, machine);
        FakeMac mac;
        QStringList read;
        const QString listing = FakeMac::fixture(machine + "listnetworkserviceorder.txt");
        const QString ifconfig = FakeMac::fixture(machine + "ifconfig.txt");
        if (!listing.isEmpty()) {
            mac.setReplay("listnetworkserviceorder", listing);
            mac.setReplay("ifconfig", ifconfig);
        }
        static const QRegularExpression others("[^a-z0-9]+");
        for (const NetworkManager::Service& service : NetworkManager::parseServiceOrder(listing)) {
            read.append(QString("order: %1|%2|%3").arg(service.name, service.hardware, service.device));
            const QString file = machine + "getinfo-" + service.name.toLower().replace(others, "-") + ".txt";
            if (!QFile::exists(TARNWICK_FIXTURES_DIR "/" + file))
                continue;
            mac.setReplay("getinfo-" + service.name, FakeMac::fixture(file));
            // Recorded machines had no DNS set by hand: the answer macOS gives then.
            mac.setReplay("getdnsservers-" + service.name,
                          "There aren't any DNS Servers set on " + service.name + ".\n");
            mac.setReplay("getsearchdomains-" + service.name,
                          "There aren't any Search Domains set on " + service.name + ".\n");
        }
        for (const QString& file : QDir(TARNWICK_FIXTURES_DIR "/" + machine).entryList({"getinfo-*"})) {
            QMap<QString, QString> entry;
            NetworkManager::parseServiceInfo(FakeMac::fixture(machine + file), entry);
            read += flatten(entry, file + ": ");
        }
        read += flatten(NetworkManager::parseIfconfig(ifconfig), "ifconfig: ");
        const MachineReading reading = readMachine();
        QStringList calls;
        for (const QStringList& call : mac.calls())
            calls.append("call: " + call.join('|'));
        // The per-service commands run at once: they are logged in whatever order they started.
        std::sort(calls.begin() + 1, calls.end());
        read += calls;
        for (const ServiceState& s : reading.services)
            read.append(QStringList{"read: " + s.name, s.device, s.hardwarePort, s.methodText(), s.address.toString(),
                                    s.mask.toString(), s.router.toString(), s.reading.kindText()}
                            .join('|'));
        QCOMPARE(read, FakeMac::fixture(machine + "parsed.txt").split('\n', Qt::SkipEmptyParts));
    }

    // Service names are taken whole, in the listing's order, whatever they hold.
    void readsServiceNamesWhole_data()
    {
        QTest::addColumn<QString>("listing");
        QTest::addColumn<QString>("services"); // "name|port|device" each, " ; " between
        const auto listing = [](const QStringList& blocks) {
            return "An asterisk (*) denotes that a network service is disabled.\n" + blocks.join("\n\n") + '\n';
        };
        const auto block = [](const QString& mark, const QString& name, const QString& port, const QString& device) {
            return "(" + mark + ") " + name + "\n(Hardware Port: " + port + ", Device: " + device + ")";
        };
        QTest::newRow("parentheses and (H in names")
            << listing({block("1", "Lab (Home)", "Ethernet", "en0"), block("2", "Dock (Hub) 2", "USB LAN", "en7")})
            << "Lab (Home)|Ethernet|en0 ; Dock (Hub) 2|USB LAN|en7";
        QTest::newRow("commas, quotes and a leading dash")
            << listing(
                   {block("1", "-Lab, (west)", "Ethernet", "en0"), block("2", "Bob's \"LAN\"", "Dock, Rear", "en8")})
            << "-Lab, (west)|Ethernet|en0 ; Bob's \"LAN\"|Dock, Rear|en8";
        QTest::newRow("three services on one device, disabled ones too")
            << listing({block("1", "Ethernet", "Ethernet", "en0"), block("*", "Ethernet Office", "Ethernet", "en0"),
                        block("3", "Ethernet VLAN 7", "Ethernet", "en0")})
            << "Ethernet|Ethernet|en0 ; Ethernet Office|Ethernet|en0 ; Ethernet VLAN 7|Ethernet|en0";
        QTest::newRow("order kept, not sorted by device")
            << listing({block("1", "Wi-Fi", "Wi-Fi", "en1"), block("2", "Ethernet", "Ethernet", "en0")})
            << "Wi-Fi|Wi-Fi|en1 ; Ethernet|Ethernet|en0";
        QTest::newRow("bridges, modems and forbidden names left out")
            << listing({block("1", "Thunderbolt Bridge", "Thunderbolt Bridge", "en5"),
                        block("2", "Bluetooth DUN", "Bluetooth DUN", "Bluetooth-Modem"),
                        block("3", "Bridge", "Thunderbolt Bridge", "bridge0"), block("4", "Lab", "Ethernet", "en3")})
            << "Lab|Ethernet|en3";
        QTest::newRow("a hardware line without its service line")
            << "(Hardware Port: Ethernet, Device: en0)\n\n" + block("1", "Wi-Fi", "Wi-Fi", "en1") << "Wi-Fi|Wi-Fi|en1";
        QTest::newRow("carriage returns")
            << listing({block("1", "Wi-Fi", "Wi-Fi", "en1")}).replace("\n", "\r\n") << "Wi-Fi|Wi-Fi|en1";
    }

    void readsServiceNamesWhole()
    {
        QFETCH(QString, listing);
        QFETCH(QString, services);
        QStringList read;
        for (const NetworkManager::Service& s : NetworkManager::parseServiceOrder(listing))
            read.append(s.name + '|' + s.hardware + '|' + s.device);
        QCOMPARE(read.join(" ; "), services);
        // Through the simulated Mac each of them is read, and changed, as that one service.
        FakeMac mac;
        QString lines;
        for (const QString& service : read)
            lines += QString("%1|%2|1|dhcp|||\n").arg(lines.count('\n') + 1).arg(service);
        mac.setServices(lines);
        mac.setReplay("listnetworkserviceorder", listing);
        QStringList machine;
        for (const ServiceState& s : readMachine().services)
            machine.append(s.name + '|' + s.hardwarePort + '|' + s.device);
        QCOMPARE(machine.join(" ; "), services);
    }

    // Output of real Macs published by others, kept outside the project: every file must read sanely.
    void readsRealSamples()
    {
        const QDir dir(FakeMac::realFixturesDir());
        if (!dir.exists())
            QSKIP("no real command output beside the checkout");
        const auto text = [&dir](const QString& file) {
            QFile in(dir.filePath(file));
            return in.open(QIODevice::ReadOnly) ? QString::fromUtf8(in.readAll()) : QString();
        };
        for (const QString& file : dir.entryList({"*-*.txt"})) {
            QStringList addresses;
            if (file.startsWith("ifconfig-")) {
                const InterfaceMap map = NetworkManager::parseIfconfig(text(file));
                QVERIFY2(!map.isEmpty(), qPrintable(file));
                // This sample lost its tabs and had its addresses replaced by letters: it only has to be survived.
                for (auto d = map.cbegin(); d != map.cend() && file != "ifconfig-glpi-5.txt"; ++d)
                    addresses += {d->value("inet"), d->value("netmask"), d->value("broadcast")};
            } else if (file.startsWith("listorder-")) {
                const QList<NetworkManager::Service> services = NetworkManager::parseServiceOrder(text(file));
                QVERIFY2(!services.isEmpty(), qPrintable(file));
                for (const NetworkManager::Service& s : services)
                    QVERIFY2(s.device.startsWith("en") && !s.name.contains("Thunderbolt Br"), qPrintable(file));
            } else {
                // getinfo answers give addresses under their three keys; refusals give nothing.
                QMap<QString, QString> entry;
                NetworkManager::parseServiceInfo(text(file), entry);
                QVERIFY2(!file.startsWith("seterror-") || entry.isEmpty(), qPrintable(file));
                addresses += entry.values();
            }
            for (const QString& value : std::as_const(addresses))
                QVERIFY2(value.isEmpty() || NetworkManager::isIPv4(value), qPrintable(file + ' ' + value));
        }
        // Worked out by hand: a lease without final line feed, and a netmask.
        QMap<QString, QString> lease;
        NetworkManager::parseServiceInfo(text("getinfo-alfrednet-1.txt"), lease);
        QCOMPARE(flatten(lease, "").join(' '), "IP address=192.168.1.100 Router=192.168.1.1 Subnet mask=255.255.255.0");
        QCOMPARE(NetworkManager::parseIfconfig(text("ifconfig-glpi-1.txt"))["en35"]["netmask"], "255.255.255.0");
        // The real command prints its refusals on standard output, as the simulated one does when asked to.
        FakeMac mac;
        mac.setErrorsToStdout(true);
        mac.setFailure("admin");
        QCOMPARE(System::execute("networksetup", {"-setdhcp", "Ethernet"}).at(0), text("seterror-zendesktop-1.txt"));
    }

    // The script the administrator prompt runs, given to the real interpreter with the administrator clause
    // left out and a harmless tool in networksetup's place: every value must reach the tool byte for byte.
    void quotesForTheRealAdministratorPrompt()
    {
#ifndef Q_OS_MACOS
        QSKIP("the real osascript is only on a Mac");
#endif
        QTemporaryDir dir;
        QVERIFY(!dir.path().contains(QRegularExpression("[^A-Za-z0-9/._-]"))); // the tool's path goes in unquoted
        const QString tool = dir.filePath("tool");
        const QString log = dir.filePath("arguments");
        QFile script(tool);
        QVERIFY(script.open(QIODevice::WriteOnly));
        script.write(("#!/bin/sh\nprintf '[%s]' \"$@\" >>" + log + "\n").toUtf8());
        script.close();
        QVERIFY(script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        const QString name = "it's \"$(touch x)\" `id` \\back\\slash\nsecond line; $HOME * -e";
        const Change change{name, false, "10.0.0.9", "255.0.0.0", "", true, {"2001:db8::53", "10.0.0.53"}, true, {}};
        const System::Outcome outcome =
            System::run("/usr/bin/osascript", NetworkManager::elevatedArguments(change, tool, false));
        QVERIFY2(outcome.finished && outcome.exitCode == 0, qPrintable(outcome.err));
        QFile arguments(log);
        QVERIFY(arguments.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(arguments.readAll()),
                 "[-setdhcp][" + name + "][-setmanual][" + name + "][10.0.0.9][255.0.0.0][][-setdnsservers][" + name +
                     "][2001:db8::53][10.0.0.53][-setsearchdomains][" + name + "][Empty]");
        QVERIFY(!QFile::exists(QDir::current().filePath("x")));
    }
};

QTEST_GUILESS_MAIN(TestNetwork)
#include "tst_network.moc"
