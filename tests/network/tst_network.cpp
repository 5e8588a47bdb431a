#include "network/networkmanager.h"

#include "network/system.h"
#include "tests/common/fakemac.h"

#include <QDir>
#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

// One line per fact: "<prefix>key=value", or "<prefix>device key=value" for every device of a map.
QStringList flatten(const QMap<QString, QString>& entry, const QString& prefix)
{
    QStringList lines;
    for (auto it = entry.cbegin(); it != entry.cend(); ++it)
        lines.append(prefix + it.key() + u'=' + it.value());
    return lines;
}

QStringList flatten(const InterfaceMap& map, const QString& prefix)
{
    QStringList lines;
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        lines += flatten(*it, prefix + it.key() + u' ');
    return lines;
}

// The manager's table as the window reads it: "device|name|ip|mask|router" per device.
QStringList table(const NetworkManager& manager, const QString& prefix = QString())
{
    QStringList rows;
    for (const QString& d : manager.getInterfaces())
        rows.append(
            prefix +
            QStringList{d, manager.getName(d), manager.getIp4(d), manager.getNetmask(d), manager.getRouter(d)}.join(
                u'|'));
    return rows;
}

} // namespace

class TestNetwork : public QObject
{
    Q_OBJECT

private slots:
    void readsRecordedMachines_data()
    {
        QTest::addColumn<QString>("machine");
        for (const QString& machine : QDir(TARNWICK_FIXTURES_DIR).entryList({u"*-*"_s}, QDir::Dirs))
            QTest::newRow(qPrintable(machine)) << machine + u'/';
    }

    // Every parser on every recorded output of one machine, then the whole reading through the simulated
    // Mac replaying them, compared with the machine's parsed.txt.
    void readsRecordedMachines()
    {
        QFETCH(QString, machine);
        FakeMac mac;
        const QString listing = FakeMac::fixture(machine + u"listnetworkserviceorder.txt"_s);
        mac.setReplay(u"listnetworkserviceorder"_s, listing);
        mac.setReplay(u"ifconfig"_s, FakeMac::fixture(machine + u"ifconfig.txt"_s));
        QStringList read;
        static const QRegularExpression others(u"[^a-z0-9]+"_s);
        for (const NetworkManager::Service& service : NetworkManager::parseServiceOrder(listing)) {
            read.append(u"order: %1|%2|%3"_s.arg(service.name, service.hardware, service.device));
            const QString slug = service.name.toLower().replace(others, u"-"_s);
            if (QFile::exists(TARNWICK_FIXTURES_DIR "/" + machine + u"getinfo-"_s + slug + u".txt"_s))
                mac.setReplay(u"getinfo-"_s + service.name,
                              FakeMac::fixture(machine + u"getinfo-"_s + slug + u".txt"_s));
        }
        for (const QString& file : QDir(TARNWICK_FIXTURES_DIR "/" + machine).entryList({u"getinfo-*"_s})) {
            QMap<QString, QString> entry;
            NetworkManager::parseServiceInfo(FakeMac::fixture(machine + file), entry);
            read += flatten(entry, file + u": "_s);
        }
        read += flatten(NetworkManager::parseIfconfig(FakeMac::fixture(machine + u"ifconfig.txt"_s)), u"ifconfig: "_s);
        read += table(NetworkManager(), u"read: "_s);
        QCOMPARE(read, FakeMac::fixture(machine + u"parsed.txt"_s).split(u'\n', Qt::SkipEmptyParts));
    }

