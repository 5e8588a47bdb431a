#include "tests/app/windowsession.h"

#include "config/configmanager.h"

Q_DECLARE_METATYPE(std::function<void(QDialog*)>)

namespace {

const QStringList defaultProfiles = {"DHCP", "LA-Network", "Intercom", "Management", "APIPA-FIX"};

struct Notice
{
    QString title, text, informativeText;
    QSize pixmapSize; // empty when the box had no picture
};

// Answers every modal message box that comes up while it lives: records it, then presses its button.
class NoticeAnswerer : public QObject
{
public:
    NoticeAnswerer()
    {
        connect(&poll, &QTimer::timeout, this, [this] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (!box || !box->isVisible())
                return;
            notices.append({box->windowTitle(), box->text(), box->informativeText(), box->iconPixmap().size()});
            lastBox = box;
            box->buttons().constFirst()->click();
        });
        poll.start(10);
    }

    // "title: text" of the one notice shown, or how many there were.
    QString only() const
    {
        return notices.size() == 1 ? notices[0].title + ": " + notices[0].text
                                   : QString("%1 notices").arg(notices.size());
    }

    QList<Notice> notices;
    QPointer<QMessageBox> lastBox;

private:
    QTimer poll;
};

void writeStore(const std::function<void(ConfigManager&)>& edit)
{
    ConfigManager store(QStringLiteral("config.xml"), QStringLiteral(":/resources/resources/default-config.xml"));
    edit(store);
}

// Plays the user's part in a modal dialog once it is up: `drive` acts on it, then Close ends it.
void whenDialogOpens(const QString& objectName, const std::function<void(QDialog*)>& drive)
{
    auto* poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, poll, [poll, objectName, drive] {
        auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        if (!dialog || dialog->objectName() != objectName)
            return;
        poll->stop();
        poll->deleteLater();
        if (drive)
            drive(dialog);
        if (dialog->isVisible())
            clickOn(dialog->findChild<QPushButton*>(QStringLiteral("buttonClose")));
    });
    poll->start(10);
}

void click(QDialog* dialog, const char* button)
{
    auto* widget = dialog->findChild<QPushButton*>(QLatin1String(button));
    QVERIFY2(widget, button);
    clickOn(widget);
}

void type(QDialog* dialog, const char* field, const QString& text)
{
    auto* widget = dialog->findChild<QLineEdit*>(QLatin1String(field));
    QVERIFY2(widget, field);
    QTest::keyClicks(widget, text);
}

} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT
private slots:
    void cleanup() { closeModals(); }
    void keepsTheFormsNamesPlacesAndSizes_data();
    void keepsTheFormsNamesPlacesAndSizes();
    void startsFrozenInTheDhcpStateWithMenusAndShortcuts();
    void showsTheChosenServiceFromTheMachine_data();
    void showsTheChosenServiceFromTheMachine();
    void fillsSpinBoxesFromTheChosenProfile_data();
    void fillsSpinBoxesFromTheChosenProfile();
    void routerCheckBoxUnlocksTheLastRouterOctet();
    void appliesTheChoiceAndReportsTheOutcome_data();
    void appliesTheChoiceAndReportsTheOutcome();
    void shortcutsReachTheirActions_data();
    void shortcutsReachTheirActions();
    void reloadRefillsListsButKeepsSpinBoxes();
    void restoreBringsBackTheDefaultProfiles();
    void aboutBoxNamesVersionAndBuild();
    void timerFollowsChangesMadeBehindTheWindow();
    void dialogsLeaveTheWindowRefilled_data();
    void dialogsLeaveTheWindowRefilled();
    void readOnlyFieldsSwallowPressesAndMoves_data();
    void readOnlyFieldsSwallowPressesAndMoves();
};

