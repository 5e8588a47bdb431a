#include "app/mainwindow.h"
#include "ui_mainwindow.h"

#include "app/traymenu.h"
#include "dialogs/infodialog.h"
#include "dialogs/profiledialog.h"
#include "dialogs/settingsdialog.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDebug>
#include <QDir>
#include <QFileDialog>
#include <QSaveFile>
#include <QKeyEvent>
#include <QKeySequence>
#include <QLineEdit>
#include <QMessageBox>
#include <QPixmap>
#include <QSpinBox>
#include <QStandardItemModel>
#include <QStatusBar>
#include <QStyle>
#include <QSystemTrayIcon>
#include <QTimer>

namespace {

const QKeyCombination applyKey(Qt::CTRL | Qt::Key_E);
const QString& showInMenuBarKey = ConfigManager::SHOW_IN_MENU_BAR_KEY;
const QString& askToKeepKey = ConfigManager::ASK_TO_KEEP_KEY;
const QString& keepSecondsKey = ConfigManager::KEEP_SECONDS_KEY;

} // namespace

MainWindow::MainWindow(QWidget* parent)
    : QMainWindow(parent), ui(new Ui::MainWindow), timer(nullptr),
      switcher(new Switcher(ConfigManager(ConfigManager::FILE_NAME, ConfigManager::DEFAULT_RESOURCE), this)),
      applyAction(new QAction(this))
{
    ui_init();
    fillProfiles();
    profil_update();
    // The service list waits for the first reading.
    ui->comboBoxInterface->setEnabled(false);
    updateApply();

    showTray();
    // The first reading starts as soon as the event loop runs, before the first paint, and runs on the core's
    // thread while the window is painted: the window shows at once, and the services fill in when read.
    QMetaObject::invokeMethod(
        switcher, [this] { switcher->read(true); }, Qt::QueuedConnection);

    timer = new QTimer(this);
    connect(timer, &QTimer::timeout, this, &MainWindow::onTimerTimeout);
    timer->start(5000);
}

MainWindow::~MainWindow()
{
    // The core goes first: it cancels a reading at once and lets a change that has begun end.
    delete switcher;
    setBusy(false);
    qDebug() << "Goodbye";
    delete ui;
}

void MainWindow::ui_init()
{
    ui->setupUi(this);
    setWindowTitle(QStringLiteral("Tarnwick") + QLatin1Char(' ') + QStringLiteral(TARNWICK_VERSION));
    // The status bar says what a change is doing and how it ended; the form's own size stays for the rest.
    resize(width(), height() + statusBar()->sizeHint().height());
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
    // On X11 a spin box takes Ctrl+E as "end of line", which would keep Apply from the keyboard.
    for (QSpinBox* box : spinBoxAddr + spinBoxMask + spinBoxRouter)
        box->installEventFilter(this);

    ui->pushButton_reload->setText(QString());
    ui->pushButton_reload->setIcon(style()->standardIcon(QStyle::SP_BrowserReload));

    ui_create_connect();
    ui_create_shortcut();
    switcher->config().print();
}

