#pragma once

#include "tools/fakemac/fakemac.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <cmath>

// What every benchmark shares: the rows of the one table bench/run.sh prints, and the simulated Mac
// named by FAKEMAC_STATE, which run.sh sets up.
namespace Bench {

// One row, tab-separated for run.sh to align: what is measured, our figure, its reference, the ratio of
// the two (NaN when there is none) and the goal, if any.
void row(const QString& measure, const QString& tarnwick, const QString& reference, double ratio = NAN,
         const QString& goal = {});
// A line printed under the table.
void note(const QString& text);

QString ms(double milliseconds);
double median(QList<double> values);

// The machine in FAKEMAC_STATE.
FakeMac& mac();

// Resident memory of this process in kB (VmRSS), or -1 where /proc is missing.
qint64 residentKb();

// The first reading of the machine in a call log: its listing, then the per-service questions and ifconfig after
// it. They run at once, so they are logged in any order.
QList<QStringList> firstReading(const QList<QStringList>& calls);

// The references a figure is set against: command lines started and waited for with a bare QProcess,
// nothing else done. One at a time; or as a reading runs them, the first alone and then the rest at once.
void runOneByOne(const QList<QStringList>& commands);
void runAsReading(const QList<QStringList>& commands);

} // namespace Bench
