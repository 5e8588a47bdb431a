#pragma once

#include <QDialog>
#include <QString>

class ConfigManager;

namespace Ui {
class ProfileDialog;
}

// Lists, creates, edits, renames and deletes the named profiles; every change goes to the store at once.
class ProfileDialog : public QDialog
{
    Q_OBJECT

public:
    ProfileDialog(ConfigManager& config, QWidget* parent);
    ~ProfileDialog() override;

public slots:
    // Close, the window's close box and Escape all end here: unsaved edits are offered to be saved first.
    void reject() override;

private slots:
    void onProfileSelected();
    void onAddProfile();
    void onDeleteProfile();
    void onSave();

private:
    void loadProfileList();
    void loadProfileDetails(const QString& name);
    void clearDetails();
    void setFieldsEnabled(bool enabled);
    // Enables the DNS fields as their Automatic boxes allow, shows why what is typed there cannot be saved,
    // and allows Save only when it can.
    void updateDnsFields();
    bool validateFields();
    bool saveProfile();
    bool hasUnsavedEdits() const;
    void showSaveFailure(const QString& what, const QString& error);

    Ui::ProfileDialog* ui;
    ConfigManager& config;
    QString currentProfileName;
    bool isNewProfile;
};
