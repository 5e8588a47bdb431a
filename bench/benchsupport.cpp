#include "bench/benchsupport.h"

#include <QFile>
#include <QTextStream>
#include <QtGlobal>

#include <algorithm>

namespace {

void print(const QStringList& fields)
{
    QTextStream out(stdout);
    out << fields.join(QLatin1Char('\t')) << '\n';
}

} // namespace

namespace Bench {

void row(const QString& measure, const QString& tarnwick, const QString& reference, double ratio, const QString& goal)
{
    // Every program names the Qt it runs on, for the table's heading.
    static bool named = false;
    if (!named) {
        named = true;
        print({QStringLiteral("qt"), QString::fromLatin1(qVersion())});
    }
    print({QStringLiteral("row"), measure, tarnwick, reference,
           std::isnan(ratio) ? QStringLiteral("-") : QString::number(ratio, 'f', 2),
           goal.isEmpty() ? QStringLiteral("-") : goal});
}

void note(const QString& text)
{
    print({QStringLiteral("note"), text});
}

QString ms(double milliseconds)
{
    return QStringLiteral("%1 ms").arg(milliseconds, 0, 'f', milliseconds < 1 ? 3 : milliseconds < 10 ? 2 : 1);
}

double median(QList<double> values)
{
    if (values.isEmpty())
        return NAN;
    std::sort(values.begin(), values.end());
    const qsizetype half = values.size() / 2;
    return values.size() % 2 ? values.at(half) : (values.at(half - 1) + values.at(half)) / 2;
}

FakeMac& mac()
{
    const QString state = qEnvironmentVariable("FAKEMAC_STATE");
    if (state.isEmpty())
        qFatal("FAKEMAC_STATE is not set: run the benchmarks through bench/run.sh");
    static FakeMac machine(state);
    return machine;
}

qint64 residentKb()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLongLong();
    }
    return -1;
}

} // namespace Bench