void TestMainWindow::keepsTheFormsNamesPlacesAndSizes_data()
{
    QTest::addColumn<QString>("layout");
    QTest::addColumn<QList<int>>("cell"); // row, column, row span, column span
    QTest::addColumn<QSize>("minimum");   // invalid: size not checked
    QTest::addColumn<QSize>("maximum");

    // The pieces the code reaches by name and those that break the form's pattern; the row tag is the name.
    const int U = QWIDGETSIZE_MAX;
    auto row = [](const char* name, const char* layout, QList<int> cell, QSize minimum = {}, QSize maximum = {}) {
        QTest::newRow(name) << QString(layout) << cell << minimum << maximum;
    };
    row("groupBox_2", "gridLayout", {0, 0, 1, 1});
    row("groupBox_3", "gridLayout", {1, 0, 1, 1});
    row("execButton", "gridLayout_2", {0, 0, 1, 1});
    row("comboBoxInterface", "gridLayout_4", {0, 3, 1, 4}, {0, 28}, {300, 28});
    row("pushButton_reload", "gridLayout_4", {0, 7, 1, 1}, {0, 0}, {50, U});
    row("iface_label_hardware", "gridLayout_4", {1, 3, 1, 2}, {0, 21}, {U, 21});
    row("label_122", "gridLayout_4", {2, 2, 1, 1}, {10, 0}, {9, 100}); // narrower than its minimum
    row("linEdit_router_1", "gridLayout_4", {4, 3, 1, 1}, {50, 0}, {50, U});
    row("comboBoxProfil", "gridLayout_6", {0, 3, 1, 5}, {0, 28}, {300, 28});
    row("sb_addr_1", "gridLayout_6", {1, 3, 1, 1}, {60, 24}, {60, 24});
    row("sb_addr_4", "gridLayout_6", {1, 6, 1, 1}, {60, 24}, {24, U}); // keeps its odd maximum
    row("label_5", "gridLayout_6", {1, 7, 1, 1}, {10, 20}, {10, 20});
    row("comboBox", "gridLayout_6", {1, 8, 1, 1}, {60, 21}, {60, 21});
    row("sb_router_4", "gridLayout_6", {3, 6, 1, 1}, {60, 24}, {60, 24});
    row("checkBoxRouter", "gridLayout_6", {3, 8, 1, 1}, {0, 0}, {20, U});
}

void TestMainWindow::keepsTheFormsNamesPlacesAndSizes()
{
    QFETCH(QString, layout);
    QFETCH(QList<int>, cell);
    QFETCH(QSize, minimum);
    QFETCH(QSize, maximum);

    Session s;
    auto* widget = s.child<QWidget>(QTest::currentDataTag());
    const int index = s.child<QGridLayout>(layout)->indexOf(widget);
    QVERIFY2(index >= 0, qPrintable("not in " + layout));
    int row, column, rowSpan, columnSpan;
    s.child<QGridLayout>(layout)->getItemPosition(index, &row, &column, &rowSpan, &columnSpan);
    QCOMPARE((QList<int>{row, column, rowSpan, columnSpan}), cell);
    if (minimum.isValid()) {
        QCOMPARE(widget->minimumSize(), minimum);
        QCOMPARE(widget->maximumSize(), maximum);
    }
}

