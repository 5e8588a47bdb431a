#pragma once

#include <QAbstractButton>
#include <QApplication>
#include <QList>
#include <QMessageBox>
#include <QPointer>
#include <QTimer>

// What one message box showed before it was answered.
struct SeenBox
{
    QString title;
    QString text;
    QMessageBox::Icon icon;
    QMessageBox::StandardButtons buttons;
    bool hasDefaultButton;
};

// Answers every message box that opens while it lives: the planned buttons in turn, then No or Ok for any
// box nobody expected. The dialogs open their boxes with exec(), so without this a test would block.
class BoxAnswerer
{
public:
    BoxAnswerer()
    {
        timer.setInterval(5);
        QObject::connect(&timer, &QTimer::timeout, &timer, [this] { poll(); });
        timer.start();
    }

    void plan(QMessageBox::StandardButton answer) { planned.append(answer); }

    QList<SeenBox> seen;

    // Closes whatever modal is still open, so that one failed test cannot hang the ones after it.
    static void closeLeftovers()
    {
        while (QWidget* modal = QApplication::activeModalWidget()) {
            modal->close();
            QApplication::processEvents();
            if (QApplication::activeModalWidget() == modal)
                break;
        }
    }

private:
    void poll()
    {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box || !box->isVisible() || box == answered)
            return;
        answered = box;
        seen.append(
            {box->windowTitle(), box->text(), box->icon(), box->standardButtons(), box->defaultButton() != nullptr});

        QMessageBox::StandardButton answer = planned.isEmpty() ? QMessageBox::NoButton : planned.takeFirst();
        QAbstractButton* button = box->button(answer);
        if (!button)
            button = box->button(QMessageBox::No);
        if (!button)
            button = box->button(QMessageBox::Ok);
        if (button)
            button->click();
        else
            box->close();
    }

    QTimer timer;
    QList<QMessageBox::StandardButton> planned;
    QPointer<QMessageBox> answered;
};
