#pragma once

#include "config/configmanager.h"
#include "tests/common/fakemac.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QListWidget>
#include <QMessageBox>
#include <QMetaEnum>
#include <QPointer>
#include <QTest>
#include <QTimer>
#include <QXmlStreamReader>

#include <memory>

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

    // Each box as "icon; title; text; buttons", with "; default" when a box offering a choice pre-selects one.
    QStringList seen;

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
        QStringList buttons =
            QString(QMetaEnum::fromType<QMessageBox::StandardButtons>().valueToKeys(box->standardButtons()))
                .split(QLatin1Char('|'));
        buttons.removeAll(QLatin1String("FirstButton"));
        buttons.removeAll(QLatin1String("LastButton"));
        const bool choiceMade = box->defaultButton() && box->buttons().size() > 1;
        seen.append(QStringList{QMetaEnum::fromType<QMessageBox::Icon>().valueToKey(box->icon()), box->windowTitle(),
                                box->text(), buttons.join(QLatin1Char('|'))}
                        .join(QLatin1String("; ")) +
                    (choiceMade ? QLatin1String("; default") : QLatin1String()));

        QAbstractButton* button = box->button(planned.isEmpty() ? QMessageBox::NoButton : planned.takeFirst());
        for (auto fallback : {QMessageBox::No, QMessageBox::Ok})
            if (!button)
                button = box->button(fallback);
        button ? button->click() : void(box->close());
    }

    QTimer timer;
    QList<QMessageBox::StandardButton> planned;
    QPointer<QMessageBox> answered;
};

const QString defaultResource = QStringLiteral(":/resources/resources/default-config.xml");

inline QString configPath()
{
    return QDir::homePath() + QStringLiteral("/Library/Tarnwick/config.xml");
}

inline QByteArray fileBytes(const QString& path = configPath())
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The child elements of every top-level <tag> in the file, read without the store so that a mistake there
// cannot hide one here.
inline QList<QMap<QString, QString>> onDisk(const QString& tag)
{
    QList<QMap<QString, QString>> found;
    QFile file(configPath());
    if (!file.open(QIODevice::ReadOnly))
        return found;
    QXmlStreamReader reader(&file);
    reader.readNextStartElement();
    while (reader.readNextStartElement()) {
        if (reader.name() != tag) {
            reader.skipCurrentElement();
            continue;
        }
        found.append(QMap<QString, QString>());
        while (reader.readNextStartElement())
            found.last().insert(reader.name().toString(), reader.readElementText());
    }
    return found;
}

// One dialog over the store of a fresh simulated Mac, every box it opens answered by the test's plan.
template <typename Dialog> struct DialogFixture
{
    std::unique_ptr<FakeMac> fake;
    std::unique_ptr<BoxAnswerer> boxes;
    std::unique_ptr<ConfigManager> store;
    std::unique_ptr<Dialog> dialog;
    QByteArray before; // the file as the dialog found it

    void start()
    {
        fake = std::make_unique<FakeMac>();
        boxes = std::make_unique<BoxAnswerer>();
        store = std::make_unique<ConfigManager>(QStringLiteral("config.xml"), defaultResource);
    }

    void stop()
    {
        BoxAnswerer::closeLeftovers();
        dialog.reset();
        store.reset();
        boxes.reset();
        // A failed check may leave the folder read-only, and the temporary home could not be removed.
        if (fake)
            QFile::setPermissions(QFileInfo(configPath()).path(),
                                  QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        fake.reset();
    }

    void open(bool show = true)
    {
        before = fileBytes();
        dialog = std::make_unique<Dialog>(*store, nullptr);
        if (!show)
            return;
        dialog->show();
        // A list may pick its first row when the window gets the focus; that must be over before a test acts.
        QVERIFY(QTest::qWaitForWindowActive(dialog.get()));
    }

    template <typename T = QWidget> T* child(const QString& name) const
    {
        T* widget = dialog->template findChild<T*>(name);
        if (!widget)
            qFatal("no widget %s", qPrintable(name));
        return widget;
    }

    void press(const char* button) { QTest::mouseClick(child<QAbstractButton>(button), Qt::LeftButton); }
};

inline void chooseRow(QListWidget* list, int row)
{
    QTest::mouseClick(list->viewport(), Qt::LeftButton, Qt::NoModifier, list->visualItemRect(list->item(row)).center());
}

inline QStringList rows(const QListWidget* list)
{
    QStringList texts;
    for (int row = 0; row < list->count(); ++row)
        texts.append(list->item(row)->text());
    return texts;
}
