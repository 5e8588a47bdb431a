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
    bool validateFields();

    Ui::ProfileDialog* ui;
    ConfigManager& config;
    QString currentProfileName;
    bool isNewProfile;
};
