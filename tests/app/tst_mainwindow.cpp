#include "app/mainwindow.h"
#include "tests/common/fakemac.h"

#include "config/configmanager.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDir>
#include <QFile>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPointer>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QSpinBox>
#include <QTest>
#include <QTimer>

#include <functional>
#include <memory>

Q_DECLARE_METATYPE(std::function<void(QDialog*)>)

namespace {

const QString defaultConfig = QStringLiteral(":/resources/resources/default-config.xml");

struct Notice
{
    QString title;
    QString text;
    QString informativeText;
    bool hadPixmap = false;
    QSize pixmapSize;
};

// Answers every modal message box that comes up while it lives: records it, then presses its button.
class NoticeAnswerer : public QObject
{
public:
    NoticeAnswerer()
    {
        connect(&poll, &QTimer::timeout, this, &NoticeAnswerer::answer);
        poll.start(10);
    }

    QList<Notice> notices;
    QPointer<QMessageBox> lastBox;

private:
    void answer()
    {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box || !box->isVisible())
            return;
        notices.append({box->windowTitle(), box->text(), box->informativeText(), !box->iconPixmap().isNull(),
                        box->iconPixmap().size()});
        lastBox = box;
        box->buttons().constFirst()->click();
    }

    QTimer poll;
};

// Each suite case starts from a fresh simulated Mac and home folder, and a window shown and active.
struct Session
{
    explicit Session(const std::function<void(FakeMac&)>& prepare = {})
    {
        if (prepare)
            prepare(fake);
        window = std::make_unique<MainWindow>();
        window->show();
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
    }

    template <typename T> T* child(const QString& name) const
    {
        T* widget = window->findChild<T*>(name);
        if (!widget)
            qFatal("no %s", qPrintable(name));
        return widget;
    }

    QString spinBoxes(const QString& group) const
    {
        QStringList parts;
        for (int i = 1; i <= 4; ++i)
            parts.append(QString::number(child<QSpinBox>(QStringLiteral("sb_%1_%2").arg(group).arg(i))->value()));
        return parts.join(QLatin1Char('.'));
    }

    QString enabledPattern(const QString& group) const
    {
        QString pattern;
        for (int i = 1; i <= 4; ++i)
            pattern += child<QSpinBox>(QStringLiteral("sb_%1_%2").arg(group).arg(i))->isEnabled() ? QLatin1Char('1')
                                                                                                  : QLatin1Char('0');
        return pattern;
    }

    QString fields(const QStringList& names) const
    {
        QStringList parts;
        for (const QString& name : names)
            parts.append(child<QLineEdit>(name)->text());
        return parts.join(QLatin1Char('.'));
    }
    QString addressFields() const
    {
        return fields({"lineEdit_addr_1", "lineEdit_addr_2", "lineEdit_addr_3", "lineEdit_addr_4"});
    }
    QString maskFields() const
    {
        return fields({"lineEdit_mask_1", "lineEdit_mask_2", "lineEdit_mask_3", "lineEdit_mask_4"});
    }
    QString routerFields() const
    {
        return fields({"linEdit_router_1", "lineEdit_router_2", "lineEdit_router_3", "lineEdit_router_4"});
    }

    // A choice made by the user: Qt reports it with activated(), which a choice made by code never emits.
    void choose(const QString& comboName, const QString& text) const
    {
        auto* combo = child<QComboBox>(comboName);
        const int index = combo->findText(text);
        QVERIFY2(index >= 0, qPrintable(text));
        combo->setCurrentIndex(index);
        emit combo->activated(index);
    }

    QStringList items(const QString& comboName) const
    {
        auto* combo = child<QComboBox>(comboName);
        QStringList result;
        for (int i = 0; i < combo->count(); ++i)
            result.append(combo->itemText(i));
        return result;
    }

