#include "core/switcher.h"

#include "tools/fakemac/fakemac.h"

#include <QSignalSpy>
#include <QTest>

#include <thread>

namespace {

const Profile laNetwork{QStringLiteral("LA-Network"),
                        QStringLiteral("192.168.1.0"),
                        QStringLiteral("255.255.255.0"),
                        QStringLiteral("192.168.1.1"),
                        {},
                        {}};
const Profile intercom{
    QStringLiteral("Intercom"), QStringLiteral("192.168.3.0"), QStringLiteral("255.255.255.0"), QString(), {}, {}};

// One line a service: "name|device|method|address|mask|router|reading".
QStringList flatten(const MachineReading& reading)
{
    QStringList lines{reading.reading.kindText() + ' ' + reading.reading.text(true)};
    for (const ServiceState& s : reading.services)
        lines.append(QStringList{s.name, s.device, s.hardwarePort, s.methodText(), s.address.toString(),
                                 s.mask.toString(), s.router.toString(), s.reading.text(true)}
                         .join('|'));
    return lines;
}

Change change(const QString& service, const Profile& profile, int host = 201, const QString& router = {})
{
    const ChangeVerdict verdict = changeFor(service, profile, host, router);
    if (!verdict.ok())
        qFatal("%s", qPrintable(verdict.problem));
    return verdict.change;
}

} // namespace

class TestCore : public QObject
{
    Q_OBJECT

private slots:
    // Every rule that can refuse a choice before anything runs, and the change it builds otherwise.
    void buildsTheChangeOrSaysWhyNot_data()
    {
        QTest::addColumn<QString>("network");
        QTest::addColumn<QString>("mask");
        QTest::addColumn<int>("host");
        QTest::addColumn<QString>("router");
        QTest::addColumn<QString>("expected"); // the change described, or the reason
        const auto row = [](const char* name, const char* network, const char* mask, int host, const char* router,
                            const QString& expected) {
            QTest::newRow(name) << QString(network) << QString(mask) << host << QString(router) << expected;
        };
        const QString own = "the network's own address under the mask ";
        const QString broadcast = "the broadcast address under the mask ";
        row("/24 host 0", "192.168.1.0", "255.255.255.0", 0, "", "192.168.1.0 is " + own + "255.255.255.0");
        row("/24 host 1", "192.168.1.0", "255.255.255.0", 1, "", "Lab: 192.168.1.1 mask 255.255.255.0, no router");
        row("/24 host 255", "192.168.1.0", "255.255.255.0", 255, "", "192.168.1.255 is " + broadcast + "255.255.255.0");
        row("/23 host 0 of the upper half", "192.168.1.0", "255.255.254.0", 0, "",
            "Lab: 192.168.1.0 mask 255.255.254.0, no router");
        row("/23 host 255 of the lower half", "192.168.0.0", "255.255.254.0", 255, "",
            "Lab: 192.168.0.255 mask 255.255.254.0, no router");
        row("/30 host 3", "10.0.0.0", "255.255.255.252", 3, "", "10.0.0.3 is " + broadcast + "255.255.255.252");
        row("/32 host 0", "10.0.0.0", "255.255.255.255", 0, "", "Lab: 10.0.0.0 mask 255.255.255.255, no router");
        row("host 256", "192.168.1.0", "255.255.255.0", 256, "", "host number 256 is not in 0-255");
        row("mask with a gap", "10.1.2.0", "255.0.255.0", 9, "",
            "the mask \"255.0.255.0\" is not a subnet mask: its one bits must come first");
        row("malformed mask", "10.1.2.0", "255.255.0", 9, "", "the mask \"255.255.0\" is not a valid subnet mask");
        row("malformed network", "10.1.300.0", "255.255.255.0", 9, "",
            "the profile's network \"10.1.300.0\" is not an IPv4 address");
        row("malformed router", "192.168.1.0", "255.255.255.0", 9, "192.168.1.256",
            "the router address \"192.168.1.256\" is malformed");
        row("router with a line feed", "192.168.1.0", "255.255.255.0", 9, "192.168.1.1\n",
            "the router address \"192.168.1.1\n\" is malformed");
        row("router in plain dotted decimal", "010.1.1.0", "255.255.255.0", 9, "010.001.1.01",
            "Lab: 10.1.1.9 mask 255.255.255.0, router 10.1.1.1");
    }

