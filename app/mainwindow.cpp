#include "app/mainwindow.h"
#include "ui_mainwindow.h"

#include "dialogs/infodialog.h"
#include "dialogs/profiledialog.h"
#include "dialogs/settingsdialog.h"
#include "network/system.h"

#include <QApplication>
#include <QDebug>
#include <QEvent>
#include <QKeyEvent>
#include <QKeySequence>
#include <QLineEdit>
#include <QMessageBox>
#include <QPixmap>
#include <QSpinBox>
#include <QStyle>
#include <QThread>
#include <QTimer>

namespace {

const QString dhcpProfile = QStringLiteral("DHCP");
const QString settingsSection = QStringLiteral("settings");
const QKeyCombination applyKey(Qt::CTRL | Qt::Key_E);

// While a command the user started waits, the window still paints but takes no input: the cursor says so.
struct BusyCursor
{
    BusyCursor() { QApplication::setOverrideCursor(Qt::WaitCursor); }
    ~BusyCursor() { QApplication::restoreOverrideCursor(); }
};

} // namespace

MainWindow::MainWindow(QWidget* parent)
    : QMainWindow(parent), ui(new Ui::MainWindow), timer(nullptr),
      configManager(QStringLiteral("config.xml"), QStringLiteral(":/resources/resources/default-config.xml"))
{
    ui_init();
    ui_update();
    iface_update();
    profil_update();

    timer = new QTimer(this);
    connect(timer, &QTimer::timeout, this, &MainWindow::onTimerTimeout);
    timer->start(5000);
}

MainWindow::~MainWindow()
{
    // A reading may be waiting on a command that never ends: end it rather than wait 30 s.
    stopReading = true;
    if (reader)
        reader->wait();
    qDebug() << "Goodbye";
    delete ui;
}

void MainWindow::ui_init()
{
    ui->setupUi(this);
    setWindowTitle(QStringLiteral("Tarnwick") + QLatin1Char(' ') + QStringLiteral(TARNWICK_VERSION));
    setFixedSize(size());

    lineEditAddr = {ui->lineEdit_addr_1, ui->lineEdit_addr_2, ui->lineEdit_addr_3, ui->lineEdit_addr_4};
    lineEditMask = {ui->lineEdit_mask_1, ui->lineEdit_mask_2, ui->lineEdit_mask_3, ui->lineEdit_mask_4};
    lineEditRouter = {ui->linEdit_router_1, ui->lineEdit_router_2, ui->lineEdit_router_3, ui->lineEdit_router_4};
    lineEditAll = lineEditAddr + lineEditMask + lineEditRouter;
    spinBoxAddr = {ui->sb_addr_1, ui->sb_addr_2, ui->sb_addr_3, ui->sb_addr_4};
    spinBoxMask = {ui->sb_mask_1, ui->sb_mask_2, ui->sb_mask_3, ui->sb_mask_4};
    spinBoxRouter = {ui->sb_router_1, ui->sb_router_2, ui->sb_router_3, ui->sb_router_4};

    for (QLineEdit* edit : std::as_const(lineEditAll)) {
        edit->setReadOnly(true);
        edit->setFocusPolicy(Qt::NoFocus);
        edit->installEventFilter(this);
    }
    // Disabled boxes still carry the address to be applied, so they must stay readable.
    for (QSpinBox* box : spinBoxAddr + spinBoxMask + spinBoxRouter) {
        box->setStyleSheet(QStringLiteral("QSpinBox:disabled { color: black; background-color: #D0D0D0; }"));
        // On X11 a spin box takes Ctrl+E as "end of line", which would keep Apply from the keyboard.
        box->installEventFilter(this);
    }

    ui->pushButton_reload->setText(QString());
    ui->pushButton_reload->setIcon(style()->standardIcon(QStyle::SP_BrowserReload));
    ui->pushButton_reload->setToolTip(tr("Reload interface data (⌘+R)"));

    ui_create_connect();
    ui_create_shortcut();
    configManager.print();
}

void MainWindow::ui_create_connect()
{
    connect(ui->comboBoxInterface, &QComboBox::activated, this, &MainWindow::iface_update);
    connect(ui->comboBoxProfil, &QComboBox::activated, this, &MainWindow::profil_update);
    connect(ui->pushButton_reload, &QAbstractButton::clicked, this, &MainWindow::menu_reload_data);
    connect(ui->checkBoxRouter, &QAbstractButton::clicked, this, &MainWindow::checkBoxRouterUpdate);
    connect(ui->execButton, &QAbstractButton::clicked, this, &MainWindow::exec);
    connect(ui->actionReloadData, &QAction::triggered, this, &MainWindow::menu_reload_data);
    connect(ui->actionRestoreDefault, &QAction::triggered, this, &MainWindow::menu_restore_default_config);
    connect(ui->actionManageProfiles, &QAction::triggered, this, &MainWindow::menu_manage_profiles);
    connect(ui->actionSettings, &QAction::triggered, this, &MainWindow::menu_settings);
    connect(ui->actionAbout, &QAction::triggered, this, &MainWindow::aboutBox);
}