    void readsTheDefaultMachineInCommandOrder()
    {
        FakeMac mac;
        const NetworkManager manager;
        // The disabled iPhone tether is read like an enabled service; the bridge is forbidden and the VPN
        // has no en device, so neither is asked for details.
        QCOMPARE(mac.calls(), (QList<QStringList>{{"networksetup", "-listnetworkserviceorder"},
                                                  {"networksetup", "-getinfo", "Ethernet"},
                                                  {"networksetup", "-getinfo", "Wi-Fi"},
                                                  {"networksetup", "-getinfo", "USB 10/100/1000 LAN"},
                                                  {"networksetup", "-getinfo", "iPhone USB"},
                                                  {"ifconfig"}}));
        QCOMPARE(table(manager), (QStringList{"en0|Ethernet|192.168.1.201|255.255.255.0|192.168.1.1",
                                              "en1|Wi-Fi|10.0.0.23|255.255.255.0|10.0.0.1",
                                              "en5|USB 10/100/1000 LAN|||", "en6|iPhone USB|||"}));
        // A part of a name finds the first device whose service holds it; case matters.
        QCOMPARE(manager.getInterfaceByName(u"USB"_s), u"en5"_s);
        QCOMPARE(manager.getInterfaceByName(u"ethernet"_s), QString());

        // A machine that answers nothing is asked for no details, and a refresh forgets what was read.
        mac.setFailure(u"silent"_s);
        mac.clearCalls();
        NetworkManager(manager).update();
        QCOMPARE(mac.calls().size(), 2);
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
        for (const QString& file : dir.entryList({u"*-*.txt"_s})) {
            QStringList addresses;
            if (file.startsWith(u"ifconfig-"_s)) {
                const InterfaceMap map = NetworkManager::parseIfconfig(text(file));
                QVERIFY2(!map.isEmpty(), qPrintable(file));
                // This sample lost its tabs and had its addresses replaced by letters: it only has to be survived.
                for (auto d = map.cbegin(); d != map.cend() && file != u"ifconfig-glpi-5.txt"_s; ++d) {
                    QVERIFY2(d->contains(u"flags"_s) && !d.key().contains(u' '), qPrintable(file + d.key()));
                    addresses += {d->value(u"inet"_s), d->value(u"netmask"_s), d->value(u"broadcast"_s)};
                }
            } else if (file.startsWith(u"listorder-"_s)) {
                const QList<NetworkManager::Service> services = NetworkManager::parseServiceOrder(text(file));
                QVERIFY2(!services.isEmpty(), qPrintable(file));
                for (const NetworkManager::Service& s : services)
                    QVERIFY2(s.device.startsWith(u"en"_s) &&
                                 !NetworkManager::NETWORKSETUP_FORBIDDEN_INTERFACES.contains(s.name),
                             qPrintable(file + s.name));
            } else {
                // getinfo answers give addresses under their three keys; refusals give nothing.
                QMap<QString, QString> entry;
                NetworkManager::parseServiceInfo(text(file), entry);
                QVERIFY2(!file.startsWith(u"seterror-"_s) || entry.isEmpty(), qPrintable(file));
                addresses += entry.values();
            }
            for (const QString& value : std::as_const(addresses))
                QVERIFY2(value.isEmpty() || NetworkManager::isIPv4(value), qPrintable(file + u' ' + value));
        }
        // Worked out by hand: a lease without final line feed, a service named apart from its port, a netmask.
        QMap<QString, QString> lease;
        NetworkManager::parseServiceInfo(text(u"getinfo-alfrednet-1.txt"_s), lease);
        QCOMPARE(flatten(lease, QString()).join(u' '),
                 "IP address=192.168.1.100 Router=192.168.1.1 Subnet mask=255.255.255.0");
        QCOMPARE(NetworkManager::parseServiceOrder(text(u"listorder-dnscryptswitcher-1.txt"_s)).at(3).name,
                 "USB 10/100/1000 LAN 2");
        QCOMPARE(NetworkManager::parseIfconfig(text(u"ifconfig-glpi-1.txt"_s))["en35"]["netmask"], "255.255.255.0");
        // The real command prints its refusals on standard output, as the simulated one does when asked to.
        FakeMac mac;
        mac.setErrorsToStdout(true);
        mac.setFailure(u"admin"_s);
        QCOMPARE(System::execute(u"networksetup"_s, {u"-setdhcp"_s, u"Ethernet"_s}).at(0),
                 text(u"seterror-zendesktop-1.txt"_s));
    }
};

QTEST_GUILESS_MAIN(TestNetwork)
#include "tst_network.moc"
