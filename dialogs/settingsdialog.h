#pragma once

#include <QDialog>

class ConfigManager;

namespace Ui {
class SettingsDialog;
}

// Edits the default network id, the forbidden interfaces and what a switch to DHCP does to DNS, and can reset
// the whole configuration.
class SettingsDialog : public QDialog
{
    Q_OBJECT

public:
    SettingsDialog(ConfigManager& config, QWidget* parent);
    ~SettingsDialog() override;

    // Asks before the default configuration replaces every profile, naming where the old file will be kept;
    // Cancel is the default answer.
    static bool askToRestore(QWidget* parent, const ConfigManager& config);

private slots:
    void onAdd();
    void onRemove();
    void onSave();
    void onRestore();

private:
    void loadSettings();
    bool changeSetting(const QString& key, const QString& value, QString* error);

    Ui::SettingsDialog* ui;
    ConfigManager& config;
};