    void buildsTheChangeOrSaysWhyNot()
    {
        QFETCH(QString, network);
        QFETCH(QString, mask);
        QFETCH(int, host);
        QFETCH(QString, router);
        QFETCH(QString, expected);
        const ChangeVerdict verdict = changeFor("Lab", {"Lab", network, mask, {}, {}, {}}, host, router);
        QCOMPARE(verdict.ok() ? verdict.change.describe() : verdict.problem,
                 expected.endsWith("255.255.255.0") || expected.endsWith("255.255.254.0") ||
                         expected.endsWith("255.255.255.252")
                     ? expected + "; choose another host number"
                     : expected);
        QVERIFY(!verdict.ok() || !verdict.change.dhcp);
        const ChangeVerdict dhcp = changeFor("Lab", {"DHCP", network, mask, {}, {}, {}}, host, router);
        QVERIFY(dhcp.ok() && dhcp.change.dhcp && dhcp.change.service == "Lab");
    }

    // Each outcome forced through the simulated Mac: the report says what the service reads afterwards.
    void reportsWhatTheServiceReadsAfterwards_data()
    {
        QTest::addColumn<QString>("service");
        QTest::addColumn<bool>("dhcp"); // else Intercom with host 201, no router
        QTest::addColumn<QString>("fail");
        QTest::addColumn<QString>("prompt");
        QTest::addColumn<QString>("hold");
        QTest::addColumn<bool>("askAdmin");
        QTest::addColumn<int>("timeoutMs");
        QTest::addColumn<int>("promptTimeoutMs");
        QTest::addColumn<QString>("outcome");
        QTest::addColumn<QString>("line");
        const auto row = [](const char* name, const QString& service, bool dhcp, const QString& fail,
                            const QString& prompt, const QString& hold, bool askAdmin, const QString& outcome,
                            const QString& line, int timeoutMs = 30000, int promptTimeoutMs = 30000) {
            QTest::newRow(name) << service << dhcp << fail << prompt << hold << askAdmin << timeoutMs << promptTimeoutMs
                                << outcome << line;
        };
        const QString ethernet = "Ethernet now uses 192.168.1.201 mask 255.255.255.0, router 192.168.1.1: ";
        const QString intercomSet = "Ethernet now uses 192.168.3.201 mask 255.255.255.0, no router.";
        row("fixed address", "Ethernet", false, {}, {}, {}, false, "applied", intercomSet);
        row("DHCP", "Ethernet", true, {}, {}, {}, false, "applied", "Ethernet now uses DHCP.");
        row("no rights, no prompt asked", "Ethernet", false, "admin", {}, {}, false, "refused",
            ethernet + "the fixed address was not set because networksetup -setdhcp refused it without "
                       "administrator rights.");
        row("no rights, through the prompt", "Ethernet", false, "admin", {}, {}, true, "applied", intercomSet);
        row("prompt dismissed", "Ethernet", false, "admin", "cancel", {}, true, "cancelled",
            ethernet + "the fixed address was not set because the administrator prompt was dismissed.");
        // The prompt's own limit, shorter than the commands'.
        row("prompt not answered", "Wi-Fi", false, "admin", {}, "osascript", true, "timed out",
            "Wi-Fi now uses DHCP: the fixed address was not set because the administrator prompt was not answered "
            "within 1 s.",
            30000, 1000);
        // A command's limit, shorter than the prompt's.
        row("fixed address not answered", "Ethernet", false, {}, {}, "-setmanual", true, "timed out",
            "Ethernet now uses DHCP: the fixed address was not set because networksetup -setmanual did not answer "
            "within 1 s.",
            1000, 30000);
        row("address refused after DHCP", "Ethernet", false, "invalid", {}, {}, false, "partly applied",
            "Ethernet now uses DHCP: the fixed address was not set because networksetup -setmanual refused it: ** "
            "Error: 192.168.3.201 is not a valid IP address.");
        row("address refused after DHCP, through the prompt", "Ethernet", false, "admin invalid", {}, {}, true,
            "partly applied",
            "Ethernet now uses DHCP: the fixed address was not set because networksetup -setmanual refused it: ** "
            "Error: 192.168.3.201 is not a valid IP address.");
        row("unknown service", "Ethernet", true, "unknown", {}, {}, false, "refused",
            "Ethernet could not be read back after the change (networksetup failed: Ethernet is not a recognized "
            "network service. ** Error: The parameters were not valid.): DHCP was not set because networksetup "
            "-setdhcp refused it: Ethernet is not a recognized network service. ** Error: The parameters were not "
            "valid.");
        row("no answer when read back", "Ethernet", false, {}, {}, "-getinfo", false, "applied",
            "Ethernet could not be read back after the change (networksetup did not answer within 1 s): the system "
            "reported no error.",
            1000);
    }