    QTimer* refreshTimer() const
    {
        for (QTimer* timer : window->findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly)) {
            if (timer->interval() == 5000)
                return timer;
        }
        return nullptr;
    }

    // The commands that change the machine, as the simulated Mac received them.
    QList<QStringList> changes() const
    {
        QList<QStringList> result;
        for (const QStringList& call : fake.calls()) {
            if (call.value(1) == QLatin1String("-setdhcp") || call.value(1) == QLatin1String("-setmanual"))
                result.append(call);
        }
        return result;
    }

    FakeMac fake;
    std::unique_ptr<MainWindow> window;
};

void writeStore(const std::function<void(ConfigManager&)>& edit)
{
    ConfigManager store(QStringLiteral("config.xml"), defaultConfig);
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
        if (dialog->isVisible()) {
            auto* close = dialog->findChild<QPushButton*>(QStringLiteral("buttonClose"));
            QTest::mouseClick(close, Qt::LeftButton, {}, close->rect().center());
        }
    });
    poll->start(10);
}

void click(QDialog* dialog, const char* button)
{
    auto* widget = dialog->findChild<QPushButton*>(QLatin1String(button));
    QVERIFY2(widget, button);
    QTest::mouseClick(widget, Qt::LeftButton, {}, widget->rect().center());
}

void type(QDialog* dialog, const char* field, const QString& text)
{
    auto* widget = dialog->findChild<QLineEdit*>(QLatin1String(field));
    QVERIFY2(widget, field);
    QTest::keyClicks(widget, text);
}

const QString defaultServices =
    QStringLiteral("1|Ethernet|Ethernet|en0|1|manual|192.168.1.201|255.255.255.0|192.168.1.1\n"
                   "2|Wi-Fi|Wi-Fi|en1|1|dhcp|10.0.0.23|255.255.255.0|10.0.0.1\n"
                   "3|USB 10/100/1000 LAN|USB 10/100/1000 LAN|en5|1|dhcp|||\n"
                   "4|Thunderbolt Bridge|Thunderbolt Bridge|bridge0|1|dhcp|||\n"
                   "5|iPhone USB|iPhone USB|en6|0|dhcp|||\n"
                   "6|Office VPN|VPN (L2TP)||1|dhcp|||\n");

} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();

    void placesEveryWidgetInItsGrid_data();
    void placesEveryWidgetInItsGrid();
    void keepsTheFormsSizeLimits_data();
    void keepsTheFormsSizeLimits();
    void startsInTheDhcpState();
    void freezesTitleSizeAndFields();
    void offersMenusShortcutsAndTabOrder();

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
    void restoreWithoutAFileShowsNothing();
    void aboutBoxNamesVersionAndBuild();
    void timerFollowsChangesMadeBehindTheWindow();
    void dialogsLeaveTheWindowRefilled_data();
    void dialogsLeaveTheWindowRefilled();

    void readOnlyFieldsSwallowPressesAndMoves_data();
    void readOnlyFieldsSwallowPressesAndMoves();
    void readOnlyFieldsSelectNothing();
};

void TestMainWindow::cleanup()
{
    for (int i = 0; i < 10 && QApplication::activeModalWidget(); ++i) {
        QApplication::activeModalWidget()->close();
        QCoreApplication::processEvents();
    }
}

