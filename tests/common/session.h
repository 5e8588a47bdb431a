#pragma once

#include "config/configmanager.h"
#include "tests/common/fakemac.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QMessageBox>
#include <QMetaEnum>
#include <QTest>
#include <QTimer>

#include <memory>

// The configuration store as the program keeps it, in the fresh home folder of a simulated Mac. The file
// is read and written raw, without the store, so that a mistake there cannot hide one here.
struct StoreSession
{
    static inline const QString defaultConfig = QStringLiteral(":/resources/resources/default-config.xml");

    ConfigManager& start(const QString& defaultFile = defaultConfig)
    {
        store = std::make_unique<ConfigManager>(QStringLiteral("config.xml"), defaultFile);
        return *store;
    }
    static QByteArray read(const QString& file)
    {
        QFile in(file);
        return in.open(QIODevice::ReadOnly) ? in.readAll() : QByteArray();
    }
    QByteArray file() const { return read(path); }
    void write(const QByteArray& bytes) const
    {
        QFile::remove(path);
        QFile out(path);
        QVERIFY(QDir().mkpath(mac.homeDir() + "/Library/Tarnwick") && out.open(QIODevice::WriteOnly));
        out.write(bytes);
    }

    FakeMac mac;
    const QString path = mac.homeDir() + QStringLiteral("/Library/Tarnwick/config.xml");
    std::unique_ptr<ConfigManager> store;
};

// Answers every message box that opens while it lives, so that no test blocks in a box's exec(): with
// the planned buttons in turn, then No, else the box's first button. Each box is recorded as
// "icon; title; text", with "; informative text" when it has one.
class BoxAnswerer : public QObject
{
public:
    BoxAnswerer()
    {
        connect(&poll, &QTimer::timeout, this, [this] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (!box || !box->isVisible())
                return;
            const QString informative = box->informativeText();
            seen.append(QStringList{QMetaEnum::fromType<QMessageBox::Icon>().valueToKey(box->icon()),
                                    box->windowTitle(), box->text()}
                            .join(QLatin1String("; ")) +
                        (informative.isEmpty() ? QString() : QLatin1String("; ") + informative));
            QAbstractButton* button = box->button(plan.isEmpty() ? QMessageBox::No : plan.takeFirst());
            (button ? button : box->buttons().constFirst())->click();
        });
        poll.start(5);
    }

    QList<QMessageBox::StandardButton> plan;
    QStringList seen;

private:
    QTimer poll;
};