    void reportsWhatTheServiceReadsAfterwards()
    {
        QFETCH(QString, service);
        QFETCH(bool, dhcp);
        QFETCH(QString, fail);
        QFETCH(QString, prompt);
        QFETCH(QString, hold);
        QFETCH(bool, askAdmin);
        QFETCH(int, timeoutMs);
        QFETCH(int, promptTimeoutMs);
        QFETCH(QString, outcome);
        QFETCH(QString, line);
        FakeMac mac;
        mac.setFailure(fail);
        mac.setPrompt(prompt);
        if (!hold.isEmpty())
            mac.setHold(hold);
        const ChangeReport report = runChange(dhcp ? Change::toDhcp(service) : change(service, intercom),
                                              {timeoutMs, promptTimeoutMs, false, askAdmin});
        QCOMPARE(report.outcomeText(), outcome);
        QCOMPARE(report.line, line);
        QCOMPARE(report.after.name, service);
    }

    // The DNS a profile sets runs after the address, under the same prompt, and is judged as read back.
    void setsTheDnsTheProfileAsksFor_data()
    {
        QTest::addColumn<QString>("profile"); // "Intercom" with these, or "DHCP"
        QTest::addColumn<QString>("dns");
        QTest::addColumn<QString>("search");
        QTest::addColumn<QString>("fail");
        QTest::addColumn<QString>("hold");
        QTest::addColumn<QString>("calls"); // the -set calls, " ; " between, osascript's values after "--"
        QTest::addColumn<QString>("line");
        const QString address = "-setdhcp|Lab ; -setmanual|Lab|192.168.3.201|255.255.255.0|";
        const QString set = "Lab now uses 192.168.3.201 mask 255.255.255.0, no router";
        QTest::newRow("servers and domains, in order")
            << "Intercom"
            << "10.0.0.53\n2001:db8::53"
            << "lab.example\nexample.org"
            << ""
            << ""
            << address + " ; -setdnsservers|Lab|10.0.0.53|2001:db8::53 ; -setsearchdomains|Lab|lab.example|example.org"
            << set + ", DNS 10.0.0.53, 2001:db8::53, search lab.example, example.org.";
        QTest::newRow("automatic clears what is set")
            << "Intercom"
            << "automatic"
            << "automatic"
            << ""
            << "" << address + " ; -setdnsservers|Lab|Empty ; -setsearchdomains|Lab|Empty" << set + ".";
        QTest::newRow("nothing set, nothing touched") << "Intercom"
                                                      << ""
                                                      << ""
                                                      << ""
                                                      << "" << address << set + ", DNS 9.9.9.9, search old.example.";
        QTest::newRow("one prompt for the whole change")
            << "Intercom"
            << "10.0.0.53"
            << ""
            << "admin"
            << ""
            << "-setdhcp|Lab ; osascript|Lab|192.168.3.201|255.255.255.0||10.0.0.53 ; " + address +
                   " ; -setdnsservers|Lab|10.0.0.53"
            << set + ", DNS 10.0.0.53, search old.example.";
        QTest::newRow("servers refused after the address")
            << "Intercom"
            << "10.0.0.53"
            << "lab.example"
            << "dns"
            << "" << address + " ; -setdnsservers|Lab|10.0.0.53"
            << set + ", DNS 9.9.9.9, search old.example: the DNS servers were not set because networksetup "
                     "-setdnsservers refused it: ** Error: The parameters were not valid.";
        QTest::newRow("domains not answered")
            << "Intercom"
            << "automatic"
            << "lab.example"
            << ""
            << "-setsearchdomains" << address + " ; -setdnsservers|Lab|Empty ; -setsearchdomains|Lab|lab.example"
            << set + ", search old.example: the search domains were not set because networksetup -setsearchdomains "
                     "did not answer within 1 s.";
        QTest::newRow("DHCP keeping the DNS") << "DHCP"
                                              << ""
                                              << ""
                                              << ""
                                              << ""
                                              << "-setdhcp|Lab"
                                              << "Lab now uses DHCP, DNS 9.9.9.9, search old.example.";
        QTest::newRow("DHCP clearing the DNS")
            << "DHCP"
            << "automatic"
            << "automatic"
            << ""
            << ""
            << "-setdhcp|Lab ; -setdnsservers|Lab|Empty ; -setsearchdomains|Lab|Empty"
            << "Lab now uses DHCP.";
    }