void MainWindow::ui_create_connect()
{
    connect(ui->comboBoxInterface, &QComboBox::activated, this, &MainWindow::iface_update);
    connect(ui->comboBoxProfil, &QComboBox::activated, this, &MainWindow::profil_update);
    connect(ui->pushButton_reload, &QAbstractButton::clicked, this, &MainWindow::menu_reload_data);
    connect(ui->checkBoxRouter, &QAbstractButton::clicked, this, &MainWindow::checkBoxRouterUpdate);
    for (QSpinBox* box : {ui->sb_addr_4, ui->sb_router_1, ui->sb_router_2, ui->sb_router_3, ui->sb_router_4})
        connect(box, &QSpinBox::valueChanged, this, &MainWindow::updateApply);
    connect(ui->checkBoxRouter, &QAbstractButton::toggled, this, &MainWindow::updateApply);
    connect(ui->execButton, &QAbstractButton::clicked, this, &MainWindow::exec);
    connect(applyAction, &QAction::triggered, this, &MainWindow::exec);
    connect(ui->actionReloadData, &QAction::triggered, this, &MainWindow::menu_reload_data);
    connect(ui->actionUndo, &QAction::triggered, this, &MainWindow::menu_undo);
    connect(ui->actionImportProfiles, &QAction::triggered, this, &MainWindow::menu_import_profiles);
    connect(ui->actionExportProfiles, &QAction::triggered, this, &MainWindow::menu_export_profiles);
    connect(ui->actionRestoreDefault, &QAction::triggered, this, &MainWindow::menu_restore_default_config);
    connect(ui->actionManageProfiles, &QAction::triggered, this, &MainWindow::menu_manage_profiles);
    connect(ui->actionSettings, &QAction::triggered, this, &MainWindow::menu_settings);
    connect(ui->actionAbout, &QAction::triggered, this, &MainWindow::aboutBox);
    connect(switcher, &Switcher::readingFinished, this, &MainWindow::showReading);
    connect(switcher, &Switcher::changeFinished, this, &MainWindow::changeDone);
    connect(switcher, &Switcher::busyChanged, this, &MainWindow::setBusy);
    connect(switcher, &Switcher::profilesChanged, this, [this] {
        fillProfiles();
        updateApply();
    });
}

void MainWindow::ui_create_shortcut()
{
    // Apply straight from the key, once per press; the button's own shortcut would animate a click.
    applyAction->setShortcut(QKeySequence(applyKey));
    applyAction->setAutoRepeat(false);
    addAction(applyAction);
    ui->actionReloadData->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_R));
    ui->actionRestoreDefault->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_R));
    ui->actionManageProfiles->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_P));
    ui->actionSettings->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Comma));
    ui->actionUndo->setShortcut(QKeySequence::Undo);
    // The keys as this platform writes them: ⌘E on macOS, Ctrl+E elsewhere.
    ui->execButton->setText(tr("Apply (%1)").arg(applyAction->shortcut().toString(QKeySequence::NativeText)));
    ui->pushButton_reload->setToolTip(
        tr("Reload interface data (%1)").arg(ui->actionReloadData->shortcut().toString(QKeySequence::NativeText)));

    // Quitting closes the window, which waits for a change that has begun; on macOS the role puts it in
    // the application menu, where the Dock's Quit and a logout reach it too.
    auto* quit = new QAction(tr("Quit"), this);
    quit->setObjectName(QStringLiteral("actionQuit"));
    // Some platforms bind no key to Quit; Ctrl+Q is what their users type.
    const QList<QKeySequence> quitKeys = QKeySequence::keyBindings(QKeySequence::Quit);
    quit->setShortcuts(quitKeys.isEmpty() ? QList<QKeySequence>{QKeySequence(Qt::CTRL | Qt::Key_Q)} : quitKeys);
    quit->setMenuRole(QAction::QuitRole);
    connect(quit, &QAction::triggered, this, &MainWindow::quit);
    ui->menuTools->addAction(quit);
}

void MainWindow::showEvent(QShowEvent* event)
{
    QMainWindow::showEvent(event);
    if (!started) {
        started = true;
        if (!switcher->config().readCleanly())
            QMetaObject::invokeMethod(
                this,
                [this] {
                    InfoDialog::warning(this, tr("Profiles not read"),
                                        switcher->config().readProblem() +
                                            tr("\nThe file is left as it is, and a copy of it will be kept beside "
                                               "it before anything replaces it."));
                },
                Qt::QueuedConnection);
    }
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    if (switcher->isChanging()) {
        qDebug() << "QMainWindow -> Closing once the change has ended";
        closeWhenChanged = true;
        event->ignore();
        return;
    }
    // With the menu-bar item shown, closing the window leaves the program running there.
    if (tray && tray->isVisible() && !quitting) {
        event->ignore();
        hide();
        return;
    }
    QMainWindow::closeEvent(event);
    if (quitting)
        QCoreApplication::quit();
}