void TestMainWindow::placesEveryWidgetInItsGrid_data()
{
    QTest::addColumn<QString>("layout");
    QTest::addColumn<QString>("item");
    QTest::addColumn<QList<int>>("cell"); // row, column, row span, column span

    const struct
    {
        const char* layout;
        const char* item;
        QList<int> cell;
    } rows[] = {
        {"gridLayout", "groupBox_2", {0, 0, 1, 1}},
        {"gridLayout", "groupBox_3", {1, 0, 1, 1}},
        {"gridLayout", "gridLayout_2", {2, 0, 1, 1}},
        {"gridLayout_2", "execButton", {0, 0, 1, 1}},
        {"gridLayout_5", "gridLayout_4", {2, 0, 1, 1}},
        {"gridLayout_7", "gridLayout_6", {1, 0, 1, 1}},
        {"gridLayout_4", "label_101", {0, 1, 1, 1}},
        {"gridLayout_4", "label_102", {0, 2, 1, 1}},
        {"gridLayout_4", "comboBoxInterface", {0, 3, 1, 4}},
        {"gridLayout_4", "pushButton_reload", {0, 7, 1, 1}},
        {"gridLayout_4", "label_111", {1, 1, 1, 1}},
        {"gridLayout_4", "label_112", {1, 2, 1, 1}},
        {"gridLayout_4", "iface_label_hardware", {1, 3, 1, 2}},
        {"gridLayout_4", "label_121", {2, 1, 1, 1}},
        {"gridLayout_4", "label_122", {2, 2, 1, 1}},
        {"gridLayout_4", "lineEdit_addr_1", {2, 3, 1, 1}},
        {"gridLayout_4", "lineEdit_addr_4", {2, 6, 1, 1}},
        {"gridLayout_4", "label_131", {3, 1, 1, 1}},
        {"gridLayout_4", "label_132", {3, 2, 1, 1}},
        {"gridLayout_4", "lineEdit_mask_2", {3, 4, 1, 1}},
        {"gridLayout_4", "label_141", {4, 1, 1, 1}},
        {"gridLayout_4", "label_142", {4, 2, 1, 1}},
        {"gridLayout_4", "linEdit_router_1", {4, 3, 1, 1}},
        {"gridLayout_4", "lineEdit_router_3", {4, 5, 1, 1}},
        {"gridLayout_6", "label_10", {0, 0, 1, 1}},
        {"gridLayout_6", "label", {0, 1, 1, 2}},
        {"gridLayout_6", "comboBoxProfil", {0, 3, 1, 5}},
        {"gridLayout_6", "label_20", {1, 0, 1, 1}},
        {"gridLayout_6", "label_2", {1, 1, 1, 2}},
        {"gridLayout_6", "sb_addr_1", {1, 3, 1, 1}},
        {"gridLayout_6", "sb_addr_4", {1, 6, 1, 1}},
        {"gridLayout_6", "label_5", {1, 7, 1, 1}},
        {"gridLayout_6", "comboBox", {1, 8, 1, 1}},
        {"gridLayout_6", "label_30", {2, 0, 1, 1}},
        {"gridLayout_6", "label_3", {2, 1, 1, 2}},
        {"gridLayout_6", "sb_mask_3", {2, 5, 1, 1}},
        {"gridLayout_6", "label_40", {3, 0, 1, 1}},
        {"gridLayout_6", "label_4", {3, 1, 1, 2}},
        {"gridLayout_6", "sb_router_2", {3, 4, 1, 1}},
        {"gridLayout_6", "checkBoxRouter", {3, 8, 1, 1}},
    };
    for (const auto& row : rows)
        QTest::newRow(row.item) << QString(row.layout) << QString(row.item) << row.cell;
}

void TestMainWindow::placesEveryWidgetInItsGrid()
{
    QFETCH(QString, layout);
    QFETCH(QString, item);
    QFETCH(QList<int>, cell);

    Session s;
    auto* grid = s.child<QGridLayout>(layout);
    int index = -1;
    if (auto* widget = s.window->findChild<QWidget*>(item))
        index = grid->indexOf(widget);
    else if (auto* inner = s.window->findChild<QLayout*>(item))
        index = grid->indexOf(inner);
    QVERIFY2(index >= 0, qPrintable(item + " is not in " + layout));
    int row, column, rowSpan, columnSpan;
    grid->getItemPosition(index, &row, &column, &rowSpan, &columnSpan);
    QCOMPARE((QList<int>{row, column, rowSpan, columnSpan}), cell);
}

