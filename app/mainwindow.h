#pragma once

#include "core/switcher.h"

#include <QList>
#include <QMainWindow>

class QAction;
class QSystemTrayIcon;
class TrayMenu;
class QEvent;
class QLineEdit;
class QSpinBox;
class QTimer;

namespace Ui {
class MainWindow;
}

// A view of the switching core: it shows the machine and the profiles, starts the core's jobs and shows
// what they report; no command runs on its thread.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private slots:
    void onTimerTimeout();
    void exec();
    void menu_reload_data();
    void menu_undo();
    void menu_import_profiles();
    void menu_export_profiles();
    void menu_restore_default_config();
    void menu_manage_profiles();
    void menu_settings();
    void aboutBox();
    void quit();

private:
    // What the window does once the reading it asked for lands.
    enum class AfterReading { Refill, Reload };

    void ui_init();
    void showTray();
    void ui_create_connect();
    void ui_create_shortcut();
    void ui_update(AfterReading after = AfterReading::Refill);
    void fillServices();
    void fillProfiles();
    void showReading(const MachineReading& reading, bool byUser);
    void reportReading(const MachineReading& reading);
    void changeDone(const ChangeReport& report);
    void reportChange(const ChangeReport& report);
    void setBusy(bool busy);
    void updateApply();
    ChangeVerdict chosenChange() const;
    void askToKeep(const ChangeReport& report);
    QString settingOf(const QString& key) const;
    void iface_update();
    void profil_update();
    void checkBoxRouterUpdate();

    void lineEdit_fill(const QList<QLineEdit*>& list, const QString& text);
    void spinBox_fill(const QList<QSpinBox*>& list, const QString& text);
    void ipRouter_fill(const QString& text);
    QString getSpinBox(const QList<QSpinBox*>& list) const;
    void spinBox_enabler(const QList<QSpinBox*>& list, int count);
    void spinBox_reset(const QList<QSpinBox*>& list);

    Ui::MainWindow* ui;
    QTimer* timer;
    Switcher* switcher;
    QAction* applyAction;
    TrayMenu* trayMenu = nullptr;
    QSystemTrayIcon* tray = nullptr; // only where the system has a tray, and the user wants it
    QList<QLineEdit*> lineEditAddr;
    QList<QLineEdit*> lineEditMask;
    QList<QLineEdit*> lineEditRouter;
    QList<QLineEdit*> lineEditAll;
    QList<QSpinBox*> spinBoxAddr;
    QList<QSpinBox*> spinBoxMask;
    QList<QSpinBox*> spinBoxRouter;

    bool started = false;
    bool busy = false;
    bool closeWhenChanged = false; // a close came during a change: it is carried out when the change ends
    bool quitting = false;         // Quit, not a close that leaves the menu-bar item running
    bool fromWindow = false;       // the change under way was asked for here, not from the menu-bar item
    bool undoing = false;          // the change under way puts an earlier state back
    AfterReading afterReading = AfterReading::Refill;
    QString chosenService;
};