void MainWindow::quit()
{
    quitting = true;
    closeWhenChanged = false;
    close();
}

void MainWindow::showTray()
{
    auto* menu = new QMenu(this);
    trayMenu = new TrayMenu(*switcher, *menu, this);
    connect(trayMenu, &TrayMenu::openRequested, this, [this] {
        showNormal();
        raise();
        activateWindow();
    });
    connect(trayMenu, &TrayMenu::quitRequested, this, &MainWindow::quit);
    if (!QSystemTrayIcon::isSystemTrayAvailable() ||
        switcher->config().getParameter(ConfigManager::SETTINGS, showInMenuBarKey) == QLatin1String("false"))
        return;
    tray = new QSystemTrayIcon(trayMenu->icon(), this);
    tray->setToolTip(trayMenu->toolTip());
    connect(trayMenu, &TrayMenu::iconChanged, tray, [this] {
        tray->setIcon(trayMenu->icon());
        tray->setToolTip(trayMenu->toolTip());
    });
    connect(trayMenu, &TrayMenu::refused, tray,
            [this](const QString& reason) { tray->showMessage(tr("Not applied"), reason, QSystemTrayIcon::Warning); });
    connect(trayMenu, &TrayMenu::reported, tray, [this](const ChangeReport& report) {
        const bool applied = report.outcome == ChangeReport::Outcome::Applied;
        tray->showMessage(applied ? tr("Success") : tr("Not applied"), report.line,
                          applied ? QSystemTrayIcon::Information : QSystemTrayIcon::Warning);
    });
#ifdef Q_OS_MACOS
    // The status item's own menu has been seen to crash recent macOS when it opens: the menu is popped up
    // from the click instead.
    connect(tray, &QSystemTrayIcon::activated, menu, [menu] { menu->popup(QCursor::pos()); });
#else
    tray->setContextMenu(menu);
    connect(tray, &QSystemTrayIcon::activated, menu, [menu](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger)
            menu->popup(QCursor::pos());
    });
#endif
    QApplication::setQuitOnLastWindowClosed(false);
    tray->show();
}

// A refill: one reading of the machine, after which both lists are filled again, keeping the user's choice.
void MainWindow::ui_update(AfterReading after)
{
    afterReading = after;
    fillProfiles();
    profil_update();
    switcher->read(true);
}

void MainWindow::fillProfiles()
{
    const QString chosen = ui->comboBoxProfil->currentText();
    ui->comboBoxProfil->clear();
    ui->comboBoxProfil->addItems(switcher->profileNames());
    ui->comboBoxProfil->setCurrentIndex(qMax(0, ui->comboBoxProfil->findText(chosen)));
}

void MainWindow::fillServices()
{
    // The choice outlives a reading that found nothing: the placeholder is never a choice.
    if (ui->comboBoxInterface->isEnabled())
        chosenService = ui->comboBoxInterface->currentText();
    QStringList services;
    for (const ServiceState& service : switcher->offeredServices())
        services.append(service.name);
    ui->comboBoxInterface->clear();
    ui->comboBoxInterface->addItems(services);
    ui->comboBoxInterface->setEnabled(!services.isEmpty());
    if (services.isEmpty()) {
        ui->comboBoxInterface->addItem(tr("No network service found"));
        qobject_cast<QStandardItemModel*>(ui->comboBoxInterface->model())->item(0)->setEnabled(false);
    }
    ui->comboBoxInterface->setCurrentIndex(qMax(0, ui->comboBoxInterface->findText(chosenService)));
    updateApply();
}

void MainWindow::showReading(const MachineReading& reading, bool byUser)
{
    // The list is filled again by the user's readings, and by any reading after one that found nothing.
    if (byUser || !ui->comboBoxInterface->isEnabled())
        fillServices();
    iface_update();
    // A notice waits until the job has ended, so that it is not shown under a busy cursor.
    if (byUser && afterReading == AfterReading::Reload)
        QMetaObject::invokeMethod(
            this, [this, reading] { reportReading(reading); }, Qt::QueuedConnection);
    afterReading = AfterReading::Refill;
}