    void setsTheDnsTheProfileAsksFor()
    {
        QFETCH(QString, profile);
        QFETCH(QString, dns);
        QFETCH(QString, search);
        QFETCH(QString, fail);
        QFETCH(QString, hold);
        QFETCH(QString, calls);
        QFETCH(QString, line);
        FakeMac mac;
        mac.setServices("1|Lab|Ethernet|en0|1|manual|10.1.1.2|255.255.0.0||9.9.9.9|old.example\n");
        mac.setFailure(fail);
        if (!hold.isEmpty())
            mac.setHold(hold);
        mac.clearCalls();
        Profile chosen = profile == "DHCP" ? Profile{"DHCP", {}, {}, {}, {}, {}} : intercom;
        chosen.dns = dns;
        chosen.search = search;
        const ChangeVerdict verdict = changeFor("Lab", chosen, 201, {});
        QVERIFY2(verdict.ok(), qPrintable(verdict.problem));
        const ChangeReport report = runChange(verdict.change, {1000, 30000, false, true});
        mac.release();
        QStringList made;
        for (const QStringList& call : mac.calls()) {
            if (call.first() == "osascript")
                made.append("osascript|" + call.mid(call.indexOf("--") + 1).join('|'));
            else if (call.value(1).startsWith("-set"))
                made.append(call.mid(1).join('|'));
        }
        QCOMPARE(made.join(" ; "), calls);
        QCOMPARE(report.line, line);
        QCOMPARE(report.outcomeText(), line.contains("not set") ? "partly applied" : "applied");
    }

    // A profile's DNS is checked with the rest of it, before anything runs.
    void refusesMalformedDns_data()
    {
        QTest::addColumn<QString>("dns");
        QTest::addColumn<QString>("search");
        QTest::addColumn<QString>("problem");
        QTest::newRow("IPv6 compressed") << "fe80::1\n::1"
                                         << ""
                                         << "";
        QTest::newRow("a scope id") << "fe80::1%en0"
                                    << ""
                                    << "the DNS server \"fe80::1%en0\" is not an IPv4 or IPv6 address";
        QTest::newRow("no octet") << "256.1.1.1"
                                  << ""
                                  << "the DNS server \"256.1.1.1\" is not an IPv4 or IPv6 address";
        QTest::newRow("a trailing dot") << ""
                                        << "lab.example."
                                        << "the search domain \"lab.example.\" is not a domain name";
        QTest::newRow("a 64-character label")
            << "" << QString(64, 'a') + ".example"
            << "the search domain \"" + QString(64, 'a') + ".example\" is not a domain name";
    }

    void refusesMalformedDns()
    {
        QFETCH(QString, dns);
        QFETCH(QString, search);
        QFETCH(QString, problem);
        Profile chosen = intercom;
        chosen.dns = dns;
        chosen.search = search;
        QCOMPARE(changeFor("Lab", chosen, 201, {}).problem, problem);
    }

    // The services in the order the user set, whether the commands after the listing run one by one or at
    // once; the machines cover disabled services, two services on one device and odd names.
    void readsTheSameAtOnceAsOneByOne_data()
    {
        QTest::addColumn<QString>("services");
        QTest::newRow("two services on one device")
            << "1|Ethernet|Ethernet|en0|1|manual|10.1.1.2|255.255.0.0|\n"
               "2|Ethernet Office|Ethernet|en0|1|dhcp|10.2.0.9|255.255.255.0|10.2.0.1\n";
        QString eight;
        for (int i = 1; i <= 8; ++i)
            eight += QString("%1|Lab \"%1\" (H%1)|USB LAN|en%2|%3|manual|10.0.%1.2|255.255.255.0|\n")
                         .arg(i)
                         .arg(9 - i)
                         .arg(i % 3 ? 1 : 0);
        QTest::newRow("eight, some disabled, listed against device order") << eight;
        QString twenty;
        for (int i = 1; i <= 20; ++i)
            twenty += QString("%1|Dock, port %1|Dock|en%1|1|dhcp|||\n").arg(i);
        QTest::newRow("twenty, more than run at once") << twenty;
    }

    void readsTheSameAtOnceAsOneByOne()
    {
        QFETCH(QString, services);
        FakeMac mac;
        mac.setServices(services);
        const QStringList oneByOne = flatten(readMachine(nullptr, 30000, 1));
        QCOMPARE(flatten(readMachine()), oneByOne);
        QCOMPARE(oneByOne.size(), services.count('\n') + 1);
        QCOMPARE(oneByOne.constFirst(), "ok ");
    }

