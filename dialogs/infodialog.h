#pragma once

#include <QString>

class QWidget;

// The main window's notices: a modal box with the program's own information or warning image.
class InfoDialog
{
public:
    InfoDialog() = delete;

    static void information(QWidget* parent, const QString& title, const QString& text);
    static void warning(QWidget* parent, const QString& title, const QString& text);
    static void show(QWidget* parent, const QString& title, const QString& text, const QString& iconPath);
};
