#pragma once

#include "tests/common/fakemac.h"

#include <QTest>

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