void TestMainWindow::startsFrozenInTheDhcpStateWithMenusAndShortcuts()
{
    Session s;
    QCOMPARE(s.window->windowTitle(), QString("Tarnwick 0.8.3"));
    QCOMPARE(s.window->minimumSize(), s.window->maximumSize());
    QVERIFY2(s.window->rect().contains(QRect(QPoint(), s.window->minimumSizeHint())), "the frozen size cuts the form");

    QCOMPARE(s.items("comboBoxInterface"), (QStringList{"Ethernet", "Wi-Fi", "USB 10/100/1000 LAN", "iPhone USB"}));
    QCOMPARE(s.items("comboBoxProfil"), defaultProfiles);
    QCOMPARE(s.child<QComboBox>("comboBoxProfil")->currentText(), QString("DHCP"));
    QCOMPARE(s.child<QLabel>("iface_label_hardware")->text(), QString("en0"));
    QCOMPARE(s.fields(), QString("192.168.1.201 255.255.255.0 192.168.1.1"));
    QCOMPARE(s.spinBoxes(), QString("0.0.0.0 0.0.0.0 0.0.0.1"));
    QCOMPARE(s.enabledPattern(), QString("0000 0000 0000"));
    QVERIFY(!s.child<QCheckBox>("checkBoxRouter")->isEnabled());
    QVERIFY(!s.child<QCheckBox>("checkBoxRouter")->isChecked());

    // The form's upper limits stay; the DHCP state lowers every lower limit to 0. Disabled boxes stay readable.
    const QList<QSpinBox*> boxes = s.window->findChildren<QSpinBox*>(QRegularExpression("^sb_"));
    QCOMPARE(boxes.size(), 12);
    for (QSpinBox* box : boxes) {
        QCOMPARE(box->minimum(), 0);
        QCOMPARE(box->maximum(), box->objectName().startsWith("sb_mask") ? 255 : 254);
        QCOMPARE(box->styleSheet(), QString("QSpinBox:disabled { color: black; background-color: #D0D0D0; }"));
    }
    const QList<QLineEdit*> edits = s.window->findChildren<QLineEdit*>(QRegularExpression("^lin(e)?Edit_"));
    QCOMPARE(edits.size(), 12);
    for (QLineEdit* edit : edits) {
        QVERIFY(edit->isReadOnly());
        QCOMPARE(edit->focusPolicy(), Qt::NoFocus);
        QCOMPARE(edit->alignment(), Qt::AlignCenter);
    }

    // The prefix chooser and its "/" are inert leftovers.
    auto* prefix = s.child<QComboBox>("comboBox");
    QVERIFY(!prefix->isEnabled());
    QCOMPARE(prefix->count(), 0);
    QCOMPARE(prefix->maxVisibleItems(), 32);
    QCOMPARE(s.child<QLabel>("label_5")->text(), QString("/"));

    auto* reload = s.child<QPushButton>("pushButton_reload");
    QVERIFY(reload->text().isEmpty() && !reload->icon().isNull());
    QCOMPARE(reload->toolTip(), QString("Reload interface data (⌘+R)"));
    auto* apply = s.child<QPushButton>("execButton");
    QCOMPARE(apply->text(), QString("Apply (⌘+E)"));
    QVERIFY(apply->autoDefault() && !apply->isDefault());

    auto titles = [](const QList<QAction*>& actions) {
        QStringList result;
        for (const QAction* action : actions)
            result.append(action->text());
        return result;
    };
    QCOMPARE(titles(s.window->menuBar()->actions()), (QStringList{"Edit", "Tools", "Help"}));
    QCOMPARE(titles(s.child<QMenu>("menuEdit")->actions()), (QStringList{"Manage Profiles", "Settings..."}));
    QCOMPARE(titles(s.child<QMenu>("menuTools")->actions()), (QStringList{"Reload Interface Data"}));
    QCOMPARE(titles(s.child<QMenu>("menuHelp")->actions()), (QStringList{"About"}));

    const QList<std::pair<const char*, QKeySequence>> shortcuts = {
        {"actionReloadData", QKeySequence("Ctrl+R")},     {"actionRestoreDefault", QKeySequence("Ctrl+Shift+R")},
        {"actionManageProfiles", QKeySequence("Ctrl+P")}, {"actionSettings", QKeySequence(Qt::CTRL | Qt::Key_Comma)},
        {"actionReload", QKeySequence("Ctrl+R")},         {"actionAbout", QKeySequence()},
    };
    for (const auto& [name, sequence] : shortcuts)
        QCOMPARE(s.child<QAction>(name)->shortcut(), sequence);
    QCOMPARE(s.child<QPushButton>("execButton")->shortcut(), QKeySequence("Ctrl+E"));

    // Carried by no widget, the leftover actions can neither fire nor make Ctrl+R ambiguous.
    for (const char* name : {"actionReload", "actionReload_interfaces", "actionReload_Profils"})
        QVERIFY2(s.child<QAction>(name)->associatedObjects().isEmpty(), name);
    QVERIFY(s.child<QAction>("actionRestoreDefault")->associatedObjects().contains(s.window.get()));

    const QStringList order = {"comboBoxInterface", "comboBoxProfil", "sb_addr_1",   "sb_addr_2",
                               "sb_addr_3",         "sb_addr_4",      "sb_router_1", "sb_router_2",
                               "sb_router_3",       "sb_router_4",    "execButton"};
    QStringList chain;
    QWidget* start = s.child<QWidget>(order.first());
    for (QWidget* w = start; chain.size() < order.size(); w = w->nextInFocusChain()) {
        if (order.contains(w->objectName()) && !chain.contains(w->objectName()))
            chain.append(w->objectName());
        if (w->nextInFocusChain() == start)
            break;
    }
    QCOMPARE(chain, order);
}