void MainWindow::ui_create_shortcut()
{
    ui->execButton->setShortcut(QKeySequence(applyKey));
    ui->actionReloadData->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_R));
    ui->actionRestoreDefault->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_R));
    ui->actionManageProfiles->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_P));
    ui->actionSettings->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Comma));
    // In no menu, so its shortcut only works while the window itself carries the action.
    addAction(ui->actionRestoreDefault);
}

void MainWindow::ui_update()
{
    ui_clear();
    for (const QString& device : networkManager.getInterfaces())
        ui->comboBoxInterface->addItem(networkManager.getName(device));
    ui->comboBoxProfil->addItem(dhcpProfile);
    ui->comboBoxProfil->addItems(configManager.getProfileEntries());
    update();
}

void MainWindow::ui_clear()
{
    readNetwork();
    ui->comboBoxInterface->clear();
    ui->comboBoxProfil->clear();
}

void MainWindow::readNetwork()
{
    ++readingGeneration;
    BusyCursor busy;
    networkManager.update();
}

void MainWindow::showReading(const InterfaceMap& reading, quint64 generation)
{
    if (generation != readingGeneration)
        return;
    networkManager.setInterfaces(reading);
    iface_update();
}

void MainWindow::iface_update()
{
    const QString device = networkManager.getInterfaceByName(ui->comboBoxInterface->currentText());
    ui->iface_label_hardware->setText(device);
    lineEdit_fill(lineEditAddr, networkManager.getIp4(device));
    lineEdit_fill(lineEditMask, networkManager.getNetmask(device));
    lineEdit_fill(lineEditRouter, networkManager.getRouter(device));
}

void MainWindow::profil_update()
{
    const QString profile = ui->comboBoxProfil->currentText();
    qDebug() << "QMainWindow -> Activated profil:" << profile;

    spinBox_reset(spinBoxAddr);
    spinBox_reset(spinBoxRouter);

    if (profile == dhcpProfile) {
        spinBox_fill(spinBoxAddr, QStringLiteral("0.0.0.0"));
        spinBox_fill(spinBoxMask, QStringLiteral("0.0.0.0"));
        ipRouter_fill(QStringLiteral("0.0.0.0"));
        ui->checkBoxRouter->setChecked(false);
        ui->checkBoxRouter->setEnabled(false);
        return;
    }

    // Only the host number is the user's to choose; the network part belongs to the profile.
    const QString address = configManager.getParameter(profile, QStringLiteral("address"));
    const int host = configManager.getParameter(settingsSection, QStringLiteral("default_network_id")).toInt();
    spinBox_fill(spinBoxAddr, NetworkManager::hostAddress(address, host));
    spinBox_enabler(spinBoxAddr, 1);
    spinBox_fill(spinBoxMask, configManager.getParameter(profile, QStringLiteral("mask")));
    spinBox_enabler(spinBoxRouter, 0);
    const QString gateway = configManager.getParameter(profile, QStringLiteral("gateway"));
    spinBox_fill(spinBoxRouter, NetworkManager::proposedRouter(address, gateway));
    ui->checkBoxRouter->setEnabled(true);
}

void MainWindow::checkBoxRouterUpdate()
{
    spinBox_enabler(spinBoxRouter, ui->checkBoxRouter->isChecked() ? 1 : 0);
    ui->sb_router_4->setFocus(Qt::OtherFocusReason);
}

bool MainWindow::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::ShortcutOverride && static_cast<QKeyEvent*>(event)->keyCombination() == applyKey) {
        event->ignore(); // so that the shortcut goes to Apply
        return true;
    }
    auto* edit = qobject_cast<QLineEdit*>(watched);
    if (edit && lineEditAll.contains(edit)) {
        switch (event->type()) {
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonDblClick:
        case QEvent::MouseMove:
            return true;
        default:
            break;
        }
    }
    return QMainWindow::eventFilter(watched, event);
}

void MainWindow::lineEdit_fill(const QList<QLineEdit*>& list, const QString& text)
{
    const QStringList parts = (text.isEmpty() ? QStringLiteral("...") : text).split(QLatin1Char('.'));
    for (int i = 0; i < list.size(); ++i)
        list.at(i)->setText(parts.value(i));
}

void MainWindow::spinBox_fill(const QList<QSpinBox*>& list, const QString& text)
{
    const QStringList parts = text.split(QLatin1Char('.'));
    for (int i = 0; i < list.size(); ++i)
        list.at(i)->setValue(parts.value(i).toInt());
}

