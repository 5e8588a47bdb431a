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

// A table in tests/fixtures, one row a line: "row name :: column :: column ...", each column a string in
// which "\n" stands for a line feed; lines starting with "#" are comments.
inline QList<QStringList> fixtureTable(const QString& name)
{
    QList<QStringList> rows;
    for (const QString& line : FakeMac::fixture(name).split(u'\n', Qt::SkipEmptyParts)) {
        if (line.startsWith(u'#'))
            continue;
        // The space added lets a line end in " ::" for an empty last column.
        rows.append(QString(line + u' ').replace(QLatin1String("\\n"), QLatin1String("\n")).split(" :: "));
        rows.last().last().chop(rows.last().last().endsWith(u' ') ? 1 : 0);
    }
    return rows;
}

// One test row per line of such a table.
inline void addFixtureRows(const QString& name, const QList<const char*>& columns)
{
    for (const char* column : columns)
        QTest::addColumn<QString>(column);
    for (const QStringList& fields : fixtureTable(name)) {
        QTestData& row = QTest::newRow(qPrintable(fields.first()));
        for (qsizetype i = 1; i <= columns.size(); ++i)
            row << fields.value(i);
    }
}
