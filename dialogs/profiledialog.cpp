#include "dialogs/profiledialog.h"
#include "ui_profiledialog.h"

#include "config/configmanager.h"
#include "network/networkmanager.h"

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QMap>
#include <QMessageBox>
#include <QRegularExpression>

namespace {

// A DNS field holds its items separated by commas or blanks, as people paste them from elsewhere.
QStringList itemsOf(const QLineEdit* field)
{
    static const QRegularExpression separators(QStringLiteral("[,\\s]+"));
    return field->text().split(separators, Qt::SkipEmptyParts);
}

// What the store keeps of a DNS field: nothing (the service's DNS stays as it is), AUTOMATIC, or the items.
QString storedList(const QLineEdit* field, const QCheckBox* automatic)
{
    if (automatic->isChecked())
        return ConfigManager::AUTOMATIC;
    return itemsOf(field).join(QLatin1Char('\n'));
}

void showList(const QString& stored, QLineEdit* field, QCheckBox* automatic)
{
    automatic->setChecked(stored == ConfigManager::AUTOMATIC);
    field->setText(stored == ConfigManager::AUTOMATIC ? QString()
                                                      : stored.split(QLatin1Char('\n')).join(QStringLiteral(", ")));
}

QString serversProblem(const QLineEdit* field, const QCheckBox* automatic)
{
    for (const QString& item : automatic->isChecked() ? QStringList() : itemsOf(field)) {
        if (!NetworkManager::isDnsServer(item))
            return ProfileDialog::tr("\"%1\" is not an IPv4 or IPv6 address.").arg(item);
    }
    return {};
}

QString domainsProblem(const QLineEdit* field, const QCheckBox* automatic)
{
    for (const QString& item : automatic->isChecked() ? QStringList() : itemsOf(field)) {
        if (!NetworkManager::isSearchDomain(item))
            return ProfileDialog::tr("\"%1\" is not a domain name: labels of letters, digits and hyphens between "
                                     "dots, none starting or ending with a hyphen, up to 63 characters each and 253 "
                                     "in all.")
                .arg(item);
    }
    return {};
}

} // namespace

ProfileDialog::ProfileDialog(ConfigManager& config, QWidget* parent)
    : QDialog(parent), ui(new Ui::ProfileDialog), config(config), currentProfileName(), isNewProfile(false)
{
    ui->setupUi(this);

    connect(ui->listProfiles, &QListWidget::currentRowChanged, this, &ProfileDialog::onProfileSelected);
    connect(ui->buttonAdd, &QAbstractButton::clicked, this, &ProfileDialog::onAddProfile);
    connect(ui->buttonDelete, &QAbstractButton::clicked, this, &ProfileDialog::onDeleteProfile);
    connect(ui->buttonSave, &QAbstractButton::clicked, this, &ProfileDialog::onSave);
    connect(ui->buttonClose, &QAbstractButton::clicked, this, &QWidget::close);
    // Enter in a field saves the profile and keeps the dialog open: no button is the dialog's default.
    for (QLineEdit* field : {ui->lineEditName, ui->lineEditAddress, ui->lineEditMask, ui->lineEditGateway,
                             ui->lineEditDns, ui->lineEditSearch})
        connect(field, &QLineEdit::returnPressed, this, &ProfileDialog::onSave);
    for (QLineEdit* field : {ui->lineEditDns, ui->lineEditSearch})
        connect(field, &QLineEdit::textChanged, this, &ProfileDialog::updateDnsFields);
    for (QCheckBox* box : {ui->checkBoxDnsAutomatic, ui->checkBoxSearchAutomatic})
        connect(box, &QAbstractButton::toggled, this, &ProfileDialog::updateDnsFields);

    loadProfileList();
    // The first profile is shown, and chosen in the list, from the start.
    if (ui->listProfiles->count() > 0)
        ui->listProfiles->setCurrentRow(0);
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
    showList(config.getParameter(name, ConfigManager::DNS_KEY), ui->lineEditDns, ui->checkBoxDnsAutomatic);
    showList(config.getParameter(name, ConfigManager::SEARCH_KEY), ui->lineEditSearch, ui->checkBoxSearchAutomatic);
}

