#pragma once

#include "tests/common/fakemac.h"

#include <QTest>

// Adds one test row per line of a table in tests/fixtures: "row name :: column :: column ...", each
// column a string in which "\n" stands for a line feed; lines starting with "#" are comments.
inline void addFixtureRows(const QString& table, const QList<const char*>& columns)
{
    for (const char* column : columns)
        QTest::addColumn<QString>(column);
    for (const QString& line : FakeMac::fixture(table).split(u'\n', Qt::SkipEmptyParts)) {
        const QStringList fields = QString(line).replace(QLatin1String("\\n"), QLatin1String("\n")).split(" :: ");
        if (line.startsWith(u'#'))
            continue;
        QTestData& row = QTest::newRow(qPrintable(fields.first()));
        for (qsizetype i = 1; i <= columns.size(); ++i)
            row << fields.value(i);
    }
}