void TestMainWindow::showsTheChosenServiceFromTheMachine_data()
{
    QTest::addColumn<QString>("service");
    QTest::addColumn<QString>("device");
    QTest::addColumn<QString>("shown"); // address, mask and router

    auto row = [](const char* tag, const char* service, const char* device, const char* shown) {
        QTest::newRow(tag) << QString(service) << QString(device) << QString(shown);
    };
    row("manual Ethernet", "Ethernet", "en0", "192.168.1.201 255.255.255.0 192.168.1.1");
    row("Wi-Fi lease", "Wi-Fi", "en1", "10.0.0.23 255.255.255.0 10.0.0.1");
    row("adapter without cable", "USB 10/100/1000 LAN", "en5", "... ... ...");
    row("disabled service", "iPhone USB", "en6", "... ... ...");
}

void TestMainWindow::showsTheChosenServiceFromTheMachine()
{
    QFETCH(QString, service);
    QFETCH(QString, device);
    QFETCH(QString, shown);

    Session s;
    s.choose("comboBoxInterface", service);
    QCOMPARE(s.child<QLabel>("iface_label_hardware")->text(), device);
    QCOMPARE(s.fields(), shown);
}

void TestMainWindow::fillsSpinBoxesFromTheChosenProfile_data()
{
    QTest::addColumn<QString>("networkId"); // the host number every fixed profile starts from
    QTest::addColumn<QString>("profile");
    QTest::addColumn<QString>("boxes"); // address, mask and router

    auto row = [](const char* tag, const char* networkId, const char* profile, const char* boxes) {
        QTest::newRow(tag) << QString(networkId) << QString(profile) << QString(boxes);
    };
    row("dhcp", "201", "DHCP", "0.0.0.0 0.0.0.0 0.0.0.1");
    row("valid gateway", "201", "LA-Network", "192.168.1.201 255.255.255.0 192.168.1.1");
    row("no gateway", "201", "APIPA-FIX", "169.254.0.201 255.255.0.0 169.254.0.1");
    row("empty gateway", "201", "Empty", "10.20.30.201 255.255.255.0 10.20.30.1");
    row("invalid gateway", "201", "Broken", "172.16.4.201 255.255.252.0 172.16.4.1");
    row("gateway outside the network", "201", "Elsewhere", "10.9.0.201 255.255.0.0 10.8.0.254");
    row("host number not a number", "abc", "LA-Network", "192.168.1.0 255.255.255.0 192.168.1.1");
    row("host number above range", "300", "LA-Network", "192.168.1.254 255.255.255.0 192.168.1.1");
}

void TestMainWindow::fillsSpinBoxesFromTheChosenProfile()
{
    QFETCH(QString, networkId);
    QFETCH(QString, profile);
    QFETCH(QString, boxes);

    Session s([&](FakeMac&) {
        writeStore([&](ConfigManager& store) {
            store.addEntry("Empty", {{"address", "10.20.30.0"}, {"mask", "255.255.255.0"}, {"gateway", ""}});
            store.addEntry("Broken",
                           {{"address", "172.16.4.0"}, {"mask", "255.255.252.0"}, {"gateway", "172.16.4.256"}});
            store.addEntry("Elsewhere", {{"address", "10.9.0.0"}, {"mask", "255.255.0.0"}, {"gateway", "10.8.0.254"}});
            store.updateSetting("default_network_id", networkId);
        });
    });
    // Start from another profile so that every row also proves the previous state is replaced.
    s.choose("comboBoxProfil", "Intercom");
    s.choose("comboBoxProfil", profile);

    const bool dhcp = profile == "DHCP";
    QCOMPARE(s.spinBoxes(), boxes);
    // Only the host number is the user's to change.
    QCOMPARE(s.enabledPattern(), QString(dhcp ? "0000 0000 0000" : "0001 0000 0000"));
    QCOMPARE(s.child<QCheckBox>("checkBoxRouter")->isEnabled(), !dhcp);
}