void MainWindow::reportReading(const MachineReading& reading)
{
    if (!reading.ok()) {
        InfoDialog::warning(this, tr("Not reloaded"), tr("Nothing could be read: %1.").arg(reading.reading.text()));
        return;
    }
    QStringList unread;
    for (const ServiceState& service : switcher->offeredServices()) {
        if (!service.reading.ok())
            unread.append(tr("%1 (%2)").arg(service.name, service.reading.text()));
    }
    if (unread.isEmpty())
        InfoDialog::information(this, tr("Success"), tr("Network interface reloaded"));
    else
        InfoDialog::warning(this, tr("Partly reloaded"),
                            tr("Network interface reloaded, but not every service could be read: %1.")
                                .arg(unread.join(QStringLiteral(", "))));
}

void MainWindow::setBusy(bool on)
{
    if (busy == on)
        return;
    busy = on;
    // Nothing that would start another command while one the user started runs; the window still paints.
    for (QAction* action :
         {ui->actionReloadData, ui->actionRestoreDefault, ui->actionManageProfiles, ui->actionSettings})
        action->setEnabled(!busy);
    ui->pushButton_reload->setEnabled(!busy);
    updateApply();
    if (busy)
        QApplication::setOverrideCursor(Qt::WaitCursor);
    else
        QApplication::restoreOverrideCursor();
}

void MainWindow::updateApply()
{
    const QString service = ui->comboBoxInterface->currentText();
    ui->actionUndo->setText(tr("Undo Change to %1").arg(service));
    ui->actionUndo->setEnabled(!busy && ui->comboBoxInterface->isEnabled() && switcher->canUndo(service));
    // The rules speak before anything runs: a choice they refuse cannot be applied, and the reason stands
    // beside the host number.
    const ChangeVerdict verdict = chosenChange();
    ui->label_host_problem->setText(verdict.ok() ? QString() : verdict.problem);
    const bool enabled = !busy && ui->comboBoxInterface->isEnabled() && verdict.ok();
    ui->execButton->setEnabled(enabled);
    applyAction->setEnabled(enabled);
}

ChangeVerdict MainWindow::chosenChange() const
{
    const QString router = ui->checkBoxRouter->isChecked() ? getSpinBox(spinBoxRouter) : QString();
    return switcher->changeFor(ui->comboBoxInterface->currentText(), ui->comboBoxProfil->currentText(),
                               ui->sb_addr_4->value(), router);
}

void MainWindow::iface_update()
{
    const MachineReading& reading = switcher->reading();
    const ServiceState* service = switcher->offered(ui->comboBoxInterface->currentText());
    const bool read = reading.ok() && service && service->reading.ok();
    ui->iface_label_hardware->setText(service ? service->device : QString());
    // A reading that did not answer must not look like a service without an address.
    ui->iface_label_reading->setText(!reading.ok() ? reading.reading.text()
                                     : service     ? service->reading.text()
                                                   : QString());
    lineEdit_fill(lineEditAddr, read ? service->address.toString() : QString());
    lineEdit_fill(lineEditMask, read ? service->mask.toString() : QString());
    lineEdit_fill(lineEditRouter, read ? service->router.toString() : QString());
    // The servers set by hand, or "automatic" when the service uses what DHCP or the network gives.
    QString dns;
    if (read) {
        dns = service->dnsServers.isEmpty() ? tr("automatic") : service->dnsText().join(QStringLiteral(", "));
        if (!service->searchDomains.isEmpty())
            dns += tr(", search %1").arg(service->searchDomains.join(QStringLiteral(", ")));
    }
    ui->iface_label_dns->setText(dns);
}

