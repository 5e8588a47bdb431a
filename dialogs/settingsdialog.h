#pragma once

#include <QDialog>

class ConfigManager;

namespace Ui {
class SettingsDialog;
}

// Edits the default network id and the forbidden interfaces, and can reset the whole configuration.
class SettingsDialog : public QDialog
{
    Q_OBJECT

public:
    SettingsDialog(ConfigManager& config, QWidget* parent);
    ~SettingsDialog() override;

private slots:
    void onAdd();
    void onRemove();
    void onSave();
    void onRestore();

private:
    void loadSettings();

    Ui::SettingsDialog* ui;
    ConfigManager& config;
};