void ProfileDialog::clearDetails()
{
    currentProfileName = QString();
    ui->lineEditName->clear();
    ui->lineEditAddress->clear();
    ui->lineEditMask->clear();
    ui->lineEditGateway->clear();
    showList(QString(), ui->lineEditDns, ui->checkBoxDnsAutomatic);
    showList(QString(), ui->lineEditSearch, ui->checkBoxSearchAutomatic);
}

void ProfileDialog::setFieldsEnabled(bool enabled)
{
    ui->lineEditName->setEnabled(enabled);
    ui->lineEditAddress->setEnabled(enabled);
    ui->lineEditMask->setEnabled(enabled);
    ui->lineEditGateway->setEnabled(enabled);
    ui->checkBoxDnsAutomatic->setEnabled(enabled);
    ui->checkBoxSearchAutomatic->setEnabled(enabled);
    ui->buttonDelete->setEnabled(enabled && !isNewProfile);
    updateDnsFields();
}

void ProfileDialog::updateDnsFields()
{
    const bool enabled = ui->lineEditName->isEnabled();
    ui->lineEditDns->setEnabled(enabled && !ui->checkBoxDnsAutomatic->isChecked());
    ui->lineEditSearch->setEnabled(enabled && !ui->checkBoxSearchAutomatic->isChecked());
    const QString servers = serversProblem(ui->lineEditDns, ui->checkBoxDnsAutomatic);
    const QString domains = domainsProblem(ui->lineEditSearch, ui->checkBoxSearchAutomatic);
    ui->labelDnsProblem->setText(servers);
    ui->labelDnsProblem->setVisible(!servers.isEmpty());
    ui->labelSearchProblem->setText(domains);
    ui->labelSearchProblem->setVisible(!domains.isEmpty());
    ui->buttonSave->setEnabled(enabled && servers.isEmpty() && domains.isEmpty());
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

    QString error;
    if (!config.removeEntry(currentProfileName, &error)) {
        showSaveFailure(tr("Failed to delete profile."), error);
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
    if (!NetworkManager::isIPv4(mask))
        return fail(tr("Invalid subnet mask."), ui->lineEditMask);
    // The system refuses a mask with a gap when the profile is applied; better to hear it now.
    if (!NetworkManager::isNetmask(mask))
        return fail(tr("Invalid subnet mask: the one bits of %1 are not contiguous (as in 255.255.254.0).").arg(mask),
                    ui->lineEditMask);
    if (!gateway.isEmpty() && !NetworkManager::isIPv4(gateway))
        return fail(tr("Invalid gateway address."), ui->lineEditGateway);
    // Enter saves even while Save is off: the reason shown under the field is given again.
    const QString servers = serversProblem(ui->lineEditDns, ui->checkBoxDnsAutomatic);
    if (!servers.isEmpty())
        return fail(servers, ui->lineEditDns);
    const QString domains = domainsProblem(ui->lineEditSearch, ui->checkBoxSearchAutomatic);
    if (!domains.isEmpty())
        return fail(domains, ui->lineEditSearch);
    return true;
}

void ProfileDialog::onSave()
{
    saveProfile();
}

bool ProfileDialog::saveProfile()
{
    if (!validateFields())
        return false;

    const QString name = ui->lineEditName->text().trimmed();
    QMap<QString, QString> entry;
    entry.insert(ConfigManager::ADDRESS_KEY, ui->lineEditAddress->text().trimmed());
    entry.insert(ConfigManager::MASK_KEY, ui->lineEditMask->text().trimmed());
    const QString gateway = ui->lineEditGateway->text().trimmed();
    // A profile without a router has no gateway element at all, not an empty one.
    if (!gateway.isEmpty())
        entry.insert(ConfigManager::GATEWAY_KEY, gateway);
    const QString servers = storedList(ui->lineEditDns, ui->checkBoxDnsAutomatic);
    if (!servers.isEmpty())
        entry.insert(ConfigManager::DNS_KEY, servers);
    const QString domains = storedList(ui->lineEditSearch, ui->checkBoxSearchAutomatic);
    if (!domains.isEmpty())
        entry.insert(ConfigManager::SEARCH_KEY, domains);

    // The store gives no reason when it refuses a name, and the system's when it cannot write the file.
    QString error;
    if (isNewProfile) {
        if (!config.addEntry(name, entry, &error)) {
            if (!error.isEmpty())
                showSaveFailure(tr("Failed to add profile."), error);
            else
                QMessageBox::warning(this, tr("Error"),
                                     tr("Failed to add profile. A profile with this name may already exist."),
                                     QMessageBox::Ok);
            return false;
        }
    } else {
        if (name != currentProfileName) {
            if (!config.renameEntry(currentProfileName, name, &error)) {
                if (!error.isEmpty())
                    showSaveFailure(tr("Failed to rename profile."), error);
                else
                    QMessageBox::warning(this, tr("Error"),
                                         tr("Failed to rename profile. The name may already be in use."),
                                         QMessageBox::Ok);
                return false;
            }
            // The rename is saved even if the values cannot be: the form goes on editing the renamed profile.
            currentProfileName = name;
            if (QListWidgetItem* item = ui->listProfiles->currentItem())
                item->setText(name);
        }
        if (!config.updateEntry(name, entry, &error)) {
            showSaveFailure(tr("Failed to update profile."), error);
            return false;
        }
    }

    isNewProfile = false;
    loadProfileList();
    const QList<QListWidgetItem*> found = ui->listProfiles->findItems(name, Qt::MatchExactly);
    if (!found.isEmpty())
        ui->listProfiles->setCurrentItem(found.first());
    return true;
}

void ProfileDialog::showSaveFailure(const QString& what, const QString& error)
{
    QMessageBox::critical(this, tr("Error"), error.isEmpty() ? what : what + QLatin1Char('\n') + error,
                          QMessageBox::Ok);
}

bool ProfileDialog::hasUnsavedEdits() const
{
    if (!ui->lineEditName->isEnabled())
        return false;
    const QString name = ui->lineEditName->text().trimmed();
    const QString address = ui->lineEditAddress->text().trimmed();
    const QString mask = ui->lineEditMask->text().trimmed();
    const QString gateway = ui->lineEditGateway->text().trimmed();
    const QString servers = storedList(ui->lineEditDns, ui->checkBoxDnsAutomatic);
    const QString domains = storedList(ui->lineEditSearch, ui->checkBoxSearchAutomatic);
    if (isNewProfile)
        return !(name + address + mask + gateway + servers + domains).isEmpty();
    return name != currentProfileName ||
           address != config.getParameter(currentProfileName, ConfigManager::ADDRESS_KEY) ||
           mask != config.getParameter(currentProfileName, ConfigManager::MASK_KEY) ||
           gateway != config.getParameter(currentProfileName, ConfigManager::GATEWAY_KEY) ||
           servers != config.getParameter(currentProfileName, ConfigManager::DNS_KEY) ||
           domains != config.getParameter(currentProfileName, ConfigManager::SEARCH_KEY);
}

void ProfileDialog::reject()
{
    if (hasUnsavedEdits()) {
        const QString name = isNewProfile ? ui->lineEditName->text().trimmed() : currentProfileName;
        const QMessageBox::StandardButton answer = QMessageBox::question(
            this, tr("Unsaved Changes"),
            name.isEmpty() ? tr("Save the new profile?") : tr("Save changes to \"%1\"?").arg(name),
            QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, QMessageBox::Save);
        if (answer != QMessageBox::Discard && (answer != QMessageBox::Save || !saveProfile()))
            return;
    }
    QDialog::reject();
}