void MainWindow::profil_update()
{
    const QString profile = ui->comboBoxProfil->currentText();
    qDebug() << "QMainWindow -> Activated profil:" << profile;

    spinBox_reset(spinBoxAddr);
    spinBox_reset(spinBoxRouter);

    if (profile == Change::DHCP) {
        spinBox_fill(spinBoxAddr, QStringLiteral("0.0.0.0"));
        spinBox_fill(spinBoxMask, QStringLiteral("0.0.0.0"));
        ipRouter_fill(QStringLiteral("0.0.0.0"));
        ui->checkBoxRouter->setChecked(false);
        ui->checkBoxRouter->setEnabled(false);
        updateApply();
        return;
    }

    // Only the host number is the user's to choose; the network part belongs to the profile.
    const Profile chosen = switcher->profile(profile);
    spinBox_fill(spinBoxAddr, NetworkManager::hostAddress(chosen.network, switcher->defaultHost()));
    spinBox_enabler(spinBoxAddr, 1);
    spinBox_fill(spinBoxMask, chosen.mask);
    spinBox_enabler(spinBoxRouter, 0);
    spinBox_fill(spinBoxRouter, proposedRouter(chosen));
    ui->checkBoxRouter->setEnabled(true);
    updateApply();
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
    // A tick while a command the user started runs, or while the last reading still runs, is skipped; the
    // next tick catches up instead.
    if (switcher->isBusy() || switcher->isReading())
        return;
    switcher->read(false);
}

void MainWindow::exec()
{
    const QString service = ui->comboBoxInterface->currentText();
    const QString profile = ui->comboBoxProfil->currentText();
    qDebug() << "EXEC -> Interface:" << service << "/ Settings:" << profile;

    const ChangeVerdict verdict = chosenChange();
    if (!verdict.ok()) {
        InfoDialog::warning(this, tr("Error"), verdict.problem);
        ui->comboBoxInterface->setFocus(Qt::OtherFocusReason);
        return;
    }
    statusBar()->showMessage(tr("Applying %1…").arg(verdict.change.describe()));
    fromWindow = true;
    switcher->apply(verdict.change);
}

void MainWindow::changeDone(const ChangeReport& report)
{
    // The lists and spin boxes stay as the user left them; the fields show the service as read back.
    iface_update();
    statusBar()->showMessage(report.line);
    // The notice waits until the job has ended, so that it is not shown under a busy cursor.
    QMetaObject::invokeMethod(
        this,
        [this, report] {
            if (!closeWhenChanged) {
                // A change from the menu-bar item is told there; the window tells it too when it is open.
                if (isVisible())
                    reportChange(report);
                return;
            }
            // A close that waited for the change still tells what went wrong before the window goes.
            if (report.outcome != ChangeReport::Outcome::Applied)
                reportChange(report);
            close();
        },
        Qt::QueuedConnection);
}

void MainWindow::reportChange(const ChangeReport& report)
{
    if (undoing) {
        undoing = false;
        const bool undone = report.outcome == ChangeReport::Outcome::Applied;
        InfoDialog::information(this, undone ? tr("Undone") : tr("Not undone"), report.line);
        updateApply();
        return;
    }
    if (report.outcome == ChangeReport::Outcome::Applied && fromWindow &&
        settingOf(askToKeepKey) == QLatin1String("true")) {
        fromWindow = false;
        askToKeep(report);
        return;
    }
    fromWindow = false;
    switch (report.outcome) {
    case ChangeReport::Outcome::Applied:
        InfoDialog::information(this, tr("Success"), report.after.reading.ok() ? tr("It's done!") : report.line);
        break;
    case ChangeReport::Outcome::Refused:
    case ChangeReport::Outcome::Cancelled:
        InfoDialog::warning(this, tr("Not applied"), report.line);
        break;
    case ChangeReport::Outcome::TimedOut:
        InfoDialog::warning(this, tr("No answer"), report.line);
        break;
    case ChangeReport::Outcome::PartlyApplied:
        InfoDialog::warning(this, tr("Partly applied"), report.line);
        break;
    }
    ui->comboBoxInterface->setFocus(Qt::OtherFocusReason);
}

