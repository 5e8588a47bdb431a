#include "bench/benchsupport.h"

#include <QFile>
#include <QProcess>
#include <QTextStream>
#include <QtGlobal>

#include <algorithm>
#include <memory>
#include <vector>

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

QList<QStringList> firstReading(const QList<QStringList>& calls)
{
    const auto isListing = [](const QStringList& call) {
        return call.value(1) == QLatin1String("-listnetworkserviceorder");
    };
    const auto listing = std::find_if(calls.cbegin(), calls.cend(), isListing);
    if (listing == calls.cend())
        return {};
    QList<QStringList> reading{*listing};
    for (auto call = listing + 1; call != calls.cend() && !isListing(*call); ++call) {
        if (call->first() == QLatin1String("ifconfig") || call->value(1).startsWith(QLatin1String("-get")))
            reading.append(*call);
    }
    return reading;
}

void runOneByOne(const QList<QStringList>& commands)
{
    for (const QStringList& command : commands) {
        QProcess process;
        process.start(command.first(), command.mid(1));
        process.waitForFinished();
    }
}

void runAsReading(const QList<QStringList>& commands)
{
    if (commands.isEmpty())
        return;
    runOneByOne({commands.first()});
    std::vector<std::unique_ptr<QProcess>> processes;
    for (const QStringList& command : commands.mid(1)) {
        processes.push_back(std::make_unique<QProcess>());
        processes.back()->start(command.first(), command.mid(1));
    }
    for (const auto& process : processes)
        process->waitForFinished();
}

} // namespace Bench