void TestMainWindow::routerCheckBoxUnlocksTheLastRouterOctet()
{
    Session s;
    s.choose("comboBoxProfil", "LA-Network");
    auto* check = s.child<QCheckBox>("checkBoxRouter");

    clickOn(check);
    QVERIFY(check->isChecked());
    QCOMPARE(s.enabledPattern("router"), QString("0001"));
    QTRY_VERIFY(s.child<QSpinBox>("sb_router_4")->hasFocus());

    // Choosing another profile locks the router again but leaves the tick, so Apply still sends it.
    s.choose("comboBoxProfil", "Intercom");
    QVERIFY(check->isChecked());
    QCOMPARE(s.enabledPattern("router"), QString("0000"));

    clickOn(check);
    QVERIFY(!check->isChecked());
    QCOMPARE(s.enabledPattern("router"), QString("0000"));
}

void TestMainWindow::appliesTheChoiceAndReportsTheOutcome_data()
{
    QTest::addColumn<QString>("service");
    QTest::addColumn<QString>("profile");
    QTest::addColumn<int>("hostNumber");  // 0: leave the profile's
    QTest::addColumn<int>("routerOctet"); // 0: router box left unticked
    QTest::addColumn<QString>("failure");
    QTest::addColumn<bool>("errorsToStdout");
    QTest::addColumn<QStringList>("manual"); // arguments of -setmanual after the service; empty: not run
    QTest::addColumn<QString>("notice");     // title: text
    QTest::addColumn<QString>("shown");      // address, mask and router read back afterwards

    auto row = [](const char* tag, const char* service, const char* profile, int hostNumber, int routerOctet,
                  const char* failure, bool errorsToStdout, const QStringList& manual, const char* notice,
                  const char* shown) {
        QTest::newRow(tag) << QString(service) << QString(profile) << hostNumber << routerOctet << QString(failure)
                           << errorsToStdout << manual << QString(notice) << QString(shown);
    };
    const QStringList intercom = {"192.168.3.201", "255.255.255.0", ""};
    const char* unchanged = "192.168.1.201 255.255.255.0 192.168.1.1";
    row("dhcp runs only -setdhcp", "Ethernet", "DHCP", 0, 0, "", false, {}, "Success: It's done!",
        "10.0.1.100 255.255.255.0 10.0.1.1");
    row("profile without router passes an empty router", "Wi-Fi", "LA-Network", 0, 0, "", false,
        {"192.168.1.201", "255.255.255.0", ""}, "Success: It's done!", "192.168.1.201 255.255.255.0 ...");
    row("ticked router and own host number", "Wi-Fi", "Management", 42, 254, "", false,
        {"192.168.0.42", "255.255.254.0", "192.168.0.254"}, "Success: It's done!",
        "192.168.0.42 255.255.254.0 192.168.0.254");
    row("error output is shown as it stands", "Ethernet", "Intercom", 0, 0, "admin", false, intercom,
        "Error: ** Error: Command requires admin privileges.\n", unchanged);
    row("errors on standard output are refusals too", "Ethernet", "Intercom", 0, 0, "admin", true, intercom,
        "Error: ** Error: Command requires admin privileges.", unchanged);
}

void TestMainWindow::appliesTheChoiceAndReportsTheOutcome()
{
    QFETCH(QString, service);
    QFETCH(QString, profile);
    QFETCH(int, hostNumber);
    QFETCH(int, routerOctet);
    QFETCH(QString, failure);
    QFETCH(bool, errorsToStdout);
    QFETCH(QStringList, manual);
    QFETCH(QString, notice);
    QFETCH(QString, shown);

    Session s;
    s.choose("comboBoxInterface", service);
    s.choose("comboBoxProfil", profile);
    if (hostNumber)
        s.child<QSpinBox>("sb_addr_4")->setValue(hostNumber);
    if (routerOctet) {
        s.child<QCheckBox>("checkBoxRouter")->click();
        s.child<QSpinBox>("sb_router_4")->setValue(routerOctet);
    }
    s.fake.setFailure(failure);
    s.fake.setErrorsToStdout(errorsToStdout);
    s.fake.clearCalls();

    NoticeAnswerer answerer;
    clickOn(s.child<QPushButton>("execButton"));

    QCOMPARE(answerer.only(), notice);
    QVERIFY(!answerer.notices.at(0).pixmapSize.isEmpty());
    QList<QStringList> commands{{"networksetup", "-setdhcp", service}};
    if (!manual.isEmpty())
        commands.append(QStringList{"networksetup", "-setmanual", service} + manual);
    QCOMPARE(s.changes(), commands);

    // The fields show the machine as it is now; the choices stay as the user left them.
    QCOMPARE(s.fields(), shown);
    QCOMPARE(s.child<QComboBox>("comboBoxProfil")->currentText(), profile);
    QCOMPARE(s.window->focusWidget(), s.child<QWidget>("comboBoxInterface"));
}

