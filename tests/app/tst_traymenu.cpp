#include "app/traymenu.h"

#include "core/switcher.h"
#include "tests/common/session.h"

#include <QMenu>
#include <QSignalSpy>
#include <QtWidgets>

namespace {

// The menu as a person reads it: one line per entry, submenus indented, "[x]" before a checked entry and
// "-" before a disabled one.
QStringList walk(const QMenu& menu, const QString& indent = {})
{
    QStringList lines;
    for (QAction* action : menu.actions()) {
        if (action->menu()) {
            lines.append(indent + action->text());
            lines += walk(*action->menu(), indent + "  ");
        } else if (!action->isSeparator() || !action->text().isEmpty()) {
            lines.append(indent + (action->isEnabled() ? "" : "-") + (action->isChecked() ? "[x] " : "") +
                         (action->isSeparator() ? "== " : "") + action->text());
        }
    }
    return lines;
}

QAction* find(const QMenu& menu, const QString& submenu, const QString& text)
{
    for (QAction* action : menu.actions()) {
        if (!submenu.isEmpty() && action->menu() && action->text().startsWith(submenu))
            return find(*action->menu(), {}, text);
        if (submenu.isEmpty() && action->text() == text)
            return action;
    }
    return nullptr;
}

struct Tray : StoreSession
{
    Tray()
    {
        switcher = std::make_unique<Switcher>(start());
        tray = std::make_unique<TrayMenu>(*switcher, menu);
        read();
    }
    void read()
    {
        QSignalSpy readings(switcher.get(), &Switcher::readingFinished);
        switcher->read(true);
        QTRY_COMPARE(readings.size(), 1);
    }
    std::unique_ptr<Switcher> switcher;
    QMenu menu;
    std::unique_ptr<TrayMenu> tray;
};

const QStringList profiles{"DHCP", "LA-Network", "Intercom", "Management", "APIPA-FIX"};

} // namespace

class TestTrayMenu : public QObject
{
    Q_OBJECT

private slots:
    void offersEveryServiceWithItsProfiles()
    {
        Tray t;
        QStringList expected;
        const QStringList headings{"Ethernet — 192.168.1.201 (manual)", "Wi-Fi — 10.0.0.23 (DHCP)",
                                   "USB 10/100/1000 LAN — no address (DHCP)", "iPhone USB — no address (DHCP)"};
        for (const QString& heading : headings) {
            expected.append(heading);
            for (const QString& profile : profiles) {
                const bool current = (heading.startsWith("Ethernet") && profile == "LA-Network") ||
                                     (!heading.startsWith("Ethernet") && profile == "DHCP");
                expected.append("  " + QString(current ? "[x] " : "") + profile);
            }
        }
        QCOMPARE(walk(t.menu), expected + QStringList({"Open Tarnwick…", "Quit"}));
        QCOMPARE(t.tray->toolTip(), "Ethernet — 192.168.1.201 (manual)\nWi-Fi — 10.0.0.23 (DHCP)\n"
                                    "USB 10/100/1000 LAN — no address (DHCP)\niPhone USB — no address (DHCP)");

        // Each reading builds the menu anew, and only once: nothing piles up across readings.
        t.read();
        QCOMPARE(t.menu.findChildren<QMenu*>().size(), 4);
        QCOMPARE(t.menu.findChildren<QActionGroup*>().size(), 4);
        // One service: a section, not a submenu.
        t.mac.setServices("1|Wi-Fi|Wi-Fi|en1|1|dhcp|10.0.0.23|255.255.255.0|10.0.0.1\n");
        t.read();
        const QStringList single{"== Wi-Fi — 10.0.0.23 (DHCP)", "[x] DHCP", "LA-Network"};
        QCOMPARE(walk(t.menu).mid(0, 3), single);
    }

    // A choice runs the window's Apply for the profile as it stands, with every entry disabled meanwhile.
    void appliesAChoiceAsTheWindowDoes()
    {
        Tray t;
        QSignalSpy reports(t.tray.get(), &TrayMenu::reported);
        t.mac.clearCalls();
        t.mac.setHold("-setmanual");
        find(t.menu, "Wi-Fi", "Intercom")->trigger();
        QTRY_VERIFY(!find(t.menu, "Wi-Fi", "DHCP")->isEnabled());
        QVERIFY(!find(t.menu, "Ethernet", "Management")->isEnabled());
        find(t.menu, "Ethernet", "DHCP")->trigger(); // ignored while the change runs
        t.mac.release();
        QTRY_COMPARE(reports.size(), 1);
        QStringList changes;
        for (const QStringList& call : t.mac.calls()) {
            if (call.value(1).startsWith("-set"))
                changes.append(call.mid(1).join('|'));
        }
        QCOMPARE(changes, (QStringList{"-setdhcp|Wi-Fi", "-setmanual|Wi-Fi|192.168.3.201|255.255.255.0|192.168.3.1"}));
        QCOMPARE(reports.first().first().value<ChangeReport>().line,
                 "Wi-Fi now uses 192.168.3.201 mask 255.255.255.0, router 192.168.3.1.");
        QTRY_VERIFY(find(t.menu, "Wi-Fi", "DHCP")->isEnabled());
        QVERIFY(find(t.menu, "Wi-Fi", "Intercom")->isChecked());
        // The change can be undone from here too, back to the lease it had.
        find(t.menu, {}, "Undo Change to Wi-Fi")->trigger();
        QTRY_COMPARE(reports.size(), 2);
        QCOMPARE(reports.last().first().value<ChangeReport>().line, "Wi-Fi now uses DHCP.");
        QTRY_VERIFY(!find(t.menu, {}, "Undo Change to Wi-Fi"));
    }

    // A profile saved by anyone, this program or tarnwick-cli, is offered without a restart.
    void followsTheProfilesFile()
    {
        Tray t;
        ConfigManager other(ConfigManager::FILE_NAME, StoreSession::defaultConfig);
        QVERIFY(other.addEntry("Lab", {{"address", "10.5.0.0"}, {"mask", "255.255.0.0"}}));
        QTRY_VERIFY(find(t.menu, "Wi-Fi", "Lab"));
        QVERIFY(find(t.menu, "Ethernet", "Lab"));
    }
};

QTEST_MAIN(TestTrayMenu)
#include "tst_traymenu.moc"