void TestMainWindow::keepsTheFormsSizeLimits_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QSize>("minimum");
    QTest::addColumn<QSize>("maximum");

    const int unbounded = QWIDGETSIZE_MAX;
    QTest::newRow("device label") << "label_101" << QSize(100, 0) << QSize(100, unbounded);
    QTest::newRow("colon beside device") << "label_102" << QSize(10, 0) << QSize(10, 100);
    QTest::newRow("colon beside address is narrower") << "label_122" << QSize(10, 0) << QSize(9, 100);
    QTest::newRow("interface box") << "comboBoxInterface" << QSize(0, 28) << QSize(300, 28);
    QTest::newRow("reload button") << "pushButton_reload" << QSize(0, 0) << QSize(50, unbounded);
    QTest::newRow("hardware label") << "iface_label_hardware" << QSize(0, 21) << QSize(unbounded, 21);
    QTest::newRow("router field") << "linEdit_router_1" << QSize(50, 0) << QSize(50, unbounded);
    QTest::newRow("profile colon") << "label" << QSize(5, 21) << QSize(10, 21);
    QTest::newRow("profile box") << "comboBoxProfil" << QSize(0, 28) << QSize(300, 28);
    QTest::newRow("address spin box") << "sb_addr_1" << QSize(60, 24) << QSize(60, 24);
    QTest::newRow("host spin box keeps its odd maximum") << "sb_addr_4" << QSize(60, 24) << QSize(24, unbounded);
    QTest::newRow("router spin box") << "sb_router_4" << QSize(60, 24) << QSize(60, 24);
    QTest::newRow("slash") << "label_5" << QSize(10, 20) << QSize(10, 20);
    QTest::newRow("prefix chooser") << "comboBox" << QSize(60, 21) << QSize(60, 21);
    QTest::newRow("router check box") << "checkBoxRouter" << QSize(0, 0) << QSize(20, unbounded);
}

void TestMainWindow::keepsTheFormsSizeLimits()
{
    QFETCH(QString, name);
    QFETCH(QSize, minimum);
    QFETCH(QSize, maximum);

    Session s;
    auto* widget = s.child<QWidget>(name);
    QCOMPARE(widget->minimumSize(), minimum);
    QCOMPARE(widget->maximumSize(), maximum);
}

void TestMainWindow::startsInTheDhcpState()
{
    Session s;
    QCOMPARE(s.items("comboBoxInterface"), (QStringList{"Ethernet", "Wi-Fi", "USB 10/100/1000 LAN", "iPhone USB"}));
    QCOMPARE(s.items("comboBoxProfil"), (QStringList{"DHCP", "LA-Network", "Intercom", "Management", "APIPA-FIX"}));
    QCOMPARE(s.child<QComboBox>("comboBoxProfil")->currentText(), QString("DHCP"));
    QCOMPARE(s.child<QLabel>("iface_label_hardware")->text(), QString("en0"));
    QCOMPARE(s.addressFields(), QString("192.168.1.201"));

    QCOMPARE(s.spinBoxes("addr"), QString("0.0.0.0"));
    QCOMPARE(s.spinBoxes("mask"), QString("0.0.0.0"));
    QCOMPARE(s.spinBoxes("router"), QString("0.0.0.1"));
    for (const QString group : {"addr", "mask", "router"})
        QCOMPARE(s.enabledPattern(group), QString("0000"));
    QVERIFY(!s.child<QCheckBox>("checkBoxRouter")->isEnabled());
    QVERIFY(!s.child<QCheckBox>("checkBoxRouter")->isChecked());

    // The form's upper limits stay; the DHCP state lowers every lower limit to 0.
    for (const QString group : {"addr", "router"}) {
        for (int i = 1; i <= 4; ++i) {
            auto* box = s.child<QSpinBox>(QStringLiteral("sb_%1_%2").arg(group).arg(i));
            QCOMPARE(box->minimum(), 0);
            QCOMPARE(box->maximum(), 254);
        }
    }
    QCOMPARE(s.child<QSpinBox>("sb_mask_1")->maximum(), 255);

    auto* prefix = s.child<QComboBox>("comboBox");
    QVERIFY(!prefix->isEnabled());
    QCOMPARE(prefix->count(), 0);
    QCOMPARE(prefix->maxVisibleItems(), 32);
    QCOMPARE(s.child<QLabel>("label_5")->text(), QString("/"));
}

