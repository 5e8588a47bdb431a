#pragma once

#include "config/configmanager.h"
#include "tools/fakemac/fakemac.h"

#include <QDir>
#include <QFile>
#include <QTest>

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