void TestMainWindow::shortcutsReachTheirActions_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
    QTest::addColumn<QString>("text");

    const Qt::KeyboardModifiers ctrl = Qt::ControlModifier;
    QTest::newRow("Ctrl+E applies") << int(Qt::Key_E) << ctrl << "It's done!";
    QTest::newRow("Ctrl+R reloads") << int(Qt::Key_R) << ctrl << "Network interface reloaded";
    QTest::newRow("Ctrl+Shift+R restores")
        << int(Qt::Key_R) << (ctrl | Qt::ShiftModifier) << "Default configuration restored";
    QTest::newRow("Backspace no longer applies") << int(Qt::Key_Backspace) << Qt::KeyboardModifiers() << "";
}

void TestMainWindow::shortcutsReachTheirActions()
{
    QFETCH(int, key);
    QFETCH(Qt::KeyboardModifiers, modifiers);
    QFETCH(QString, text);

    Session s;
    NoticeAnswerer answerer;
    QTest::keyClick(s.window.get(), Qt::Key(key), modifiers);
    if (text.isEmpty()) {
        QTest::qWait(100);
        QVERIFY(answerer.notices.isEmpty());
        return;
    }
    QTRY_COMPARE(answerer.only(), "Success: " + text);
}

void TestMainWindow::reloadRefillsListsButKeepsSpinBoxes()
{
    Session s;
    s.choose("comboBoxInterface", "Wi-Fi");
    s.choose("comboBoxProfil", "LA-Network");
    s.fake.setServices(s.fake.services() + "7|Lab Dock|USB 10/100/1000 LAN|en7|1|manual|10.1.1.5|255.255.0.0|\n");

    NoticeAnswerer answerer;
    clickOn(s.child<QPushButton>("pushButton_reload"));

    QCOMPARE(answerer.only(), QString("Success: Network interface reloaded"));
    QCOMPARE(s.items("comboBoxInterface"),
             (QStringList{"Ethernet", "Wi-Fi", "USB 10/100/1000 LAN", "iPhone USB", "Lab Dock"}));
    QCOMPARE(s.child<QComboBox>("comboBoxInterface")->currentText(), QString("Ethernet"));
    QCOMPARE(s.fields(), QString("192.168.1.201 255.255.255.0 192.168.1.1"));
    QCOMPARE(s.child<QComboBox>("comboBoxProfil")->currentText(), QString("DHCP"));
    QCOMPARE(s.spinBoxes("addr"), QString("192.168.1.201"));
    QCOMPARE(s.enabledPattern("addr"), QString("0001"));
}

void TestMainWindow::restoreBringsBackTheDefaultProfiles()
{
    Session s([](FakeMac&) {
        writeStore([](ConfigManager& store) {
            store.removeEntry("Intercom");
            store.addEntry("Lab", {{"address", "10.0.0.0"}, {"mask", "255.0.0.0"}});
        });
    });
    QCOMPARE(s.items("comboBoxProfil"), (QStringList{"DHCP", "LA-Network", "Management", "APIPA-FIX", "Lab"}));

    NoticeAnswerer answerer;
    s.child<QAction>("actionRestoreDefault")->trigger();
    QCOMPARE(answerer.only(), QString("Success: Default configuration restored"));
    QCOMPARE(s.items("comboBoxProfil"), defaultProfiles);
    QFile file(s.fake.homeDir() + "/Library/Tarnwick/config.xml");
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(!file.readAll().contains("<name>Lab</name>"));

    // With the file gone there is nothing to restore, and nothing to announce.
    QVERIFY(file.remove());
    s.child<QAction>("actionRestoreDefault")->trigger();
    QTest::qWait(50);
    QCOMPARE(answerer.only(), QString("Success: Default configuration restored"));
    QCOMPARE(s.items("comboBoxProfil"), defaultProfiles);
}