void TestMainWindow::freezesTitleSizeAndFields()
{
    Session s;
    QCOMPARE(s.window->windowTitle(), QString("Tarnwick 0.8.3"));
    QCOMPARE(s.window->minimumSize(), s.window->maximumSize());
    const QSize needed = s.window->minimumSizeHint();
    QVERIFY2(needed.width() <= s.window->width() && needed.height() <= s.window->height(),
             "the frozen size cuts the form");

    auto* reload = s.child<QPushButton>("pushButton_reload");
    QVERIFY(reload->text().isEmpty());
    QVERIFY(!reload->icon().isNull());
    QCOMPARE(reload->toolTip(), QString("Reload interface data (⌘+R)"));

    const QList<QLineEdit*> edits = s.window->findChildren<QLineEdit*>(QRegularExpression("^lin(e)?Edit_"));
    QCOMPARE(edits.size(), 12);
    for (QLineEdit* edit : edits) {
        QVERIFY(edit->isReadOnly());
        QCOMPARE(edit->focusPolicy(), Qt::NoFocus);
        QCOMPARE(edit->alignment(), Qt::AlignCenter);
    }
    const QList<QSpinBox*> boxes = s.window->findChildren<QSpinBox*>(QRegularExpression("^sb_"));
    QCOMPARE(boxes.size(), 12);
    for (QSpinBox* box : boxes)
        QCOMPARE(box->styleSheet(), QString("QSpinBox:disabled { color: black; background-color: #D0D0D0; }"));

    auto* apply = s.child<QPushButton>("execButton");
    QCOMPARE(apply->text(), QString("Apply (⌘+E)"));
    QVERIFY(apply->autoDefault());
    QVERIFY(!apply->isDefault());
}

void TestMainWindow::offersMenusShortcutsAndTabOrder()
{
    Session s;
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
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("mask");
    QTest::addColumn<QString>("router");

    QTest::newRow("manual Ethernet") << "Ethernet"
                                     << "en0"
                                     << "192.168.1.201"
                                     << "255.255.255.0"
                                     << "192.168.1.1";
    QTest::newRow("Wi-Fi lease") << "Wi-Fi"
                                 << "en1"
                                 << "10.0.0.23"
                                 << "255.255.255.0"
                                 << "10.0.0.1";
    QTest::newRow("adapter without cable") << "USB 10/100/1000 LAN"
                                           << "en5"
                                           << "..."
                                           << "..."
                                           << "...";
    QTest::newRow("disabled service") << "iPhone USB"
                                      << "en6"
                                      << "..."
                                      << "..."
                                      << "...";
}

void TestMainWindow::showsTheChosenServiceFromTheMachine()
{
    QFETCH(QString, service);
    QFETCH(QString, device);
    QFETCH(QString, address);
    QFETCH(QString, mask);
    QFETCH(QString, router);

    Session s;
    s.choose("comboBoxInterface", service);
    QCOMPARE(s.child<QLabel>("iface_label_hardware")->text(), device);
    QCOMPARE(s.addressFields(), address);
    QCOMPARE(s.maskFields(), mask);
    QCOMPARE(s.routerFields(), router);
}

