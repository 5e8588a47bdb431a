#include "dialogs/profiledialog.h"
#include "ui_profiledialog.h"

#include "config/configmanager.h"
#include "network/networkmanager.h"

#include <QMap>
#include <QMessageBox>

ProfileDialog::ProfileDialog(ConfigManager& config, QWidget* parent)
    : QDialog(parent), ui(new Ui::ProfileDialog), config(config), currentProfileName(), isNewProfile(false)
{
    ui->setupUi(this);

    connect(ui->listProfiles, &QListWidget::currentRowChanged, this, &ProfileDialog::onProfileSelected);
    connect(ui->buttonAdd, &QAbstractButton::clicked, this, &ProfileDialog::onAddProfile);
    connect(ui->buttonDelete, &QAbstractButton::clicked, this, &ProfileDialog::onDeleteProfile);
    connect(ui->buttonSave, &QAbstractButton::clicked, this, &ProfileDialog::onSave);
    connect(ui->buttonClose, &QAbstractButton::clicked, this, &QWidget::close);

    loadProfileList();
}

ProfileDialog::~ProfileDialog()
{
    delete ui;
}

void ProfileDialog::loadProfileList()
{
    ui->listProfiles->clear();
    const QList<QString> names = config.getProfileEntries();
    for (const QString& name : names)
        ui->listProfiles->insertItem(ui->listProfiles->count(), name);
}

void ProfileDialog::onProfileSelected()
{
    const QListWidgetItem* item = ui->listProfiles->currentItem();
    if (!item) {
        clearDetails();
        setFieldsEnabled(false);
        return;
    }

    // Picking a row abandons an unsaved "Add".
    isNewProfile = false;
    loadProfileDetails(item->data(Qt::DisplayRole).toString());
    setFieldsEnabled(true);
}

void ProfileDialog::loadProfileDetails(const QString& name)
{
    currentProfileName = name;
    ui->lineEditName->setText(name);
    ui->lineEditAddress->setText(config.getParameter(name, ConfigManager::ADDRESS_KEY));
    ui->lineEditMask->setText(config.getParameter(name, ConfigManager::MASK_KEY));
    ui->lineEditGateway->setText(config.getParameter(name, ConfigManager::GATEWAY_KEY));
}

void ProfileDialog::clearDetails()
{
    currentProfileName = QString();
    ui->lineEditName->clear();
    ui->lineEditAddress->clear();
    ui->lineEditMask->clear();
    ui->lineEditGateway->clear();
}

void ProfileDialog::setFieldsEnabled(bool enabled)
{
    ui->lineEditName->setEnabled(enabled);
    ui->lineEditAddress->setEnabled(enabled);
    ui->lineEditMask->setEnabled(enabled);
    ui->lineEditGateway->setEnabled(enabled);
    ui->buttonSave->setEnabled(enabled);
    ui->buttonDelete->setEnabled(enabled && !isNewProfile);
}

void ProfileDialog::onAddProfile()
{
    isNewProfile = true;
    // Only the selection goes: the current row stays, so no selection signal wipes the new form.
    ui->listProfiles->clearSelection();
    clearDetails();
    setFieldsEnabled(true);
    ui->buttonDelete->setEnabled(false);
    ui->lineEditName->setFocus(Qt::OtherFocusReason);
}

void ProfileDialog::onDeleteProfile()
{
    if (currentProfileName.isEmpty())
        return;

    const QMessageBox::StandardButton answer =
        QMessageBox::question(this, tr("Confirm Deletion"), tr("Delete profile \"%1\"?").arg(currentProfileName),
                              QMessageBox::Yes | QMessageBox::No, QMessageBox::NoButton);
    if (answer != QMessageBox::Yes)
        return;

    if (!config.removeEntry(currentProfileName)) {
        QMessageBox::critical(this, tr("Error"), tr("Failed to delete profile."), QMessageBox::Ok);
        return;
    }
    loadProfileList();
    clearDetails();
    setFieldsEnabled(false);
}

bool ProfileDialog::validateFields()
{
    const QString name = ui->lineEditName->text().trimmed();
    const QString address = ui->lineEditAddress->text().trimmed();
    const QString mask = ui->lineEditMask->text().trimmed();
    const QString gateway = ui->lineEditGateway->text().trimmed();

    auto fail = [this](const QString& message, QLineEdit* field) {
        QMessageBox::warning(this, tr("Validation Error"), message, QMessageBox::Ok);
        field->setFocus(Qt::OtherFocusReason);
        return false;
    };

    if (name.isEmpty())
        return fail(tr("Profile name cannot be empty."), ui->lineEditName);
    // "DHCP" is the main window's automatic-addressing choice and "settings" the store's own section.
    if (name == Change::DHCP || name == ConfigManager::SETTINGS)
        return fail(tr("The name \"%1\" is reserved.").arg(name), ui->lineEditName);
    if (!NetworkManager::isIPv4(address))
        return fail(tr("Invalid IP address."), ui->lineEditAddress);
    // A mask is only judged as an address: non-contiguous masks are allowed.
    if (!NetworkManager::isIPv4(mask))
        return fail(tr("Invalid subnet mask."), ui->lineEditMask);
    if (!gateway.isEmpty() && !NetworkManager::isIPv4(gateway))
        return fail(tr("Invalid gateway address."), ui->lineEditGateway);
    return true;
}

void ProfileDialog::onSave()
{
    if (!validateFields())
        return;

    const QString name = ui->lineEditName->text().trimmed();
    QMap<QString, QString> entry;
    entry.insert(ConfigManager::ADDRESS_KEY, ui->lineEditAddress->text().trimmed());
    entry.insert(ConfigManager::MASK_KEY, ui->lineEditMask->text().trimmed());
    const QString gateway = ui->lineEditGateway->text().trimmed();
    // A profile without a router has no gateway element at all, not an empty one.
    if (!gateway.isEmpty())
        entry.insert(ConfigManager::GATEWAY_KEY, gateway);

    if (isNewProfile) {
        if (!config.addEntry(name, entry)) {
            QMessageBox::warning(this, tr("Error"),
                                 tr("Failed to add profile. A profile with this name may already exist."),
                                 QMessageBox::Ok);
            return;
        }
    } else {
        if (name != currentProfileName && !config.renameEntry(currentProfileName, name)) {
            QMessageBox::warning(this, tr("Error"), tr("Failed to rename profile. The name may already be in use."),
                                 QMessageBox::Ok);
            return;
        }
        // A rename that went through stays even if the values cannot be written.
        if (!config.updateEntry(name, entry)) {
            QMessageBox::critical(this, tr("Error"), tr("Failed to update profile."), QMessageBox::Ok);
            return;
        }
    }

    isNewProfile = false;
    loadProfileList();
    const QList<QListWidgetItem*> found = ui->listProfiles->findItems(name, Qt::MatchExactly);
    if (!found.isEmpty())
        ui->listProfiles->setCurrentItem(found.first());
}