void TestMainWindow::aboutBoxNamesVersionAndBuild()
{
    Session s;
    NoticeAnswerer answerer;
    s.child<QAction>("actionAbout")->trigger();

    QCOMPARE(answerer.notices.size(), 1);
    const Notice& box = answerer.notices.at(0);
    QCOMPARE(box.title, QString("About"));
    QCOMPARE(box.text, QString("<h3>About Tarnwick</h3>"));
    QCOMPARE(box.informativeText,
             QString("<p>Author : Tarnwick Developers</p>"
                     "<p>Mail : <a href=\"mailto:tarnwick@example.org\">tarnwick@example.org</a></p>"
                     "<p>Version : 0.8.3 (Build on Mar 31 2026)</p><p>Based on Qt 6.9.0.</p>"));
    QCOMPARE(box.pixmapSize, QSize(100, 100));
    // Built on the heap for each showing, it must be gone once closed.
    QVERIFY(answerer.lastBox.isNull());
}

void TestMainWindow::timerFollowsChangesMadeBehindTheWindow()
{
    Session s;
    QTimer* timer = s.refreshTimer();
    QVERIFY(timer);
    QVERIFY(timer->isActive());
    s.choose("comboBoxInterface", "Wi-Fi");
    s.choose("comboBoxProfil", "Intercom");

    QProcess other;
    other.start("networksetup", {"-setmanual", "Wi-Fi", "172.20.1.9", "255.255.0.0", "172.20.0.1"});
    QVERIFY(other.waitForFinished());
    s.fake.setServices(s.fake.services() + "7|Lab Dock|USB 10/100/1000 LAN|en7|1|manual|10.1.1.5|255.255.0.0|\n");
    QCOMPARE(s.fields(), QString("10.0.0.23 255.255.255.0 10.0.0.1"));

    timer->start(20);
    QTRY_COMPARE(s.fields(), QString("172.20.1.9 255.255.0.0 172.20.0.1"));
    QCOMPARE(s.child<QComboBox>("comboBoxInterface")->currentText(), QString("Wi-Fi"));
    QCOMPARE(s.child<QComboBox>("comboBoxProfil")->currentText(), QString("Intercom"));
    QVERIFY(!s.items("comboBoxInterface").contains("Lab Dock"));
}

void TestMainWindow::dialogsLeaveTheWindowRefilled_data()
{
    using Drive = std::function<void(QDialog*)>;
    QTest::addColumn<int>("shortcut");
    QTest::addColumn<QString>("dialogName");
    QTest::addColumn<Drive>("drive");
    QTest::addColumn<QString>("log");
    QTest::addColumn<QStringList>("profiles");
    QTest::addColumn<int>("hostNumber");

    const QStringList defaults{"DHCP", "LA-Network", "Intercom", "Management", "APIPA-FIX"};
    QTest::newRow("profile manager closed untouched")
        << int(Qt::Key_P) << "ProfileDialog" << Drive() << "QMenuBar -> Managing profiles..." << defaults << 201;
    QTest::newRow("profile added and one deleted") << int(Qt::Key_P) << "ProfileDialog" << Drive([](QDialog* dialog) {
        click(dialog, "buttonAdd");
        type(dialog, "lineEditName", "Lab");
        type(dialog, "lineEditAddress", "10.20.0.0");
        type(dialog, "lineEditMask", "255.255.0.0");
        click(dialog, "buttonSave");
        auto* list = dialog->findChild<QListWidget*>("listProfiles");
        list->setCurrentRow(1);
        QTimer::singleShot(0, [] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (box)
                box->button(QMessageBox::Yes)->click();
        });
        click(dialog, "buttonDelete");
    }) << "QMenuBar -> Managing profiles..." << QStringList{"DHCP", "LA-Network", "Management", "APIPA-FIX", "Lab"}
                                                   << 201;
    QTest::newRow("settings closed untouched")
        << int(Qt::Key_Comma) << "SettingsDialog" << Drive() << "QMenuBar -> Opening settings..." << defaults << 201;
    QTest::newRow("new network id saved") << int(Qt::Key_Comma) << "SettingsDialog" << Drive([](QDialog* dialog) {
        dialog->findChild<QSpinBox*>("spinBoxNetworkId")->setValue(42);
        click(dialog, "buttonSave");
    }) << "QMenuBar -> Opening settings..."
                                          << defaults << 42;
}