    // A service whose -getinfo never answers is told as such; the others are read, in order.
    void readsTheOthersWhenOneServiceHangs()
    {
        FakeMac mac;
        mac.setHold("Wi-Fi");
        const MachineReading reading = readMachine(nullptr, 1000);
        QCOMPARE(flatten(reading),
                 (QStringList{"ok ", "Ethernet|en0|Ethernet|manual|192.168.1.201|255.255.255.0|192.168.1.1|",
                              "Wi-Fi|en1|Wi-Fi|none||||networksetup -getinfo Wi-Fi did not answer "
                              "within 1 s",
                              "USB 10/100/1000 LAN|en5|USB 10/100/1000 LAN|dhcp||||",
                              "iPhone USB|en6|iPhone USB|dhcp||||"}));
        QCOMPARE(reading.find("Wi-Fi")->reading.text(), "networksetup did not answer within 1 s");

        // Without its listing, nothing is read.
        mac.setHold("-listnetworkserviceorder");
        const MachineReading nothing = readMachine(nullptr, 1000);
        QCOMPARE(flatten(nothing), QStringList{"timed out networksetup -listnetworkserviceorder did not answer within "
                                               "1 s"});
        mac.release();
        mac.setFailure("silent");
        QCOMPARE(flatten(readMachine()),
                 QStringList{"failed networksetup -listnetworkserviceorder failed: it printed nothing"});
    }

    // A reading the user asks for cancels one that hangs in the background, and only the newer is reported.
    void neverWaitsBehindOrShowsAStaleReading()
    {
        FakeMac mac;
        Switcher switcher(ConfigManager{});
        QSignalSpy readings(&switcher, &Switcher::readingFinished);
        mac.setHold("ifconfig");
        switcher.read(false);
        QTRY_COMPARE(mac.calls().count(QStringList{"ifconfig"}), 1);
        mac.setServices(mac.services().replace("10.0.0.23", "10.0.0.99"));
        switcher.read(true);
        // Only a reading that no longer waits for the first one reaches ifconfig again.
        QTRY_COMPARE(mac.calls().count(QStringList{"ifconfig"}), 2);
        mac.release();
        QTRY_VERIFY(!switcher.isReading());
        QCOMPARE(readings.size(), 1);
        QCOMPARE(readings.first().at(1).toBool(), true);
        QCOMPARE(switcher.reading().find("Wi-Fi")->address.toString(), "10.0.0.99");
        QVERIFY(!switcher.isBusy());
    }

    // A quit lets the change under way end, and drops the one waiting behind it.
    void quitEndsTheChangeUnderWayAndDropsTheNext()
    {
        FakeMac mac;
        auto switcher = std::make_unique<Switcher>(ConfigManager{});
        mac.setHold("-setmanual");
        switcher->apply(change("Wi-Fi", intercom));
        switcher->apply(Change::toDhcp("Ethernet"));
        QTRY_COMPARE(
            mac.calls().count(QStringList{"networksetup", "-setmanual", "Wi-Fi", "192.168.3.201", "255.255.255.0", ""}),
            1);
        QVERIFY(switcher->isChanging());
        std::atomic<bool> destroying{false};
        std::thread release([&] {
            while (!destroying)
                std::this_thread::yield();
            mac.release();
        });
        destroying = true;
        switcher.reset();
        release.join();
        QVERIFY(mac.services().contains("|Wi-Fi|Wi-Fi|en1|1|manual|192.168.3.201|255.255.255.0|\n"));
        QCOMPARE(mac.calls().count(QStringList{"networksetup", "-setdhcp", "Ethernet"}), 0);
    }

    // Once the prompt was needed, later changes go to it straight away.
    void asksTheAdministratorOnceNeeded()
    {
        FakeMac mac;
        Switcher switcher(ConfigManager{});
        mac.setFailure("admin");
        QCOMPARE(switcher.applyNow(Change::toDhcp("Ethernet")).outcome, ChangeReport::Outcome::Applied);
        mac.clearCalls();
        QCOMPARE(switcher.applyNow(change("Wi-Fi", laNetwork)).outcome, ChangeReport::Outcome::Applied);
        QCOMPARE(mac.calls().constFirst().constFirst(), "osascript");
        Switcher plain(ConfigManager{});
        plain.setAskAdmin(false);
        QCOMPARE(plain.applyNow(Change::toDhcp("Ethernet")).outcome, ChangeReport::Outcome::Applied);
        QCOMPARE(plain.applyNow(change("Ethernet", intercom)).outcome, ChangeReport::Outcome::Refused);
    }
};

QTEST_GUILESS_MAIN(TestCore)
#include "tst_core.moc"