void TestMainWindow::fillsSpinBoxesFromTheChosenProfile_data()
{
    QTest::addColumn<QString>("networkId");
    QTest::addColumn<QString>("profile");
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("mask");
    QTest::addColumn<QString>("router");
    QTest::addColumn<QString>("addressEnabled");
    QTest::addColumn<bool>("routerCheckable");

    QTest::newRow("dhcp") << "201"
                          << "DHCP"
                          << "0.0.0.0"
                          << "0.0.0.0"
                          << "0.0.0.1"
                          << "0000" << false;
    QTest::newRow("valid gateway") << "201"
                                   << "LA-Network"
                                   << "192.168.1.201"
                                   << "255.255.255.0"
                                   << "192.168.1.1"
                                   << "0001" << true;
    QTest::newRow("wider mask") << "201"
                                << "Management"
                                << "192.168.0.201"
                                << "255.255.254.0"
                                << "192.168.0.1"
                                << "0001" << true;
    QTest::newRow("no gateway") << "201"
                                << "APIPA-FIX"
                                << "169.254.0.201"
                                << "255.255.0.0"
                                << "169.254.0.1"
                                << "0001" << true;
    QTest::newRow("empty gateway") << "201"
                                   << "Empty"
                                   << "10.20.30.201"
                                   << "255.255.255.0"
                                   << "10.20.30.1"
                                   << "0001" << true;
    QTest::newRow("invalid gateway") << "201"
                                     << "Broken"
                                     << "172.16.4.201"
                                     << "255.255.252.0"
                                     << "172.16.4.1"
                                     << "0001" << true;
    QTest::newRow("gateway outside the network") << "201"
                                                 << "Elsewhere"
                                                 << "10.9.0.201"
                                                 << "255.255.0.0"
                                                 << "10.8.0.254"
                                                 << "0001" << true;
    QTest::newRow("host number not a number") << "abc"
                                              << "LA-Network"
                                              << "192.168.1.0"
                                              << "255.255.255.0"
                                              << "192.168.1.1"
                                              << "0001" << true;
    QTest::newRow("host number above range") << "300"
                                             << "LA-Network"
                                             << "192.168.1.254"
                                             << "255.255.255.0"
                                             << "192.168.1.1"
                                             << "0001" << true;
}

void TestMainWindow::fillsSpinBoxesFromTheChosenProfile()
{
    QFETCH(QString, networkId);
    QFETCH(QString, profile);
    QFETCH(QString, address);
    QFETCH(QString, mask);
    QFETCH(QString, router);
    QFETCH(QString, addressEnabled);
    QFETCH(bool, routerCheckable);

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

    QCOMPARE(s.spinBoxes("addr"), address);
    QCOMPARE(s.spinBoxes("mask"), mask);
    QCOMPARE(s.spinBoxes("router"), router);
    QCOMPARE(s.enabledPattern("addr"), addressEnabled);
    QCOMPARE(s.enabledPattern("mask"), QString("0000"));
    QCOMPARE(s.enabledPattern("router"), QString("0000"));
    QCOMPARE(s.child<QCheckBox>("checkBoxRouter")->isEnabled(), routerCheckable);
}

void TestMainWindow::routerCheckBoxUnlocksTheLastRouterOctet()
{
    Session s;
    s.choose("comboBoxProfil", "LA-Network");
    auto* check = s.child<QCheckBox>("checkBoxRouter");
    auto* last = s.child<QSpinBox>("sb_router_4");

    QTest::mouseClick(check, Qt::LeftButton, {}, check->rect().center());
    QVERIFY(check->isChecked());
    QCOMPARE(s.enabledPattern("router"), QString("0001"));
    QTRY_VERIFY(last->hasFocus());

    // Choosing another profile locks the router again but leaves the tick, so Apply still sends it.
    s.choose("comboBoxProfil", "Intercom");
    QVERIFY(check->isChecked());
    QCOMPARE(s.enabledPattern("router"), QString("0000"));

    QTest::mouseClick(check, Qt::LeftButton, {}, check->rect().center());
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
    QTest::addColumn<QList<QStringList>>("commands");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("shownAddress");
    QTest::addColumn<QString>("shownRouter");

    const QStringList dhcpEthernet = {"networksetup", "-setdhcp", "Ethernet"};
    const QStringList dhcpWifi = {"networksetup", "-setdhcp", "Wi-Fi"};

    QTest::newRow("dhcp runs only -setdhcp")
        << "Ethernet"
        << "DHCP" << 0 << 0 << "" << false << QList<QStringList>{dhcpEthernet} << "Success"
        << "It's done!"
        << "10.0.1.100"
        << "10.0.1.1";
    QTest::newRow("profile without router passes an empty router")
        << "Wi-Fi"
        << "LA-Network" << 0 << 0 << "" << false
        << QList<QStringList>{dhcpWifi, {"networksetup", "-setmanual", "Wi-Fi", "192.168.1.201", "255.255.255.0", ""}}
        << "Success"
        << "It's done!"
        << "192.168.1.201"
        << "...";
    QTest::newRow("ticked router and own host number")
        << "Wi-Fi"
        << "Management" << 42 << 254 << "" << false
        << QList<QStringList>{dhcpWifi,
                              {"networksetup", "-setmanual", "Wi-Fi", "192.168.0.42", "255.255.254.0", "192.168.0.254"}}
        << "Success"
        << "It's done!"
        << "192.168.0.42"
        << "192.168.0.254";
    QTest::newRow("error output is shown as it stands")
        << "Ethernet"
        << "Intercom" << 0 << 0 << "admin" << false
        << QList<QStringList>{dhcpEthernet,
                              {"networksetup", "-setmanual", "Ethernet", "192.168.3.201", "255.255.255.0", ""}}
        << "Error"
        << "** Error: Command requires admin privileges.\n"
        << "192.168.1.201"
        << "192.168.1.1";
    QTest::newRow("errors on standard output count as success")
        << "Ethernet"
        << "Intercom" << 0 << 0 << "admin" << true
        << QList<QStringList>{dhcpEthernet,
                              {"networksetup", "-setmanual", "Ethernet", "192.168.3.201", "255.255.255.0", ""}}
        << "Success"
        << "It's done!"
        << "192.168.1.201"
        << "192.168.1.1";
}

