#include "app/mainwindow.h"

#include "cli/cli.h"
#include "tests/common/boxanswerer.h"
#include "tests/common/session.h"

#include <QtWidgets>

#include <thread>

namespace {

const QString success = "NoIcon; Success; It's done!";
const QString adminRefusal = "** Error: Command requires admin privileges.";

// What the machine was asked to change, " ; " between calls: "-setdhcp|Wi-Fi", and for the administrator
// prompt "osascript|<its arguments after the script>".
QString changes(const FakeMac& mac)
{
    QStringList result;
    for (const QStringList& call : mac.calls()) {
        if (call.first() == "osascript")
            result.append("osascript|" + call.mid(call.indexOf("--") + 1).join(u'|'));
        else if (call.value(1).startsWith("-set"))
            result.append(call.mid(1).join(u'|'));
    }
    return result.join(" ; ");
}

// The window over a fresh simulated Mac and store, shown and active; `prepare` edits the store first.
struct Session : StoreSession, BoxAnswerer
{
    // `hold`: the commands it names wait at the simulated Mac's gate from the start (every one when empty);
    // `timeoutMs`: how long a command may take, from the first reading on.
    explicit Session(const std::function<void(ConfigManager&)>& prepare = {}, const char* hold = nullptr,
                     int timeoutMs = 0)
    {
        ConfigManager& store = start();
        if (prepare)
            prepare(store);
        plan = {QMessageBox::Yes, QMessageBox::Yes};
        if (hold)
            mac.setHold(hold);
        window = std::make_unique<MainWindow>();
        runner = window->findChild<Switcher*>();
        if (timeoutMs)
            runner->setTimeout(timeoutMs);
        refresh = window->findChild<QTimer*>(QString(), Qt::FindDirectChildrenOnly);
        refresh->stop(); // a test starts the refresh itself when it wants one
        window->show();
        QCoreApplication::processEvents(); // the first reading starts from the event loop
        if (!hold || timeoutMs)
            idle();
    }
    void idle() { QTRY_VERIFY_WITH_TIMEOUT(!runner->isBusy() && !runner->isReading(), 20000); }
    template <typename T = QWidget> T* child(const QString& name) { return window->findChild<T*>(name); }
    // A choice made by the user: Qt reports it with activated(), which a choice made by code never emits.
    void choose(const char* combo, const QString& text)
    {
        auto* box = child<QComboBox>(combo);
        QVERIFY2(box->findText(text) >= 0, qPrintable(text));
        box->setCurrentText(text);
        emit box->activated(box->currentIndex());
    }
    // Sent to the window made active again: the offscreen platform hands activation back to no one when a
    // notice or dialog closes.
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::ControlModifier, QWidget* to = nullptr)
    {
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        QTest::keyClick(to ? to : window.get(), key, modifiers);
    }
    QString items(const char* combo)
    {
        QStringList texts;
        for (int i = 0; i < child<QComboBox>(combo)->count(); ++i)
            texts.append(child<QComboBox>(combo)->itemText(i));
        return texts.join(", ");
    }
    // The whole window on one line: the service's device and fields, then the spin boxes ("*" after an
    // enabled one) and the router tick ("-" when disabled): "en0 192.168.1.201 ... | 0.0.0.0 ... | -[ ]".
    QString shown()
    {
        QString text = child<QLabel>("iface_label_hardware")->text();
        const QList<QWidget*> boxes = window->findChildren<QWidget*>(QRegularExpression("^(lin|sb_)"));
        for (int i = 0; i < boxes.size(); ++i) {
            const auto* box = qobject_cast<QSpinBox*>(boxes[i]);
            text += QString(i == 12 ? " | "
                            : i % 4 ? "."
                                    : " ") +
                    (box ? QString::number(box->value()) + (box->isEnabled() ? "*" : "")
                         : static_cast<QLineEdit*>(boxes[i])->text());
        }
        const auto* router = child<QCheckBox>("checkBoxRouter");
        return text + " | " + (router->isEnabled() ? "" : "-") + (router->isChecked() ? "[x]" : "[ ]");
    }
    // The fields of the chosen service alone: "192.168.1.201 255.255.255.0 192.168.1.1".
    QString fields() { return shown().section(' ', 1, 3); }
    // How often the machine received exactly this call: command and arguments, tab-separated.
    int count(const QString& call) const
    {
        int found = 0;
        for (const QStringList& line : mac.calls())
            found += line.join(u'\t') == call;
        return found;
    }
    std::unique_ptr<MainWindow> window;
    Switcher* runner;
    QTimer* refresh;
};

} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void init() { QDir::setCurrent(workDir.path()); } // where a command injected through a name would write

    void appliesTheChosenProfile_data()
    {
        QTest::addColumn<QString>("networkId");
        QTest::addColumn<QString>("service");
        QTest::addColumn<QString>("profile");
        QTest::addColumn<int>("host");      // typed by the user; 0 keeps the stored host number
        QTest::addColumn<int>("router");    // the router's last octet, typed after ticking; 0 leaves it unticked
        QTest::addColumn<QString>("fail");  // the simulated Mac's failure switch
        QTest::addColumn<bool>("onStdout"); // refusals printed on standard output, as the real command does
        QTest::addColumn<bool>("cancel");   // the administrator prompt is dismissed
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QString>("changes");
        QTest::addColumn<QString>("notice");
        QTest::addColumn<QString>("fields");
        const auto row = [](const char* name, const QString& service, const QString& profile, const QString& shown,
                            const QString& changes, const QString& notice, const QString& fields, int host = 0,
                            int router = 0, const QString& fail = {}, bool onStdout = false, bool cancel = false,
                            const QString& networkId = "201") {
            QTest::newRow(name) << networkId << service << profile << host << router << fail << onStdout << cancel
                                << shown << changes << notice << fields;
        };
        const QString ethernetDhcp = "en0 192.168.1.201 255.255.255.0 192.168.1.1 | 0.0.0.0 0.0.0.0 0.0.0.1 | -[ ]";
        const QString wifiLa = "en1 10.0.0.23 255.255.255.0 10.0.0.1 | 192.168.1.201* 255.255.255.0 192.168.1.1 | [ ]";
        const QString ethernetApipa =
            "en0 192.168.1.201 255.255.255.0 192.168.1.1 | 169.254.0.201* 255.255.0.0 169.254.0.1 | [ ]";
        const QString apipaChange = "-setdhcp|Ethernet ; -setmanual|Ethernet|169.254.0.201|255.255.0.0|";

        row("DHCP gets a lease", "Ethernet", "DHCP", ethernetDhcp, "-setdhcp|Ethernet", success,
            "10.0.1.100 255.255.255.0 10.0.1.1");
        row("no router, name with slashes", "USB 10/100/1000 LAN", "LA-Network",
            "en5 ... ... ... | 192.168.1.201* 255.255.255.0 192.168.1.1 | [ ]",
            "-setdhcp|USB 10/100/1000 LAN ; -setmanual|USB 10/100/1000 LAN|192.168.1.201|255.255.255.0|", success,
            "192.168.1.201 255.255.255.0 ...");
        row("own host number and router", "iPhone USB", "Management",
            "en6 ... ... ... | 192.168.0.201* 255.255.254.0 192.168.0.1 | [ ]",
            "-setdhcp|iPhone USB ; -setmanual|iPhone USB|192.168.0.42|255.255.254.0|192.168.0.254", success,
            "192.168.0.42 255.255.254.0 192.168.0.254", 42, 254);

        // Refused for rights: the same change once more through the system's prompt, both commands in one call.
        row("without rights, through the prompt", "Ethernet", "APIPA-FIX", ethernetApipa,
            "-setdhcp|Ethernet ; osascript|Ethernet|169.254.0.201|255.255.0.0| ; " + apipaChange, success,
            "169.254.0.201 255.255.0.0 ...", 0, 0, "admin");
        row("without rights, refusal on standard output, with a router", "Wi-Fi", "LA-Network", wifiLa,
            "-setdhcp|Wi-Fi ; osascript|Wi-Fi|192.168.1.201|255.255.255.0|192.168.1.1 ; -setdhcp|Wi-Fi ; "
            "-setmanual|Wi-Fi|192.168.1.201|255.255.255.0|192.168.1.1",
            success, "192.168.1.201 255.255.255.0 192.168.1.1", 0, 1, "admin", true);
        row("prompt dismissed", "Ethernet", "APIPA-FIX", ethernetApipa,
            "-setdhcp|Ethernet ; osascript|Ethernet|169.254.0.201|255.255.0.0|",
            "NoIcon; Not applied; Ethernet now uses 192.168.1.201 mask 255.255.255.0, router 192.168.1.1: the fixed "
            "address was not set because the administrator prompt was dismissed.",
            "192.168.1.201 255.255.255.0 192.168.1.1", 0, 0, "admin", false, true);

        // A refusal after the switch to DHCP: the service reads DHCP, the address is refused.
        row("address refused after the switch to DHCP", "Ethernet", "APIPA-FIX", ethernetApipa, apipaChange,
            "NoIcon; Partly applied; Ethernet now uses DHCP: the fixed address was not set because networksetup "
            "-setmanual refused it: ** Error: 169.254.0.201 is not a valid IP address.",
            "10.0.1.100 255.255.255.0 10.0.1.1", 0, 0, "invalid");
    }

    void appliesTheChosenProfile()
    {
        QFETCH(QString, networkId);
        QFETCH(QString, service);
        QFETCH(QString, profile);
        QFETCH(int, host);
        QFETCH(int, router);
        QFETCH(QString, fail);
        QFETCH(bool, onStdout);
        QFETCH(bool, cancel);
        QFETCH(QString, shown);
        QFETCH(QString, changes);
        QFETCH(QString, notice);
        QFETCH(QString, fields);
        Session s([&](ConfigManager& store) {
            store.addEntry("Broken",
                           {{"address", "172.16.4.0"}, {"mask", "255.255.252.0"}, {"gateway", "172.16.4.256"}});
            store.addEntry("Elsewhere", {{"address", "10.9.0.0"}, {"mask", "255.255.0.0"}, {"gateway", "10.8.0.254"}});
            store.updateSetting("default_network_id", networkId);
        });
        s.choose("comboBoxInterface", service);
        if (router) {
            // The tick unlocks the last router box only; another profile locks it again but keeps the tick.
            s.choose("comboBoxProfil", "Intercom");
            QTest::mouseClick(s.child("checkBoxRouter"), Qt::LeftButton);
            QVERIFY(s.shown().endsWith("192.168.3.1* | [x]"));
            QTRY_VERIFY(s.child("sb_router_4")->hasFocus());
        }
        s.choose("comboBoxProfil", profile);
        QCOMPARE(s.shown(), router ? QString(shown).replace("[ ]", "[x]") : shown);
        if (host)
            s.child<QSpinBox>("sb_addr_4")->setValue(host);
        if (router) {
            s.child<QCheckBox>("checkBoxRouter")->click();
            s.child<QCheckBox>("checkBoxRouter")->click();
            s.child<QSpinBox>("sb_router_4")->setValue(router);
        }
        s.mac.setFailure(fail);
        s.mac.setErrorsToStdout(onStdout);
        s.mac.setPrompt(cancel ? "cancel" : "");
        s.mac.clearCalls();
        s.key(Qt::Key_E);
        QTRY_COMPARE_WITH_TIMEOUT(s.seen, QStringList{notice}, 20000);
        QCOMPARE(::changes(s.mac), changes);
        // The fields show the machine as it is now; the choices stay as the user left them.
        QCOMPARE(s.fields(), fields);
        QCOMPARE(s.child<QComboBox>("comboBoxProfil")->currentText(), profile);
        QCOMPARE(s.window->focusWidget(), s.child("comboBoxInterface"));
    }

    // Whatever a service name holds, it reaches the system as that one name, through the prompt too.
    void changesExactlyTheNamedService_data()
    {
        QTest::addColumn<QString>("name");
        for (const char* name : {"Lab LAN", "USB 10/100/1000 LAN", "Bob's LAN", "\"Quoted\" LAN", "Back\\slash",
                                 "$(touch x)", "a; touch x", "Réseau", "-setdhcp"})
            QTest::newRow(name) << QString::fromUtf8(name);
    }

    void changesExactlyTheNamedService()
    {
        QFETCH(QString, name);
        Session s;
        s.mac.setServices(s.mac.services().replace("USB 10/100/1000 LAN", name));
        s.key(Qt::Key_R);
        QTRY_COMPARE(s.seen.size(), 1);
        s.choose("comboBoxInterface", name);
        s.choose("comboBoxProfil", "Intercom");
        s.mac.setFailure("admin");
        s.mac.clearCalls();
        s.key(Qt::Key_E);
        QTRY_COMPARE_WITH_TIMEOUT(s.seen.size(), 2, 20000);
        QCOMPARE(s.seen.last(), success);
        const QString change = "-setdhcp|" + name + " ; -setmanual|" + name + "|192.168.3.201|255.255.255.0|";
        QCOMPARE(changes(s.mac), "-setdhcp|" + name + " ; osascript|" + name + "|192.168.3.201|255.255.255.0| ; " +
                                     change.section(" ; ", 0, 0) + " ; " + change.section(" ; ", 1));
        QVERIFY(s.mac.services().contains("|" + name + "|" + name + "|en5|1|manual|192.168.3.201|"));
        QVERIFY(QDir::current().isEmpty() && !QFile::exists(s.mac.stateDir() + "/x"));
    }

    // The window and the command line build a change by one rule: the same commands, the same refusals.
    void frontEndsAgree_data()
    {
        QTest::addColumn<QString>("profile");
        QTest::addColumn<int>("host");
        QTest::addColumn<int>("router"); // the router's last octet; 0: none; -1: the one proposed
        QTest::addColumn<QString>("outcome");
        QTest::newRow("no router") << "LA-Network" << 42 << 0
                                   << "-setdhcp|Wi-Fi ; -setmanual|Wi-Fi|192.168.1.42|255.255.255.0|";
        QTest::newRow("proposed router") << "Intercom" << 7 << -1
                                         << "-setdhcp|Wi-Fi ; -setmanual|Wi-Fi|192.168.3.7|255.255.255.0|192.168.3.1";
        QTest::newRow("host 0 inside a /23") << "Upper half" << 0 << 254
                                             << "-setdhcp|Wi-Fi ; -setmanual|Wi-Fi|192.168.1.0|255.255.254.0|"
                                                "192.168.1.254";
        QTest::newRow("host 255 inside a /23")
            << "Management" << 255 << 0 << "-setdhcp|Wi-Fi ; -setmanual|Wi-Fi|192.168.0.255|255.255.254.0|";
        QTest::newRow("host 255 under a /24")
            << "LA-Network" << 255 << 0
            << "192.168.1.255 is the broadcast address under the mask 255.255.255.0; choose another host number";
        QTest::newRow("network's own address")
            << "LA-Network" << 0 << 0
            << "192.168.1.0 is the network's own address under the mask 255.255.255.0; choose another host number";
        QTest::newRow("broadcast address")
            << "Lower half" << 127 << -1
            << "192.168.1.127 is the broadcast address under the mask 255.255.255.128; choose another host number";
        QTest::newRow("mask with a gap")
            << "Gap" << 9 << 0 << "the mask \"255.0.255.0\" is not a subnet mask: its one bits must come first";
        QTest::newRow("not a network") << "Nowhere" << 9 << 0
                                       << "the profile's network \"10.1.300.0\" is not an IPv4 address";
    }

    void frontEndsAgree()
    {
        QFETCH(QString, profile);
        QFETCH(int, host);
        QFETCH(int, router);
        QFETCH(QString, outcome);
        const auto prepare = [](ConfigManager& store) {
            store.addEntry("Gap", {{"address", "10.1.2.0"}, {"mask", "255.0.255.0"}});
            store.addEntry("Nowhere", {{"address", "10.1.300.0"}, {"mask", "255.255.255.0"}});
            store.addEntry("Upper half", {{"address", "192.168.1.0"}, {"mask", "255.255.254.0"}});
            store.addEntry("Lower half", {{"address", "192.168.1.0"}, {"mask", "255.255.255.128"}});
        };
        Session s(prepare);
        s.choose("comboBoxInterface", "Wi-Fi");
        s.choose("comboBoxProfil", profile);
        s.child<QSpinBox>("sb_addr_4")->setValue(host);
        if (router) {
            s.child<QCheckBox>("checkBoxRouter")->click();
            if (router > 0)
                s.child<QSpinBox>("sb_router_4")->setValue(router);
        }
        s.mac.clearCalls();
        const bool refused = !outcome.startsWith("-set");
        // A choice the rules refuse cannot be applied: the reason stands beside the host number.
        QCOMPARE(s.child<QLabel>("label_host_problem")->text(), refused ? outcome : QString());
        QCOMPARE(s.child("execButton")->isEnabled(), !refused);
        s.key(Qt::Key_E);
        if (!refused)
            QTRY_COMPARE(s.seen.size(), 1);
        s.idle();
        QCOMPARE(changes(s.mac), refused ? QString() : outcome);

        s.mac.clearCalls();
        QStringList arguments{"tarnwick-cli", "apply", "Wi-Fi", profile, "--host", QString::number(host)};
        if (router)
            arguments << "--router";
        if (router > 0)
            arguments << s.shown().section(" | ", 1, 1).section(' ', 2, 2).remove(u'*');
        QString out;
        QString err;
        QTextStream outStream(&out);
        QTextStream errStream(&err);
        QCOMPARE(Cli::run(arguments, outStream, errStream, {1000, {}, {}}), refused ? 2 : 0);
        QCOMPARE(refused ? err.trimmed() : changes(s.mac), refused ? "tarnwick-cli: " + outcome : outcome);
    }

    // Forbidden services are offered by neither front end.
    void leavesOutForbiddenServices()
    {
        Session s([](ConfigManager& store) { store.updateSetting("forbidden_interfaces", "Wi-Fi, iPhone USB"); });
        QCOMPARE(s.items("comboBoxInterface"), "Ethernet, USB 10/100/1000 LAN");
        QString out;
        QString err;
        QTextStream outStream(&out);
        QTextStream errStream(&err);
        QCOMPARE(Cli::run({"tarnwick-cli", "status"}, outStream, errStream, {1000, {}, {}}), 0);
        outStream.flush();
        QVERIFY(out.contains("Ethernet") && !out.contains("Wi-Fi") && !out.contains("iPhone"));
        s.mac.clearCalls();
        QCOMPARE(Cli::run({"tarnwick-cli", "dhcp", "Wi-Fi"}, outStream, errStream, {1000, {}, {}}), 2);
        QCOMPARE(changes(s.mac), "");
    }

    // The window is there before any command has run; the first reading then fills it in.
    void showsAtOnceThenFillsIn()
    {
        Session s({}, "");
        QVERIFY(s.window->isVisible());
        QTRY_COMPARE(s.mac.calls().size(), 1); // the reading's first command, held at the gate
        QCOMPARE(s.items("comboBoxProfil"), "DHCP, LA-Network, Intercom, Management, APIPA-FIX");
        QVERIFY(!s.child("comboBoxInterface")->isEnabled() && !s.child("execButton")->isEnabled());
        QCOMPARE(s.fields(), "... ... ...");
        s.mac.release();
        s.idle();
        QCOMPARE(s.items("comboBoxInterface"), "Ethernet, Wi-Fi, USB 10/100/1000 LAN, iPhone USB");
        QVERIFY(s.child("comboBoxInterface")->isEnabled() && s.child("execButton")->isEnabled());
        QCOMPARE(s.shown(), "en0 192.168.1.201 255.255.255.0 192.168.1.1 | 0.0.0.0 0.0.0.0 0.0.0.1 | -[ ]");
        QCOMPARE(s.count("networksetup\t-listnetworkserviceorder"), 1);

        // A machine without a service says so, and nothing can be applied.
        s.mac.setServices("");
        s.key(Qt::Key_R);
        QTRY_COMPARE(s.seen.size(), 1);
        QCOMPARE(s.items("comboBoxInterface"), "No network service found");
        QVERIFY(!s.child("comboBoxInterface")->isEnabled() && !s.child("execButton")->isEnabled());
    }

    // Every refill reads the machine once and keeps the service and profile chosen, so the next Ctrl+E
    // still applies to them.
    void refillsKeepTheChoice_data()
    {
        QTest::addColumn<QString>("action");
        QTest::addColumn<QString>("profiles");
        QTest::newRow("reload") << "actionReloadData"
                                << "DHCP, LA-Network, Intercom, Management, APIPA-FIX";
        QTest::newRow("profile manager") << "actionManageProfiles"
                                         << "DHCP, LA-Network, Management, APIPA-FIX, Lab";
        QTest::newRow("settings") << "actionSettings"
                                  << "DHCP, LA-Network, Intercom, Management, APIPA-FIX";
        QTest::newRow("restore default") << "actionRestoreDefault"
                                         << "DHCP, LA-Network, Intercom, Management, APIPA-FIX";
    }

    void refillsKeepTheChoice()
    {
        QFETCH(QString, action);
        QFETCH(QString, profiles);
        Session s([](ConfigManager& store) { store.updateSetting("default_network_id", "42"); });
        s.choose("comboBoxInterface", "Wi-Fi");
        s.choose("comboBoxProfil", "LA-Network");
        s.child<QSpinBox>("sb_addr_4")->setValue(7);
        s.mac.setServices(s.mac.services().replace("10.0.0.23", "10.0.0.99"));
        // The profile manager gets a new profile and loses one; the settings dialog a new host number.
        QTimer user;
        connect(&user, &QTimer::timeout, this, [&] {
            auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
            if (!dialog || qobject_cast<QMessageBox*>(dialog))
                return;
            user.stop();
            if (auto* list = dialog->findChild<QListWidget*>("listProfiles")) {
                list->setCurrentRow(1);
                dialog->findChild<QPushButton*>("buttonDelete")->click();
                dialog->findChild<QPushButton*>("buttonAdd")->click();
                dialog->findChild<QLineEdit*>("lineEditName")->setText("Lab");
                dialog->findChild<QLineEdit*>("lineEditAddress")->setText("10.5.0.0");
                dialog->findChild<QLineEdit*>("lineEditMask")->setText("255.255.0.0");
                dialog->findChild<QPushButton*>("buttonSave")->click();
            } else {
                dialog->findChild<QSpinBox*>("spinBoxNetworkId")->setValue(9);
                dialog->findChild<QPushButton*>("buttonSave")->click();
            }
            dialog->close();
        });
        user.start(10);
        s.mac.clearCalls();
        s.plan = {QMessageBox::RestoreDefaults};
        s.child<QAction>(action)->trigger();
        s.idle();
        QCOMPARE(s.count("networksetup\t-listnetworkserviceorder"), 1);
        QCOMPARE(s.count("ifconfig"), 1);
        QCOMPARE(s.items("comboBoxProfil"), profiles);
        QCOMPARE(s.child<QComboBox>("comboBoxInterface")->currentText(), "Wi-Fi");
        QCOMPARE(s.child<QComboBox>("comboBoxProfil")->currentText(), "LA-Network");
        // The spin boxes are filled again for the profile: the host number typed before is gone.
        // Reload keeps the host number typed; the dialogs and restore fill the profile in again.
        const QString host = action == "actionSettings"         ? "9"
                             : action == "actionRestoreDefault" ? "201"
                             : action == "actionReloadData"     ? "7"
                                                                : "42";
        QCOMPARE(s.shown(),
                 "en1 10.0.0.99 255.255.255.0 10.0.0.1 | 192.168.1." + host + "* 255.255.255.0 192.168.1.1 | [ ]");
        s.mac.clearCalls();
        s.key(Qt::Key_E);
        QTRY_VERIFY(s.seen.contains(success));
        QCOMPARE(changes(s.mac), "-setdhcp|Wi-Fi ; -setmanual|Wi-Fi|192.168.1." + host + "|255.255.255.0|");
    }

    // A file that could not be read is named at start, and kept as it was when restore default replaces it.
    void warnsOfAnUnreadableFile()
    {
        const QByteArray broken = "<root><config><name>Lab</name><address>10.1.2.0</address>";
        Session s([&broken](ConfigManager&) {
            QFile file(QDir::homePath() + "/Library/Tarnwick/config.xml");
            QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(broken) == broken.size());
        });
        QTRY_COMPARE(s.seen.size(), 1);
        QVERIFY2(s.seen.first().startsWith("NoIcon; Profiles not read; The configuration file is damaged at line 1"),
                 qPrintable(s.seen.first()));
        QVERIFY(s.seen.first().endsWith("a copy of it will be kept beside it before anything replaces it."));
        s.plan = {QMessageBox::RestoreDefaults};
        s.key(Qt::Key_R, Qt::ControlModifier | Qt::ShiftModifier);
        QTRY_COMPARE(s.seen.size(), 3);
        const QString copy = s.seen.last().section(" kept in ", 1);
        QVERIFY2(copy.startsWith(s.path + ".unreadable-"), qPrintable(s.seen.last()));
        QCOMPARE(StoreSession::read(copy), broken);
    }

    // Each service shows its own device and DNS, even when one name begins with another.
    void showsTheServiceOfThatExactName()
    {
        Session s;
        s.mac.setServices("1|USB 10/100/1000 LAN 2|USB 10/100/1000 LAN|en5|1|manual|10.2.2.2|255.255.0.0|10.2.0.1|"
                          "9.9.9.9 2001:db8::53|lab.example\n"
                          "2|USB 10/100/1000 LAN|USB 10/100/1000 LAN|en7|1|manual|10.1.1.1|255.255.255.0|10.1.1.254\n");
        s.key(Qt::Key_R);
        QTRY_COMPARE(s.seen.size(), 1);
        const auto* dns = s.child<QLabel>("iface_label_dns");
        s.choose("comboBoxInterface", "USB 10/100/1000 LAN");
        QCOMPARE(s.shown().section(' ', 0, 3), "en7 10.1.1.1 255.255.255.0 10.1.1.254");
        QCOMPARE(dns->text(), "automatic");
        s.choose("comboBoxInterface", "USB 10/100/1000 LAN 2");
        QCOMPARE(s.shown().section(' ', 0, 3), "en5 10.2.2.2 255.255.0.0 10.2.0.1");
        QCOMPARE(dns->text(), "9.9.9.9, 2001:db8::53, search lab.example");
    }

    void startsRefreshesReloadsAndRestores()
    {
        Session s([](ConfigManager& store) { store.removeEntry("Intercom"); });
        QCOMPARE(s.window->windowTitle(), "Tarnwick 0.8.3");
        QCOMPARE(s.items("comboBoxProfil"), "DHCP, LA-Network, Management, APIPA-FIX");
        // The refresh follows the machine but leaves the lists alone.
        s.choose("comboBoxProfil", "LA-Network");
        s.mac.setServices(s.mac.services().replace("192.168.1.201", "172.20.1.9") +
                          "7|Lab Dock|USB 10/100/1000 LAN|en7|1|manual|10.1.1.5|255.255.0.0|\n");
        s.refresh->start(1);
        QTRY_VERIFY_WITH_TIMEOUT(s.shown().startsWith("en0 172.20.1.9 255.255.255.0 192.168.1.1 | 192.168.1.201*"),
                                 20000);
        s.refresh->stop();
        s.idle();
        QVERIFY(!s.items("comboBoxInterface").contains("Lab Dock"));
        s.key(Qt::Key_R);
        QTRY_COMPARE(s.seen.size(), 1);
        QCOMPARE(s.items("comboBoxInterface"), "Ethernet, Wi-Fi, USB 10/100/1000 LAN, iPhone USB, Lab Dock");
        const QByteArray before = s.file();
        // Restore asks first, with Cancel as the answer a stray Return gives.
        s.plan = {};
        s.key(Qt::Key_R, Qt::ControlModifier | Qt::ShiftModifier);
        QTRY_COMPARE(s.seen.size(), 2);
        QCOMPARE(s.seen.takeLast(),
                 "Question; Confirm Restore; Restore the default configuration?\nThis replaces all profiles and "
                 "settings. A copy of the current file is kept beside it, in " +
                     QFileInfo(s.path).absolutePath() + ", as \"config.xml.before-restore-<time>\".");
        QCOMPARE(s.file(), before);
        s.plan = {QMessageBox::RestoreDefaults};
        s.key(Qt::Key_R, Qt::ControlModifier | Qt::ShiftModifier);
        QTRY_COMPARE(s.seen.size(), 3);
        s.seen.removeAt(1);
        s.idle();
        QCOMPARE(s.items("comboBoxProfil"), "DHCP, LA-Network, Intercom, Management, APIPA-FIX");
        QCOMPARE(s.file(), StoreSession::read(StoreSession::defaultConfig));
        // The notice names the copy of the file it replaced.
        const QRegularExpression keptIn("^NoIcon; Success; Default configuration restored. Your previous profiles are "
                                        "kept in (" +
                                        QRegularExpression::escape(s.path) + "\\.before-restore-\\d{8}-\\d{6})$");
        QVERIFY2(keptIn.match(s.seen.value(1)).hasMatch(), qPrintable(s.seen.value(1)));
        QCOMPARE(StoreSession::read(keptIn.match(s.seen.value(1)).captured(1)), before);
        s.child<QAction>("actionAbout")->trigger();
        QCOMPARE(s.seen,
                 (QStringList{"NoIcon; Success; Network interface reloaded", s.seen.value(1),
                              "NoIcon; About; <h3>About Tarnwick</h3>; <p>Author : Tarnwick Developers</p><p>Mail : "
                              "<a href=\"mailto:tarnwick@example.org\">tarnwick@example.org</a></p><p>Version : "
                              "0.8.3 (Build on " +
                                  QString(__DATE__).simplified() + ")</p><p>Based on Qt " + qVersion() + ".</p>"}));
    }

    // Quitting cancels a reading at once: the gate never opens and no bound would end it, so only that does.
    void quitsAtOnceDuringAHungReading()
    {
        Session s;
        s.runner->setTimeout(24 * 3600 * 1000);
        s.mac.setHold("ifconfig");
        s.mac.clearCalls();
        s.refresh->start(1);
        QTRY_COMPARE(s.count("ifconfig"), 1);
        s.window.reset();
        QCOMPARE(s.count("ifconfig"), 1);
    }

    // A change the system never answers is an Error that says so, never "Success".
    void reportsAChangeThatDidNotFinish()
    {
        Session s;
        s.runner->setTimeout(1000);
        s.choose("comboBoxProfil", "Intercom");
        s.mac.setHold("-setmanual");
        s.key(Qt::Key_E);
        QTRY_COMPARE_WITH_TIMEOUT(s.seen.size(), 1, 20000);
        QCOMPARE(s.seen.first(), "NoIcon; No answer; Ethernet now uses DHCP: the fixed address was not set because "
                                 "networksetup -setmanual did not answer within 1 s.");
    }

    // Only Ctrl+E and the Apply button apply: no other key on any widget that takes focus changes the network.
    void appliesOnlyFromItsKey_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<bool>("applies");
        QTest::newRow("Backspace") << int(Qt::Key_Backspace) << int(Qt::NoModifier) << false;
        QTest::newRow("Delete") << int(Qt::Key_Delete) << int(Qt::NoModifier) << false;
        QTest::newRow("Return") << int(Qt::Key_Return) << int(Qt::NoModifier) << false;
        QTest::newRow("Enter") << int(Qt::Key_Enter) << int(Qt::KeypadModifier) << false;
        QTest::newRow("Space") << int(Qt::Key_Space) << int(Qt::NoModifier) << false;
        QTest::newRow("Ctrl+E") << int(Qt::Key_E) << int(Qt::ControlModifier) << true;
    }

    void appliesOnlyFromItsKey()
    {
        QFETCH(int, key);
        QFETCH(int, modifiers);
        QFETCH(bool, applies);
        Session s;
        s.choose("comboBoxInterface", "Wi-Fi");
        s.choose("comboBoxProfil", "Intercom");
        QTest::mouseClick(s.child("checkBoxRouter"), Qt::LeftButton);
        QStringList widgets;
        for (QWidget* widget : s.window->findChildren<QWidget*>()) {
            if (widget->focusPolicy() & Qt::TabFocus && widget->isEnabled() && widget->isVisible() &&
                widget->objectName() != "execButton" && !widget->objectName().startsWith("qt_"))
                widgets.append(widget->objectName());
        }
        widgets.sort();
        QCOMPARE(widgets, (QStringList{"checkBoxRouter", "comboBoxInterface", "comboBoxProfil", "pushButton_reload",
                                       "sb_addr_4", "sb_router_4"}));
        for (const QString& name : std::as_const(widgets)) {
            s.mac.clearCalls();
            s.key(Qt::Key(key), Qt::KeyboardModifiers(modifiers), s.child(name));
            // A key that applies has started the change by the time it returns.
            QVERIFY2(s.runner->isChanging() == applies, qPrintable(name));
            s.idle();
            QTRY_COMPARE(s.seen.size(),
                         0 + (applies ? 1 : 0) + int(name == "pushButton_reload" && key == Qt::Key_Space));
            s.seen.clear();
            QVERIFY2(changes(s.mac).isEmpty() != applies, qPrintable(name + ": " + changes(s.mac)));
        }
    }

    // A close during a change waits for it; the administrator is still asked when the change needs it, and
    // a change that did not land is told before the window goes.
    void tellsTheChangeBeforeClosing_data()
    {
        QTest::addColumn<QString>("fail");
        QTest::addColumn<QString>("hold");
        QTest::addColumn<QStringList>("notices");
        QTest::addColumn<QString>("changes");
        QTest::newRow("refused for rights: the prompt still comes")
            << "admin"
            << "-setdhcp" << QStringList()
            << "-setdhcp|Wi-Fi ; osascript|Wi-Fi|192.168.3.201|255.255.255.0| ; -setdhcp|Wi-Fi ; "
               "-setmanual|Wi-Fi|192.168.3.201|255.255.255.0|";
        QTest::newRow("address refused")
            << "invalid"
            << "-setmanual"
            << QStringList{"NoIcon; Partly applied; Wi-Fi now uses DHCP: the fixed address was not set because "
                           "networksetup -setmanual refused it: ** Error: 192.168.3.201 is not a valid IP address."}
            << "-setdhcp|Wi-Fi ; -setmanual|Wi-Fi|192.168.3.201|255.255.255.0|";
    }

    void tellsTheChangeBeforeClosing()
    {
        QFETCH(QString, fail);
        QFETCH(QString, hold);
        QFETCH(QStringList, notices);
        QFETCH(QString, changes);
        Session s;
        s.choose("comboBoxInterface", "Wi-Fi");
        s.choose("comboBoxProfil", "Intercom");
        s.mac.setFailure(fail);
        s.mac.setHold(hold);
        s.mac.clearCalls();
        s.key(Qt::Key_E);
        QTRY_VERIFY(::changes(s.mac).contains(hold));
        QCOMPARE(s.window->statusBar()->currentMessage(),
                 "Applying Wi-Fi: 192.168.3.201 mask 255.255.255.0, no router…");
        QCOMPARE(QApplication::overrideCursor()->shape(), Qt::WaitCursor);
        for (const char* input : {"execButton", "pushButton_reload"})
            QVERIFY(!s.child(input)->isEnabled());
        QVERIFY(!s.child<QAction>("actionSettings")->isEnabled());
        s.key(Qt::Key_Q);
        QVERIFY(s.window->isVisible());
        s.mac.release();
        QTRY_VERIFY_WITH_TIMEOUT(!s.window->isVisible(), 20000);
        QCOMPARE(s.seen, notices);
        QCOMPARE(::changes(s.mac), changes);
        QCOMPARE(QApplication::overrideCursor(), nullptr);
    }

    // A reading that did not answer says so instead of showing empty fields, and the next good one fills the
    // window again, from Reload or from the refresh.
    void tellsAReadingThatDidNotAnswer()
    {
        Session s({}, "-listnetworkserviceorder", 1000);
        const auto* problem = s.child<QLabel>("iface_label_reading");
        QCOMPARE(s.items("comboBoxInterface"), "No network service found");
        QCOMPARE(problem->text(), "networksetup did not answer within 1 s");
        QCOMPARE(s.fields(), "... ... ...");

        // One service that does not answer: the others are shown, that one says so.
        s.mac.setHold("Wi-Fi");
        s.key(Qt::Key_R);
        QTRY_COMPARE_WITH_TIMEOUT(s.seen.size(), 1, 20000);
        QCOMPARE(s.seen.takeFirst(), "NoIcon; Partly reloaded; Network interface reloaded, but not every service "
                                     "could be read: Wi-Fi (networksetup did not answer within 1 s).");
        QCOMPARE(s.items("comboBoxInterface"), "Ethernet, Wi-Fi, USB 10/100/1000 LAN, iPhone USB");
        QCOMPARE(problem->text(), "");
        s.choose("comboBoxInterface", "Wi-Fi");
        QCOMPARE(problem->text(), "networksetup did not answer within 1 s");
        QCOMPARE(s.shown().section(' ', 0, 3), "en1 ... ... ...");

        // A reload that reads nothing says so; the refresh then fills the list again, on the same service.
        s.mac.setHold("-listnetworkserviceorder");
        s.key(Qt::Key_R);
        QTRY_COMPARE_WITH_TIMEOUT(s.seen.size(), 1, 20000);
        QCOMPARE(s.seen.takeFirst(), "NoIcon; Not reloaded; Nothing could be read: networksetup did not answer "
                                     "within 1 s.");
        QCOMPARE(s.items("comboBoxInterface"), "No network service found");
        s.mac.release();
        s.refresh->start(1);
        QTRY_VERIFY_WITH_TIMEOUT(s.child("comboBoxInterface")->isEnabled(), 20000);
        s.refresh->stop();
        s.idle();
        QCOMPARE(s.items("comboBoxInterface"), "Ethernet, Wi-Fi, USB 10/100/1000 LAN, iPhone USB");
        QCOMPARE(s.shown().section(' ', 0, 3), "en1 10.0.0.23 255.255.255.0 10.0.0.1");
        QCOMPARE(problem->text(), "");
    }

    // A change asked to be kept stands when kept and goes back at zero; Undo then goes one change further back.
    void keepsOrRevertsAndUndoes()
    {
        Session s([](ConfigManager& store) {
            store.updateSetting("ask_to_keep", "true");
            store.updateSetting("keep_seconds", "1");
        });
        // The question is answered while it counts: Keep the first time, nothing the second.
        QStringList asked;
        bool keep = true;
        s.custom = [&](QMessageBox* box) {
            if (box->windowTitle() != "Keep this setting?")
                return false;
            asked.append(box->text() + " " + box->informativeText());
            for (QAbstractButton* button : box->buttons()) {
                if (keep && button->text() == "Keep")
                    button->click();
            }
            keep = false;
            return true;
        };
        s.choose("comboBoxInterface", "Wi-Fi");
        QVERIFY(!s.child<QAction>("actionUndo")->isEnabled());
        s.choose("comboBoxProfil", "Intercom");
        s.key(Qt::Key_E);
        QTRY_COMPARE(asked, QStringList{"Wi-Fi now uses 192.168.3.201 mask 255.255.255.0, no router. It is reverted in "
                                        "1 s unless you keep it."});
        s.idle();
        s.choose("comboBoxProfil", "LA-Network");
        s.key(Qt::Key_E);
        // Left unanswered, the count ends and the change is undone.
        QTRY_COMPARE_WITH_TIMEOUT(s.seen,
                                  QStringList{"NoIcon; Undone; Wi-Fi now uses 192.168.3.201 mask 255.255.255.0, "
                                              "no router."},
                                  20000);
        s.idle();
        QCOMPARE(s.child<QAction>("actionUndo")->text(), "Undo Change to Wi-Fi");
        s.key(Qt::Key_Z);
        QTRY_COMPARE(s.seen.size(), 2);
        QCOMPARE(s.seen.last(), "NoIcon; Undone; Wi-Fi now uses DHCP.");
        s.idle();
        QVERIFY(!s.child<QAction>("actionUndo")->isEnabled());
        QVERIFY(s.mac.services().contains("|Wi-Fi|Wi-Fi|en1|1|dhcp|"));
    }

    // Profiles go out to a file and come back through the File menu, the file dialogs answered here.
    void exportsAndImportsProfiles()
    {
        Session s;
        const QString file = QDir(s.mac.homeDir()).filePath("profiles.xml");
        // Each file dialog is answered with the file; one that would not take it is closed, so that the test
        // fails rather than waits.
        QTimer dialogs;
        int tries = 0;
        connect(&dialogs, &QTimer::timeout, this, [&file, &tries] {
            for (QWidget* widget : QApplication::topLevelWidgets()) {
                auto* dialog = qobject_cast<QFileDialog*>(widget);
                if (!dialog || !dialog->isVisible())
                    continue;
                // Typed in, as a person would: selectFile() waits for the folder to be listed first.
                if (auto* name = dialog->findChild<QLineEdit*>("fileNameEdit"))
                    name->setText(file);
                QMetaObject::invokeMethod(dialog, ++tries < 300 ? "accept" : "reject");
            }
        });
        dialogs.start(10);
        s.child<QAction>("actionExportProfiles")->trigger();
        QTRY_COMPARE(s.seen, QStringList{"NoIcon; Exported; Exported 4 profiles to " + file + "."});
        // Back home, one profile is gone and another has other settings: the file brings them back.
        s.runner->config().removeEntry("Management");
        s.runner->config().updateEntry("Intercom", {{"address", "10.3.0.0"}, {"mask", "255.255.0.0"}});
        s.child<QAction>("actionImportProfiles")->trigger();
        QTRY_COMPARE(s.seen.size(), 3);
        QVERIFY(s.seen.at(1).startsWith("Question; Import Profiles; Some profiles in the file have names"));
        QCOMPARE(s.seen.at(2),
                 "NoIcon; Imported; \"LA-Network\" is already there.\nAdded \"Intercom (2)\": \"Intercom\" "
                 "exists with other settings.\nAdded \"Management\".\n\"APIPA-FIX\" is already there.");
        QCOMPARE(s.items("comboBoxProfil"), "DHCP, LA-Network, Intercom, APIPA-FIX, Intercom (2), Management");
    }

    // The refresh never starts a reading while the last one still runs: a hung command does not pile them up.
    void refreshesOneReadingAtATime()
    {
        Session s;
        s.mac.setHold("ifconfig");
        s.mac.clearCalls();
        int ticks = 0;
        connect(s.refresh, &QTimer::timeout, this, [&ticks] { ++ticks; });
        s.refresh->start(1);
        QTRY_VERIFY(ticks > 20 && s.count("ifconfig") == 1);
        s.refresh->stop();
        QCOMPARE(s.count("networksetup\t-listnetworkserviceorder"), 1);
        s.mac.release();
        s.idle();
    }

private:
    QTemporaryDir workDir;
};

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
