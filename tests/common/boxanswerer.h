#pragma once

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QMetaEnum>
#include <QPointer>

#include <functional>
#include <QPushButton>
#include <QTimer>

// Answers every message box that opens while it lives, so that no test blocks in a box's exec(): with
// the planned buttons in turn, then No, else the box's default button, else its first. Each box is recorded as
// "icon; title; text", with "; informative text" when it has one, and its default button beside.
class BoxAnswerer : public QObject
{
public:
    BoxAnswerer()
    {
        connect(&poll, &QTimer::timeout, this, [this] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (!box || !box->isVisible() || box == handled)
                return;
            if (custom && custom(box)) {
                handled = box;
                return;
            }
            const QString informative = box->informativeText();
            seen.append(QStringList{QMetaEnum::fromType<QMessageBox::Icon>().valueToKey(box->icon()),
                                    box->windowTitle(), box->text()}
                            .join(QLatin1String("; ")) +
                        (informative.isEmpty() ? QString() : QLatin1String("; ") + informative));
            defaults.append(box->standardButton(box->defaultButton()));
            QAbstractButton* button = box->button(plan.isEmpty() ? QMessageBox::No : plan.takeFirst());
            if (!button)
                button = box->defaultButton() ? box->defaultButton() : box->buttons().constFirst();
            button->click();
        });
        poll.start(5);
    }

    QList<QMessageBox::StandardButton> plan;
    // Given the first look at each box while it is open; returning true leaves it to the test.
    std::function<bool(QMessageBox*)> custom;
    QPointer<QMessageBox> handled;
    QStringList seen;
    QList<QMessageBox::StandardButton> defaults;

private:
    QTimer poll;
};