void TestMainWindow::appliesTheChoiceAndReportsTheOutcome()
{
    QFETCH(QString, service);
    QFETCH(QString, profile);
    QFETCH(int, hostNumber);
    QFETCH(int, routerOctet);
    QFETCH(QString, failure);
    QFETCH(bool, errorsToStdout);
    QFETCH(QList<QStringList>, commands);
    QFETCH(QString, title);
    QFETCH(QString, text);
    QFETCH(QString, shownAddress);
    QFETCH(QString, shownRouter);

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
    auto* apply = s.child<QPushButton>("execButton");
    QTest::mouseClick(apply, Qt::LeftButton, {}, apply->rect().center());

    QCOMPARE(answerer.notices.size(), 1);
    QCOMPARE(answerer.notices.at(0).title, title);
    QCOMPARE(answerer.notices.at(0).text, text);
    QVERIFY(answerer.notices.at(0).hadPixmap);
    QCOMPARE(s.changes(), commands);

    // The fields show the machine as it is now; the choices stay as the user left them.
    QCOMPARE(s.addressFields(), shownAddress);
    QCOMPARE(s.routerFields(), shownRouter);
    QCOMPARE(s.child<QComboBox>("comboBoxProfil")->currentText(), profile);
    QCOMPARE(s.window->focusWidget(), s.child<QWidget>("comboBoxInterface"));
}

void TestMainWindow::shortcutsReachTheirActions_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
    QTest::addColumn<QString>("text");

    QTest::newRow("Ctrl+E applies") << int(Qt::Key_E) << Qt::KeyboardModifiers(Qt::ControlModifier) << "It's done!";
    QTest::newRow("Ctrl+R reloads") << int(Qt::Key_R) << Qt::KeyboardModifiers(Qt::ControlModifier)
                                    << "Network interface reloaded";
    QTest::newRow("Ctrl+Shift+R restores")
        << int(Qt::Key_R) << Qt::KeyboardModifiers(Qt::ControlModifier | Qt::ShiftModifier)
        << "Default configuration restored";
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
    QTRY_COMPARE(answerer.notices.size(), 1);
    QCOMPARE(answerer.notices.at(0).title, QString("Success"));
    QCOMPARE(answerer.notices.at(0).text, text);
}