void MainWindow::menu_export_profiles()
{
    const QString path = QFileDialog::getSaveFileName(
        this, tr("Export Profiles"), QDir::home().filePath(QStringLiteral("profiles.xml")), tr("Profiles (*.xml)"));
    if (path.isEmpty())
        return;
    QSaveFile file(path);
    QString error;
    if (!file.open(QIODevice::WriteOnly) || !switcher->config().exportProfiles(file, &error) || !file.commit()) {
        InfoDialog::warning(this, tr("Not exported"),
                            error.isEmpty()
                                ? tr("Could not write %1: %2").arg(QDir::toNativeSeparators(path), file.errorString())
                                : error);
        return;
    }
    InfoDialog::information(this, tr("Exported"),
                            tr("Exported %n profiles to %1.", nullptr, switcher->config().getProfileEntries().size())
                                .arg(QDir::toNativeSeparators(path)));
}

// All or nothing, as tarnwick-cli import: a file with any fault imports nothing. The choice for names that are
// taken is asked once, and only when the file has such names.
void MainWindow::menu_import_profiles()
{
    const QString path =
        QFileDialog::getOpenFileName(this, tr("Import Profiles"), QDir::homePath(), tr("Profiles (*.xml)"));
    if (path.isEmpty())
        return;
    const ConfigManager::ProfilesDocument document = ConfigManager::readProfilesDocument(path);
    if (!document.problem.isEmpty()) {
        InfoDialog::warning(this, tr("Not imported"), document.problem);
        return;
    }
    ConfigManager::OnConflict onConflict = ConfigManager::OnConflict::Rename;
    const QStringList taken = switcher->config().getProfileEntries();
    const bool clash = std::any_of(document.profiles.cbegin(), document.profiles.cend(),
                                   [&taken](const auto& profile) { return taken.contains(profile.first); });
    if (clash) {
        QMessageBox box(QMessageBox::Question, tr("Import Profiles"),
                        tr("Some profiles in the file have names that are taken. When their settings differ:"),
                        QMessageBox::NoButton, this);
        QPushButton* rename = box.addButton(tr("Add as New Names"), QMessageBox::AcceptRole);
        QPushButton* replace = box.addButton(tr("Replace Mine"), QMessageBox::DestructiveRole);
        QPushButton* keep = box.addButton(tr("Keep Mine"), QMessageBox::RejectRole);
        box.addButton(QMessageBox::Cancel);
        box.setDefaultButton(rename);
        box.exec();
        if (box.clickedButton() == replace)
            onConflict = ConfigManager::OnConflict::Replace;
        else if (box.clickedButton() == keep)
            onConflict = ConfigManager::OnConflict::Skip;
        else if (box.clickedButton() != rename)
            return;
    }
    const ConfigManager::ImportResult result = switcher->config().importProfiles(document, onConflict);
    if (result.outcome != ConfigManager::ImportResult::Outcome::Imported) {
        InfoDialog::warning(this, tr("Not imported"), result.error);
        return;
    }
    fillProfiles();
    updateApply();
    InfoDialog::information(this, tr("Imported"), result.lines.join(QLatin1Char('\n')));
}

void MainWindow::menu_undo()
{
    const QString service = ui->comboBoxInterface->currentText();
    if (!switcher->canUndo(service) || switcher->isBusy())
        return;
    statusBar()->showMessage(tr("Undoing the last change to %1…").arg(service));
    undoing = true;
    switcher->undo(service);
}

