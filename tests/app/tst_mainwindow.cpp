#include "app/mainwindow.h"

#include "network/system.h"
#include "tests/common/boxanswerer.h"
#include "tests/common/session.h"

#include <QtWidgets>

#ifdef TARNWICK_HAVE_QPA
#include <qpa/qwindowsysteminterface.h>
#endif

namespace {

const QString labDock = "7|Lab Dock|USB 10/100/1000 LAN|en7|1|manual|10.1.1.5|255.255.0.0|\n";

// The window over a fresh simulated Mac and store, shown and active; `prepare` edits the store first.
struct Session : StoreSession, BoxAnswerer
{
    explicit Session(const std::function<void(ConfigManager&)>& prepare = {})
    {
        if (prepare)
            prepare(start());
        window = std::make_unique<MainWindow>();
        window->show();
        refresh = window->findChild<QTimer*>(QString(), Qt::FindDirectChildrenOnly);
    }
    template <typename T = QWidget> T* child(const QString& name) { return window->findChild<T*>(name); }
    // A choice made by the user: Qt reports it with activated(), which a choice made by code never emits.
    void choose(const char* combo, const QString& text)
    {
        child<QComboBox>(combo)->setCurrentText(text);
        emit child<QComboBox>(combo)->activated(child<QComboBox>(combo)->currentIndex());
    }
    // Sent to the window made active again: the offscreen platform hands activation back to no one when a
    // notice or dialog closes.
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::ControlModifier)
    {
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        QTest::keyClick(window.get(), key, modifiers);
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
    // Every command the machine received, one "command|argument|..." a line; or only the changes, joined
    // by " ; ".
    QString calls(bool changesOnly = false) const
    {
        QStringList result;
        for (const QStringList& call : mac.calls())
            if (!changesOnly || call.value(1).startsWith("-set"))
                result.append(call.join(u'|'));
        return result.join(changesOnly ? " ; " : "\n") + (changesOnly ? "" : "\n");
    }

    std::unique_ptr<MainWindow> window;
    QTimer* refresh;
};

} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void appliesTheChosenProfile_data()
    {
        addFixtureRows("window/apply.txt",
                       {"networkId", "service", "profile", "setup", "shown", "changes", "notice", "fields"});
    }

    void appliesTheChosenProfile()
    {
        QFETCH(QString, networkId);
        QFETCH(QString, service);
        QFETCH(QString, profile);
        QFETCH(QString, setup);
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
        if (setup.contains("tick")) {
            // The tick unlocks the last router box only; another profile locks it again but keeps the tick.
            s.choose("comboBoxProfil", "Intercom");
            QTest::mouseClick(s.child("checkBoxRouter"), Qt::LeftButton);
            QVERIFY(s.shown().endsWith("192.168.3.1* | [x]"));
            QTRY_VERIFY(s.child("sb_router_4")->hasFocus());
        }
        s.choose("comboBoxProfil", profile);
        QCOMPARE(s.shown(), shown);
        if (setup == "host") {
            s.child<QSpinBox>("sb_addr_4")->setValue(42);
            s.child<QCheckBox>("checkBoxRouter")->click();
            s.child<QSpinBox>("sb_router_4")->setValue(254);
        }
        s.mac.setFailure(setup.contains("admin") ? "admin" : "");
        s.mac.setErrorsToStdout(setup.endsWith("stdout"));
        s.mac.clearCalls();
        s.key(Qt::Key_E); // the button's shortcut clicks it a moment later
        QTRY_COMPARE_WITH_TIMEOUT(s.seen, QStringList{notice}, 20000);
        QCOMPARE(s.calls(true), changes);
        // The fields show the machine as it is now; the choices stay as the user left them.
        QCOMPARE(s.shown().section(' ', 1, 3), fields);
        QCOMPARE(s.child<QComboBox>("comboBoxProfil")->currentText(), profile);
        QCOMPARE(s.window->focusWidget(), s.child("comboBoxInterface"));
    }

    void startsRefreshesReloadsAndRestores()
    {
        Session s([](ConfigManager& store) { store.removeEntry("Intercom"); });
        QCOMPARE(s.window->windowTitle(), "Tarnwick 0.8.3");
        QCOMPARE(s.items("comboBoxInterface"), "Ethernet, Wi-Fi, USB 10/100/1000 LAN, iPhone USB");
        QCOMPARE(s.items("comboBoxProfil"), "DHCP, LA-Network, Management, APIPA-FIX");
        QCOMPARE(s.shown(), "en0 192.168.1.201 255.255.255.0 192.168.1.1 | 0.0.0.0 0.0.0.0 0.0.0.1 | -[ ]");
        const auto* reload = s.child<QPushButton>("pushButton_reload");
        QVERIFY(reload->text().isEmpty() && !reload->icon().isNull() && s.refresh->isActive());
        // The fields show the machine and nothing else: no focus, no editing, presses swallowed.
        for (QLineEdit* field : s.window->findChildren<QLineEdit*>(QRegularExpression("^lin"))) {
            QMouseEvent press(QEvent::MouseButtonDblClick, {5, 5}, {5, 5}, Qt::LeftButton, Qt::LeftButton, {});
            QVERIFY(field->isReadOnly() && field->focusPolicy() == Qt::NoFocus && s.window->eventFilter(field, &press));
        }
        // The refresh follows the machine but leaves the lists alone.
        s.choose("comboBoxProfil", "LA-Network");
        s.mac.setServices(s.mac.services().replace("192.168.1.201", "172.20.1.9") + labDock);
        s.refresh->start(20);
        QTRY_VERIFY_WITH_TIMEOUT(s.shown().startsWith("en0 172.20.1.9 255.255.255.0 192.168.1.1 | 192.168.1.201*"),
                                 20000);
        s.refresh->stop();
        QVERIFY(!s.items("comboBoxInterface").contains("Lab Dock"));
        // A reload refills both lists from the start but leaves the spin boxes as they were.
        s.choose("comboBoxInterface", "Wi-Fi");
        s.key(Qt::Key_R);
        QCOMPARE(s.items("comboBoxInterface"), "Ethernet, Wi-Fi, USB 10/100/1000 LAN, iPhone USB, Lab Dock");
        QCOMPARE(s.items("comboBoxProfil"), "DHCP, LA-Network, Management, APIPA-FIX");
        QVERIFY(s.shown().startsWith("en0 172.20.1.9 255.255.255.0 192.168.1.1 | 192.168.1.201*"));
        s.key(Qt::Key_R, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(s.items("comboBoxProfil"), "DHCP, LA-Network, Intercom, Management, APIPA-FIX");
        QCOMPARE(s.file(), StoreSession::read(StoreSession::defaultConfig));
        // With the file gone there is nothing to restore, and nothing to announce.
        QVERIFY(QFile::remove(s.path));
        s.key(Qt::Key_R, Qt::ControlModifier | Qt::ShiftModifier);
        s.child<QAction>("actionAbout")->trigger();
        QCOMPARE(s.seen.join('\n'), FakeMac::fixture("window/notices.txt").trimmed());
    }

    // Refresh ticks that land while Apply's commands wait must not read the machine between them.
    void skipsTheRefreshWhileACommandWaits()
    {
        Session s;
        s.choose("comboBoxProfil", "LA-Network");
        int busyTicks = 0;
        connect(s.refresh, &QTimer::timeout, this, [&] {
            // Two skipped ticks prove it; then the machine answers at once again and the refresh stops, so
            // that no tick can land between the Apply's commands while its notice is up.
            if ((busyTicks += System::isBusy()) == 2) {
                s.mac.setDelay(0);
                s.refresh->stop();
            }
        });
        s.refresh->start(100);
        s.mac.setDelay(0.5);
        s.mac.clearCalls();
        QTest::mouseClick(s.child("execButton"), Qt::LeftButton);
        QVERIFY2(busyTicks >= 2, qPrintable(QString::number(busyTicks)));
        QCOMPARE(s.calls(), FakeMac::fixture("window/apply-calls.txt"));
    }

    // A key typed while a reading the user started waits is handled once, after it: the reading refills the
    // profile list, and only then does Down move from DHCP to the first profile.
    void runsKeysTypedDuringACommandOnceAfterIt()
    {
#ifndef TARNWICK_HAVE_QPA
        QSKIP("Posting keys the way the window system does needs Qt's private headers");
#else
        Session s;
        s.child("comboBoxProfil")->setFocus();
        s.mac.setDelay(0.5);
        QTimer typist;
        connect(&typist, &QTimer::timeout, this, [&] {
            if (auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget()))
                dialog->reject(); // the settings dialog, closed unchanged: the window then reads the machine
            if (!System::isBusy())
                return;
            typist.stop();
            s.mac.setDelay(0);
            for (QEvent::Type type : {QEvent::KeyPress, QEvent::KeyRelease})
                QWindowSystemInterface::handleKeyEvent<QWindowSystemInterface::AsynchronousDelivery>(
                    s.window->windowHandle(), type, Qt::Key_Down, Qt::NoModifier);
        });
        typist.start(20);
        s.child<QAction>("actionSettings")->trigger();
        QVERIFY(!typist.isActive());
        QTRY_COMPARE(s.child<QComboBox>("comboBoxProfil")->currentText(), "LA-Network");
        QTest::qWait(100);
        QCOMPARE(s.shown().section(" | ", 1), "192.168.1.201* 255.255.255.0 192.168.1.1 | [ ]");
#endif
    }

    // The five-second reading runs off the GUI thread: a choice made meanwhile is handled at once, and the
    // reading still lands.
    void handlesInputWhileTheRefreshReads()
    {
        Session s;
        s.mac.setServices(s.mac.services().replace("192.168.1.201", "172.20.1.9"));
        s.mac.setDelay(0.5);
        startRefresh(s);
        QTest::keyClick(s.child("comboBoxProfil"), Qt::Key_Down);
        QVERIFY2(!s.calls().contains("ifconfig"), "the input waited for the reading");
        QCOMPARE(s.shown(),
                 "en0 192.168.1.201 255.255.255.0 192.168.1.1 | 192.168.1.201* 255.255.255.0 192.168.1.1 | [ ]");
        QTRY_VERIFY_WITH_TIMEOUT(s.shown().startsWith("en0 172.20.1.9 "), 10000);
    }

    void dropsAReadingOvertakenByAnApply()
    {
        Session s;
        s.mac.setDelay(0.5);
        startRefresh(s);
        // The reading sees Ethernet at 192.168.1.201, then waits on the next service long after the Apply.
        QTRY_VERIFY(s.calls().contains("-getinfo|Ethernet"));
        s.mac.setDelay(2.5);
        QTRY_VERIFY(s.calls().contains("-getinfo|Wi-Fi"));
        s.mac.setDelay(0);
        s.choose("comboBoxProfil", "Intercom");
        QTest::mouseClick(s.child("execButton"), Qt::LeftButton);
        QCOMPARE(s.seen, QStringList{"NoIcon; Success; It's done!"});
        const QString applied = "en0 192.168.3.201 255.255.255.0 ...";
        QVERIFY(s.shown().startsWith(applied));
        QTRY_COMPARE_WITH_TIMEOUT(s.calls().count("ifconfig"), 2, 10000);
        QTest::qWait(300);
        QVERIFY(s.shown().startsWith(applied));
    }

    // Ctrl+E applies from a focused spin box even where the platform binds it to "end of line", under a busy
    // cursor that is gone afterwards.
    void appliesFromAFocusedSpinBoxUnderABusyCursor()
    {
        Session s;
        s.choose("comboBoxProfil", "LA-Network");
        auto* host = s.child<QSpinBox>("sb_addr_4");
        host->setValue(42);
        host->setFocus();
        struct EndOfLine : QObject
        {
            bool eventFilter(QObject*, QEvent* event) override
            {
                if (event->type() == QEvent::ShortcutOverride &&
                    static_cast<QKeyEvent*>(event)->keyCombination() == QKeyCombination(Qt::CTRL | Qt::Key_E))
                    event->accept();
                return false;
            }
        } endOfLine;
        host->installEventFilter(&endOfLine);
        bool busyCursor = false;
        QTimer probe;
        connect(&probe, &QTimer::timeout, this, [&] {
            const QCursor* cursor = QApplication::overrideCursor();
            busyCursor |= System::isBusy() && cursor && cursor->shape() == Qt::WaitCursor;
        });
        probe.start(20);
        s.mac.setDelay(0.2);
        s.mac.clearCalls();
        s.window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(s.window.get()));
        QTest::keyClick(host, Qt::Key_E, Qt::ControlModifier);
        QTRY_COMPARE(s.seen, QStringList{"NoIcon; Success; It's done!"});
        QTRY_VERIFY(!System::isBusy());
        QCOMPARE(s.calls(true), "networksetup|-setdhcp|Ethernet ; networksetup|-setmanual|Ethernet|192.168.1.42|"
                                "255.255.255.0|");
        QVERIFY(busyCursor);
        QCOMPARE(QApplication::overrideCursor(), nullptr);
    }

    void quitsAtOnceDuringAHungReading()
    {
        // A delay no other process would sleep (this test's pid in it), to find what the hung command left.
        const QByteArray hang = QByteArray::number(100000 + QCoreApplication::applicationPid() % 100000);
        const auto sleepersLeft = [&hang] {
            int found = 0;
            for (const QString& pid : QDir("/proc").entryList({"[0-9]*"}, QDir::Dirs)) {
                QFile cmdline("/proc/" + pid + "/cmdline");
                found += cmdline.open(QIODevice::ReadOnly) && cmdline.readAll().contains(hang + '\0');
            }
            return found;
        };
        auto s = std::make_unique<Session>();
        s->mac.setDelay(hang.toDouble());
        startRefresh(*s);
        if (QDir("/proc/self").exists())
            QTRY_COMPARE(sleepersLeft(), 1);
        QElapsedTimer clock;
        clock.start();
        s.reset();
        QVERIFY2(clock.elapsed() < 1000, qPrintable(QString::number(clock.elapsed()) + " ms"));
        QTRY_COMPARE(sleepersLeft(), 0);
    }

private:
    // Starts the refresh now instead of in five seconds and waits until its first command runs.
    static void startRefresh(Session& s)
    {
        s.mac.clearCalls();
        s.refresh->start(1);
        QTRY_VERIFY(!s.mac.calls().isEmpty());
        s.refresh->start(5000);
    }
};

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