void TestMainWindow::reloadRefillsListsButKeepsSpinBoxes()
{
    Session s;
    s.choose("comboBoxInterface", "Wi-Fi");
    s.choose("comboBoxProfil", "LA-Network");
    s.fake.setServices(defaultServices + "7|Lab Dock|USB 10/100/1000 LAN|en7|1|manual|10.1.1.5|255.255.0.0|\n");

    NoticeAnswerer answerer;
    auto* reload = s.child<QPushButton>("pushButton_reload");
    QTest::mouseClick(reload, Qt::LeftButton, {}, reload->rect().center());

    QCOMPARE(answerer.notices.size(), 1);
    QCOMPARE(answerer.notices.at(0).title, QString("Success"));
    QCOMPARE(answerer.notices.at(0).text, QString("Network interface reloaded"));
    QCOMPARE(s.items("comboBoxInterface"),
             (QStringList{"Ethernet", "Wi-Fi", "USB 10/100/1000 LAN", "iPhone USB", "Lab Dock"}));
    QCOMPARE(s.child<QComboBox>("comboBoxInterface")->currentText(), QString("Ethernet"));
    QCOMPARE(s.addressFields(), QString("192.168.1.201"));
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

    QCOMPARE(answerer.notices.size(), 1);
    QCOMPARE(answerer.notices.at(0).title, QString("Success"));
    QCOMPARE(answerer.notices.at(0).text, QString("Default configuration restored"));
    QCOMPARE(s.items("comboBoxProfil"), (QStringList{"DHCP", "LA-Network", "Intercom", "Management", "APIPA-FIX"}));
    QFile file(s.fake.homeDir() + "/Library/Tarnwick/config.xml");
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(!file.readAll().contains("<name>Lab</name>"));
}

void TestMainWindow::restoreWithoutAFileShowsNothing()
{
    Session s;
    QVERIFY(QFile::remove(s.fake.homeDir() + "/Library/Tarnwick/config.xml"));

    NoticeAnswerer answerer;
    s.child<QAction>("actionRestoreDefault")->trigger();
    QTest::qWait(50);
    QVERIFY(answerer.notices.isEmpty());
    QCOMPARE(s.items("comboBoxProfil").size(), 5);
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
    QCOMPARE(s.addressFields(), QString("10.0.0.23"));

    timer->start(20);
    QTRY_COMPARE(s.addressFields(), QString("172.20.1.9"));
    QCOMPARE(s.maskFields(), QString("255.255.0.0"));
    QCOMPARE(s.routerFields(), QString("172.20.0.1"));
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
    QTest::newRow("profile added and one deleted")
        << int(Qt::Key_P) << "ProfileDialog" << Drive([](QDialog* dialog) {
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
           })
        << "QMenuBar -> Managing profiles..." << QStringList{"DHCP", "LA-Network", "Management", "APIPA-FIX", "Lab"}
        << 201;
    QTest::newRow("settings closed untouched")
        << int(Qt::Key_Comma) << "SettingsDialog" << Drive() << "QMenuBar -> Opening settings..." << defaults << 201;
    QTest::newRow("new network id saved")
        << int(Qt::Key_Comma) << "SettingsDialog" << Drive([](QDialog* dialog) {
               dialog->findChild<QSpinBox*>("spinBoxNetworkId")->setValue(42);
               click(dialog, "buttonSave");
           })
        << "QMenuBar -> Opening settings..." << defaults << 42;
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
}

void TestMainWindow::readOnlyFieldsSelectNothing()
{
    Session s;
    auto* edit = s.child<QLineEdit>("lineEdit_addr_1");
    QVERIFY(!edit->text().isEmpty());

    QTest::mouseDClick(edit, Qt::LeftButton, {}, edit->rect().center());
    QVERIFY(!edit->hasSelectedText());

    QTest::mousePress(edit, Qt::LeftButton, {}, QPoint(2, edit->height() / 2));
    QTest::mouseMove(edit, QPoint(edit->width() - 2, edit->height() / 2));
    QTest::mouseRelease(edit, Qt::LeftButton, {}, QPoint(edit->width() - 2, edit->height() / 2));
    QVERIFY(!edit->hasSelectedText());
    QVERIFY(!edit->hasFocus());
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
