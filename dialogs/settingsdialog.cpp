#include "dialogs/settingsdialog.h"
#include "ui_settingsdialog.h"

#include "config/configmanager.h"

#include <QDir>
#include <QFileInfo>
#include <QMessageBox>
#include <QStringList>

SettingsDialog::SettingsDialog(ConfigManager& config, QWidget* parent)
    : QDialog(parent), ui(new Ui::SettingsDialog), config(config)
{
    ui->setupUi(this);
    ui->comboBoxDnsOnDhcp->addItem(tr("Keep what is set"), ConfigManager::KEEP);
    ui->comboBoxDnsOnDhcp->addItem(tr("Automatic"), ConfigManager::AUTOMATIC);

    connect(ui->buttonAdd, &QAbstractButton::clicked, this, &SettingsDialog::onAdd);
    connect(ui->buttonRemove, &QAbstractButton::clicked, this, &SettingsDialog::onRemove);
    connect(ui->buttonSave, &QAbstractButton::clicked, this, &SettingsDialog::onSave);
    connect(ui->buttonRestore, &QAbstractButton::clicked, this, &SettingsDialog::onRestore);
    connect(ui->buttonClose, &QAbstractButton::clicked, this, &QWidget::close);

    loadSettings();
}

SettingsDialog::~SettingsDialog()
{
    delete ui;
}

void SettingsDialog::loadSettings()
{
    ui->spinBoxNetworkId->setValue(config.defaultHost());
    ui->comboBoxDnsOnDhcp->setCurrentIndex(ui->comboBoxDnsOnDhcp->findData(config.dnsOnDhcp()));
    ui->checkBoxMenuBar->setChecked(config.getParameter(ConfigManager::SETTINGS, ConfigManager::SHOW_IN_MENU_BAR_KEY) !=
                                    QLatin1String("false"));
    ui->checkBoxAskToKeep->setChecked(config.getParameter(ConfigManager::SETTINGS, ConfigManager::ASK_TO_KEEP_KEY) ==
                                      QLatin1String("true"));
    const int seconds = config.getParameter(ConfigManager::SETTINGS, ConfigManager::KEEP_SECONDS_KEY).toInt();
    ui->spinBoxKeepSeconds->setValue(seconds > 0 ? seconds : 15);

    ui->listForbidden->clear();
    ui->listForbidden->addItems(config.getForbiddenInterfaces());
}

void SettingsDialog::onAdd()
{
    const QString name = ui->lineEditForbidden->text().trimmed();
    if (name.isEmpty())
        return;
    // A service is hidden by its whole name, so a name already listed is only shown again.
    const QList<QListWidgetItem*> listed =
        ui->listForbidden->findItems(name, Qt::MatchExactly | Qt::MatchCaseSensitive);
    if (listed.isEmpty())
        ui->listForbidden->addItem(name);
    ui->listForbidden->setCurrentItem(listed.isEmpty() ? ui->listForbidden->item(ui->listForbidden->count() - 1)
                                                       : listed.first());
    ui->lineEditForbidden->clear();
}

void SettingsDialog::onRemove()
{
    QListWidgetItem* item = ui->listForbidden->currentItem();
    if (!item)
        return;
    delete ui->listForbidden->takeItem(ui->listForbidden->row(item));
}

void SettingsDialog::onSave()
{
    QStringList names;
    for (int row = 0; row < ui->listForbidden->count(); ++row)
        names.append(ui->listForbidden->item(row)->text());

    // Each is written only when the one before could be; any failure keeps the dialog open. The DNS choice is
    // written only when changed, so that a file without it stays as it was.
    const QString dnsOnDhcp = ui->comboBoxDnsOnDhcp->currentData().toString();
    QString error;
    if (!config.updateSetting(ConfigManager::NETWORK_ID_KEY, QString::number(ui->spinBoxNetworkId->value()), &error) ||
        !config.setForbiddenInterfaces(names, &error) ||
        (dnsOnDhcp != config.dnsOnDhcp() && !config.updateSetting(ConfigManager::DNS_ON_DHCP_KEY, dnsOnDhcp, &error)) ||
        !changeSetting(ConfigManager::SHOW_IN_MENU_BAR_KEY,
                       ui->checkBoxMenuBar->isChecked() ? QString() : QStringLiteral("false"), &error) ||
        !changeSetting(ConfigManager::ASK_TO_KEEP_KEY,
                       ui->checkBoxAskToKeep->isChecked() ? QStringLiteral("true") : QString(), &error) ||
        !changeSetting(ConfigManager::KEEP_SECONDS_KEY,
                       ui->checkBoxAskToKeep->isChecked() ? QString::number(ui->spinBoxKeepSeconds->value())
                                                          : QString(),
                       &error)) {
        QMessageBox::critical(this, tr("Error"), tr("The settings were not saved.\n%1").arg(error), QMessageBox::Ok);
        return;
    }
    close();
}

// Written only when it differs from what is stored (a default is stored as nothing), so that a file without
// the setting stays as it was.
bool SettingsDialog::changeSetting(const QString& key, const QString& value, QString* error)
{
    return config.getParameter(ConfigManager::SETTINGS, key) == value || config.updateSetting(key, value, error);
}

bool SettingsDialog::askToRestore(QWidget* parent, const ConfigManager& config)
{
    QString question = tr("Restore the default configuration?\nThis replaces all profiles and settings.");
    const QFileInfo file(config.filePath());
    if (file.exists())
        question += QLatin1Char(' ') + tr("A copy of the current file is kept beside it, in %1, as \"%2\".")
                                           .arg(QDir::toNativeSeparators(file.absolutePath()),
                                                file.fileName() + QStringLiteral(".before-restore-<time>"));
    return QMessageBox::question(parent, tr("Confirm Restore"), question,
                                 QMessageBox::RestoreDefaults | QMessageBox::Cancel,
                                 QMessageBox::Cancel) == QMessageBox::RestoreDefaults;
}

void SettingsDialog::onRestore()
{
    if (!askToRestore(this, config))
        return;
    QString error;
    if (!config.restoreDefault(&error)) {
        QMessageBox::critical(this, tr("Error"), error, QMessageBox::Ok);
        return;
    }
    loadSettings();
    // Restore replaces every profile: the user learns where the replaced file is kept.
    if (!config.lastKeptCopy().isEmpty())
        QMessageBox::information(this, tr("Success"),
                                 tr("Default configuration restored. Your previous profiles are kept in %1")
                                     .arg(QDir::toNativeSeparators(config.lastKeptCopy())));
}
