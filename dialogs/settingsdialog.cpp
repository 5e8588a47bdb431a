#include "dialogs/settingsdialog.h"
#include "ui_settingsdialog.h"

#include "config/configmanager.h"

#include <QDir>
#include <QMessageBox>
#include <QStringList>

namespace {
const int fallbackNetworkId = 201;
} // namespace

SettingsDialog::SettingsDialog(ConfigManager& config, QWidget* parent)
    : QDialog(parent), ui(new Ui::SettingsDialog), config(config)
{
    ui->setupUi(this);

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
    const int networkId = config.getParameter(ConfigManager::SETTINGS, ConfigManager::NETWORK_ID_KEY).toInt();
    // A missing or broken value shows the usual host number rather than the spin box's clamped bound.
    ui->spinBoxNetworkId->setValue(networkId >= 1 && networkId <= 254 ? networkId : fallbackNetworkId);

    ui->listForbidden->clear();
    ui->listForbidden->addItems(config.getForbiddenInterfaces());
}

void SettingsDialog::onAdd()
{
    const QString name = ui->lineEditForbidden->text().trimmed();
    if (name.isEmpty())
        return;
    ui->listForbidden->addItem(name);
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
    const QString networkId = QString::number(ui->spinBoxNetworkId->value());
    QStringList names;
    for (int row = 0; row < ui->listForbidden->count(); ++row)
        names.append(ui->listForbidden->item(row)->text());

    // The list is only written when the network id could be; either way the dialog ends without a word.
    if (config.updateSetting(ConfigManager::NETWORK_ID_KEY, networkId))
        config.updateSetting(ConfigManager::FORBIDDEN_KEY, names.join(ConfigManager::FORBIDDEN_SEPARATOR));
    close();
}

void SettingsDialog::onRestore()
{
    const QMessageBox::StandardButton answer = QMessageBox::question(
        this, tr("Confirm Restore"), tr("Restore default configuration?\nThis will reset all profiles and settings."),
        QMessageBox::Yes | QMessageBox::No, QMessageBox::NoButton);
    if (answer != QMessageBox::Yes)
        return;
    if (!config.restoreDefault())
        return;
    loadSettings();
    // Restore replaces every profile: the user learns where the replaced file is kept.
    if (!config.lastKeptCopy().isEmpty())
        QMessageBox::information(this, tr("Success"),
                                 tr("Default configuration restored. Your previous profiles are kept in %1")
                                     .arg(QDir::toNativeSeparators(config.lastKeptCopy())));
}
