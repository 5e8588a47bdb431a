#pragma once

#include "config/configmanager.h"
#include "network/networkmanager.h"

#include <QList>
#include <QMainWindow>

#include <atomic>

class QEvent;
class QLineEdit;
class QSpinBox;
class QThread;
class QTimer;

namespace Ui {
class MainWindow;
}

class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    bool eventFilter(QObject* watched, QEvent* event) override;

private slots:
    void onTimerTimeout();
    void exec();
    void menu_reload_data();
    void menu_restore_default_config();
    void menu_manage_profiles();
    void menu_settings();
    void aboutBox();

private:
    void ui_init();
    void ui_create_connect();
    void ui_create_shortcut();
    void ui_update();
    void ui_clear();
    void readNetwork();
    void showReading(const InterfaceMap& reading, quint64 generation);
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
    // The timer's reading runs on this thread, one at a time; readings started by the user bump the
    // generation so that an older background reading arriving later is dropped.
    QThread* reader = nullptr;
    quint64 readingGeneration = 0;
    std::atomic<bool> stopReading{false};
    NetworkManager networkManager;
    ConfigManager configManager;
    QList<QLineEdit*> lineEditAddr;
    QList<QLineEdit*> lineEditMask;
    QList<QLineEdit*> lineEditRouter;
    QList<QLineEdit*> lineEditAll;
    QList<QSpinBox*> spinBoxAddr;
    QList<QSpinBox*> spinBoxMask;
    QList<QSpinBox*> spinBoxRouter;
};