void MainWindow::ipRouter_fill(const QString& text)
{
    spinBox_fill(spinBoxRouter, text);
    ui->sb_router_4->setValue(1);
}

QString MainWindow::getSpinBox(const QList<QSpinBox*>& list) const
{
    QStringList parts;
    for (const QSpinBox* box : list)
        parts.append(QString::number(box->value()));
    return parts.join(QLatin1Char('.'));
}

void MainWindow::spinBox_enabler(const QList<QSpinBox*>& list, int count)
{
    for (int i = 0; i < list.size(); ++i)
        list.at(list.size() - 1 - i)->setEnabled(i < count);
}

void MainWindow::spinBox_reset(const QList<QSpinBox*>& list)
{
    for (QSpinBox* box : list) {
        box->setEnabled(false);
        box->setMinimum(0);
    }
}

void MainWindow::onTimerTimeout()
{
    // A tick that lands while a command the user started is waiting, or while the previous reading
    // still runs, is skipped; the next tick catches up instead.
    if (System::isBusy() || reader)
        return;
    const quint64 generation = readingGeneration;
    reader = QThread::create([this, generation] {
        const InterfaceMap reading = NetworkManager::read(&stopReading);
        QMetaObject::invokeMethod(
            this, [this, reading, generation] { showReading(reading, generation); }, Qt::QueuedConnection);
    });
    reader->setParent(this);
    connect(reader, &QThread::finished, this, [this] {
        reader->deleteLater();
        reader = nullptr;
    });
    reader->start();
}

void MainWindow::exec()
{
    const QString service = ui->comboBoxInterface->currentText();
    const QString profile = ui->comboBoxProfil->currentText();
    qDebug() << "EXEC -> Interface:" << service << "/ Settings:" << profile;

    const QString address = getSpinBox(spinBoxAddr);
    const QString mask = configManager.getParameter(profile, QStringLiteral("mask"));
    const QString router = getSpinBox(spinBoxRouter);

    QList<QString> result;
    {
        BusyCursor busy;
        if (profile == dhcpProfile)
            result = NetworkManager::setDHCP(service);
        else if (!ui->checkBoxRouter->isChecked())
            result = NetworkManager::setManual(service, address, mask, QString());
        else
            result = NetworkManager::setManual(service, address, mask, router);
    }

    const QString error = NetworkManager::changeError(result);
    if (error.isEmpty())
        InfoDialog::information(this, tr("Success"), tr("It's done!"));
    else
        InfoDialog::warning(this, tr("Error"), error);

    ui->comboBoxInterface->setFocus(Qt::OtherFocusReason);
    readNetwork();
    iface_update();
}

void MainWindow::menu_reload_data()
{
    qDebug() << "QMenuBar -> Reloading network interface...";
    readNetwork();
    ui_update();
    iface_update();
    InfoDialog::information(this, tr("Success"), tr("Network interface reloaded"));
}

void MainWindow::menu_restore_default_config()
{
    qDebug() << "QMenuBar -> Restoring default configuration...";
    if (configManager.restoreDefault()) {
        InfoDialog::information(this, tr("Success"), tr("Default configuration restored"));
        ui_update();
    }
    configManager.print();
}

// Either dialog may have changed the store, so the window refills its lists whatever the outcome.
void MainWindow::menu_manage_profiles()
{
    qDebug() << "QMenuBar -> Managing profiles...";
    ProfileDialog dialog(configManager, this);
    dialog.exec();
    ui_update();
    profil_update();
}

void MainWindow::menu_settings()
{
    qDebug() << "QMenuBar -> Opening settings...";
    SettingsDialog dialog(configManager, this);
    dialog.exec();
    ui_update();
    profil_update();
}

void MainWindow::aboutBox()
{
    const QString author = QStringLiteral("Tarnwick_Developers");
    const QString mail = QStringLiteral("tarnwick@example.org");

    const QString heading = tr("<h3>About %1</h3>").arg(QStringLiteral("Tarnwick"));
    const QString body =
        tr("<p>Author : %1</p><p>Mail : <a href=\"mailto:%2\">%2</a></p>"
           "<p>Version : %3 (Build on %4)</p><p>Based on Qt %5.</p>")
            .arg(QString(author).replace(QLatin1Char('_'), QLatin1Char(' ')), mail, QStringLiteral(TARNWICK_VERSION),
                 QStringLiteral("Mar 31 2026"), QStringLiteral("6.9.0"));

    auto* box = new QMessageBox(this);
    box->setWindowTitle(tr("About"));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setText(heading);
    box->setInformativeText(body);
    box->setIconPixmap(
        QPixmap(QStringLiteral(":/resources/images/AppIcon.png")).scaledToWidth(100, Qt::FastTransformation));
    box->exec();
}
