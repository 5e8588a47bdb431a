#include "dialogs/infodialog.h"

#include <QMessageBox>
#include <QPixmap>

void InfoDialog::information(QWidget* parent, const QString& title, const QString& text)
{
    show(parent, title, text, QStringLiteral(":/resources/images/icon-information.png"));
}

void InfoDialog::warning(QWidget* parent, const QString& title, const QString& text)
{
    show(parent, title, text, QStringLiteral(":/resources/images/icon-warning.png"));
}

void InfoDialog::show(QWidget* parent, const QString& title, const QString& text, const QString& iconPath)
{
    QMessageBox box(QMessageBox::NoIcon, title, text, QMessageBox::Ok, parent,
                    Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint);
    // A missing image leaves a null pixmap: the box still shows its text and Ok button.
    box.setIconPixmap(QPixmap(iconPath));
    box.exec();
}