void TestMainWindow::dialogsLeaveTheWindowRefilled()
{
    QFETCH(int, shortcut);
    QFETCH(QString, dialogName);
    QFETCH(std::function<void(QDialog*)>, drive);
    QFETCH(QString, log);
    QFETCH(QStringList, profiles);
    QFETCH(int, hostNumber);

    Session s;
    s.choose("comboBoxProfil", "Intercom");
    QCOMPARE(s.enabledPattern("addr"), QString("0001"));

    whenDialogOpens(dialogName, drive);
    QTest::ignoreMessage(QtDebugMsg, qPrintable(log));
    QTest::keyClick(s.window.get(), Qt::Key(shortcut), Qt::ControlModifier);

    QVERIFY(!QApplication::activeModalWidget());
    QCOMPARE(s.items("comboBoxProfil"), profiles);
    QCOMPARE(s.child<QComboBox>("comboBoxProfil")->currentText(), QString("DHCP"));
    QCOMPARE(s.spinBoxes("addr"), QString("0.0.0.0"));
    QCOMPARE(s.spinBoxes("router"), QString("0.0.0.1"));
    QCOMPARE(s.enabledPattern("addr"), QString("0000"));
    QVERIFY(!s.child<QCheckBox>("checkBoxRouter")->isEnabled());

    s.choose("comboBoxProfil", "LA-Network");
    QCOMPARE(s.spinBoxes("addr"), QString("192.168.1.%1").arg(hostNumber));
}

void TestMainWindow::readOnlyFieldsSwallowPressesAndMoves_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("swallowed");

    QTest::newRow("press") << "lineEdit_addr_1" << int(QEvent::MouseButtonPress) << true;
    QTest::newRow("double-click") << "lineEdit_mask_3" << int(QEvent::MouseButtonDblClick) << true;
    QTest::newRow("move") << "linEdit_router_1" << int(QEvent::MouseMove) << true;
    QTest::newRow("release passes") << "lineEdit_router_4" << int(QEvent::MouseButtonRelease) << false;
    QTest::newRow("press on a spin box passes") << "sb_addr_4" << int(QEvent::MouseButtonPress) << false;
}

void TestMainWindow::readOnlyFieldsSwallowPressesAndMoves()
{
    QFETCH(QString, target);
    QFETCH(int, type);
    QFETCH(bool, swallowed);

    Session s;
    QWidget* widget = s.child<QWidget>(target);
    const QPointF at(5, 5);
    QMouseEvent event(QEvent::Type(type), at, widget->mapToGlobal(at), Qt::LeftButton, Qt::LeftButton, {});
    QCOMPARE(s.window->eventFilter(widget, &event), swallowed);

    // Real input on a field, through the filter the window installed: nothing gets selected or focused.
    if (type != QEvent::MouseButtonPress || !swallowed)
        return;
    auto* edit = s.child<QLineEdit>(target);
    QVERIFY(!edit->text().isEmpty());
    const int y = edit->height() / 2;
    QTest::mouseDClick(edit, Qt::LeftButton, {}, QPoint(edit->width() / 2, y));
    QTest::mousePress(edit, Qt::LeftButton, {}, QPoint(2, y));
    QTest::mouseMove(edit, QPoint(edit->width() - 2, y));
    QTest::mouseRelease(edit, Qt::LeftButton, {}, QPoint(edit->width() - 2, y));
    QVERIFY(!edit->hasSelectedText());
    QVERIFY(!edit->hasFocus());
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
