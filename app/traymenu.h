#pragma once

#include <QIcon>
#include <QObject>
#include <QString>

class QMenu;
class Switcher;
struct ChangeReport;

// The menu-bar item's menu, built from the switching core: a section (or a submenu, with several services)
// per offered service, headed by what it uses now, with DHCP and every profile to choose from, the current
// one checked; then "Open Tarnwick…" and "Quit". A choice runs the same job as the window's Apply. Kept apart
// from the tray icon itself, which the offscreen platform lacks, so that it can be walked and triggered.
class TrayMenu : public QObject
{
    Q_OBJECT

public:
    TrayMenu(Switcher& switcher, QMenu& menu, QObject* parent = nullptr);

    // What the icon and its tooltip show: the first offered service's method, or the last change's failure.
    QIcon icon() const;
    QString toolTip() const;

signals:
    void openRequested();
    void quitRequested();
    // A choice the rules refused before anything ran, and the report of a change started here.
    void refused(const QString& reason);
    void reported(const ChangeReport& report);
    void iconChanged();

private:
    void rebuild();
    void scheduleRebuild();
    void choose(const QString& service, const QString& profile);
    QString currentProfile(const QString& service) const;

    Switcher& switcher;
    QMenu& menu;
    QString pendingService; // the service of the change started from this menu, until its report
    bool lastFailed = false;
    bool rebuildPending = false;
};