// As a desktop's display settings do: the change stands only if the user, still able to reach the window,
// says so before the count ends.
void MainWindow::askToKeep(const ChangeReport& report)
{
    int left = qMax(1, settingOf(keepSecondsKey).toInt());
    QMessageBox box(QMessageBox::Question, tr("Keep this setting?"), report.line, QMessageBox::NoButton, this);
    box.addButton(tr("Keep"), QMessageBox::AcceptRole);
    QPushButton* revert = box.addButton(tr("Revert"), QMessageBox::RejectRole);
    box.setDefaultButton(revert);
    const auto countdown = [&box, &left] {
        box.setInformativeText(tr("It is reverted in %1 s unless you keep it.").arg(left));
    };
    countdown();
    QTimer tick;
    connect(&tick, &QTimer::timeout, &box, [&] {
        if (--left > 0)
            countdown();
        else
            box.reject();
    });
    tick.start(1000);
    box.exec();
    if (box.clickedButton() && box.clickedButton() != revert)
        return;
    statusBar()->showMessage(tr("Reverting the change to %1…").arg(report.change.service));
    undoing = true;
    switcher->undo(report.change.service);
}

QString MainWindow::settingOf(const QString& key) const
{
    const QString value = switcher->config().getParameter(ConfigManager::SETTINGS, key);
    if (!value.isEmpty())
        return value;
    return key == keepSecondsKey ? QStringLiteral("15") : QString();
}

void MainWindow::menu_reload_data()
{
    qDebug() << "QMenuBar -> Reloading network interface...";
    // What the user typed stays while the profile does: a reload reads the machine, not the profiles' defaults.
    const QString profile = ui->comboBoxProfil->currentText();
    const int host = ui->sb_addr_4->value();
    const QString router = getSpinBox(spinBoxRouter);
    ui_update(AfterReading::Reload);
    if (profile != Change::DHCP && ui->comboBoxProfil->currentText() == profile) {
        ui->sb_addr_4->setValue(host);
        spinBox_fill(spinBoxRouter, router);
        spinBox_enabler(spinBoxRouter, ui->checkBoxRouter->isChecked() ? 1 : 0);
    }
}

void MainWindow::menu_restore_default_config()
{
    qDebug() << "QMenuBar -> Restoring default configuration...";
    if (!SettingsDialog::askToRestore(this, switcher->config()))
        return;
    QString error;
    if (!switcher->config().restoreDefault(&error)) {
        InfoDialog::warning(this, tr("Error"), error);
    } else {
        const QString copy = switcher->config().lastKeptCopy();
        InfoDialog::information(this, tr("Success"),
                                copy.isEmpty() ? tr("Default configuration restored")
                                               : tr("Default configuration restored. Your previous profiles are "
                                                    "kept in %1")
                                                     .arg(QDir::toNativeSeparators(copy)));
        ui_update();
    }
    switcher->config().print();
}

// Either dialog may have changed the store, so the window refills its lists whatever the outcome.
void MainWindow::menu_manage_profiles()
{
    qDebug() << "QMenuBar -> Managing profiles...";
    ProfileDialog dialog(switcher->config(), this);
    dialog.exec();
    ui_update();
}

void MainWindow::menu_settings()
{
    qDebug() << "QMenuBar -> Opening settings...";
    SettingsDialog dialog(switcher->config(), this);
    dialog.exec();
    ui_update();
}

void MainWindow::aboutBox()
{
    const QString author = QStringLiteral("Tarnwick_Developers");
    const QString mail = QStringLiteral("tarnwick@example.org");

    // The build's own date and the Qt it runs on: what a user reporting a problem copies.
    const QString heading = tr("<h3>About %1</h3>").arg(QStringLiteral("Tarnwick"));
    const QString body =
        tr("<p>Author : %1</p><p>Mail : <a href=\"mailto:%2\">%2</a></p>"
           "<p>Version : %3 (Build on %4)</p><p>Based on Qt %5.</p>")
            .arg(QString(author).replace(QLatin1Char('_'), QLatin1Char(' ')), mail, QStringLiteral(TARNWICK_VERSION),
                 QStringLiteral(__DATE__).simplified(), QString::fromLatin1(qVersion()));

    auto* box = new QMessageBox(this);
    box->setWindowTitle(tr("About"));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setText(heading);
    box->setInformativeText(body);
    box->setIconPixmap(
        QPixmap(QStringLiteral(":/resources/images/AppIcon.png")).scaledToWidth(100, Qt::FastTransformation));
    box->exec();
}
