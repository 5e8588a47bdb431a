#include "network/system.h"

#include <QEventLoop>
#include <QProcess>
#include <QTimer>

#include <memory>
#include <vector>

#ifdef Q_OS_UNIX
#include <signal.h>
#include <unistd.h>
#endif

namespace {

constexpr int kCancelPollMs = 20;
// A killed command normally ends at once; one that does not is left behind rather than waited for.
constexpr int kKilledGraceMs = 1000;

// A command given up on is ended with everything it started, not only the process we know of.
void killGroup(QProcess& process)
{
#ifdef Q_OS_UNIX
    if (process.processId() > 0)
        ::kill(-pid_t(process.processId()), SIGKILL);
#endif
    process.kill();
}

} // namespace

namespace System {

QString Command::text() const
{
    return QStringList(QStringList{program} + arguments).join(QLatin1Char(' '));
}

QList<Outcome> runAll(const QList<Command>& commands, const std::atomic<bool>* cancel, int timeoutMs, int parallel)
{
    const qsizetype count = commands.size();
    QList<Outcome> outcomes(count);
    std::vector<std::unique_ptr<QProcess>> processes(count);
    std::vector<bool> givenUp(count, false);
    std::vector<bool> done(count, false);
    qsizetype started = 0;
    qsizetype ended = 0;
    int running = 0;
    bool cancelled = false;
    QEventLoop loop;

    std::function<void()> startMore;
    const auto end = [&](qsizetype i) {
        if (done[i])
            return;
        done[i] = true;
        QProcess& process = *processes[i];
        Outcome& outcome = outcomes[i];
        outcome.out = QString::fromUtf8(process.readAllStandardOutput());
        outcome.err = QString::fromUtf8(process.readAllStandardError());
        outcome.started = process.error() != QProcess::FailedToStart;
        outcome.finished = !givenUp[i];
        outcome.exitCode = process.exitCode();
        --running;
        ++ended;
        startMore();
        if (ended == count)
            loop.quit();
    };
    const auto giveUp = [&](qsizetype i) {
        givenUp[i] = true;
        killGroup(*processes[i]);
        QTimer::singleShot(kKilledGraceMs, &loop, [&end, i] { end(i); });
    };
    startMore = [&] {
        while (!cancelled && running < parallel && started < count) {
            const qsizetype i = started++;
            processes[i] = std::make_unique<QProcess>();
            QProcess* process = processes[i].get();
#ifdef Q_OS_UNIX
            process->setChildProcessModifier([] { ::setpgid(0, 0); });
#endif
            QObject::connect(process, &QProcess::finished, &loop, [&end, i] { end(i); });
            QObject::connect(process, &QProcess::errorOccurred, &loop, [&end, i](QProcess::ProcessError error) {
                if (error == QProcess::FailedToStart)
                    end(i);
            });
            auto* bound = new QTimer(process);
            bound->setSingleShot(true);
            bound->setTimerType(Qt::PreciseTimer);
            QObject::connect(bound, &QTimer::timeout, &loop, [&giveUp, &done, i] {
                if (!done[i])
                    giveUp(i);
            });
            ++running;
            bound->start(timeoutMs);
            process->start(commands.at(i).program, commands.at(i).arguments, QIODevice::ReadWrite);
        }
    };

    const auto stop = [&] {
        cancelled = true;
        for (qsizetype i = started; i < count; ++i)
            outcomes[i].finished = false;
        ended += count - started;
        started = count;
        for (qsizetype i = 0; i < count; ++i) {
            if (processes[i] && !done[i] && !givenUp[i])
                giveUp(i);
        }
        if (ended == count)
            loop.quit();
    };
    QTimer cancelPoll;
    if (cancel) {
        QObject::connect(&cancelPoll, &QTimer::timeout, &loop, [&] {
            if (*cancel && !cancelled)
                stop();
        });
        cancelPoll.start(kCancelPollMs);
    }

    if (cancel && *cancel)
        stop();
    else
        startMore();
    if (ended < count)
        loop.exec();
    return outcomes;
}

Outcome run(const QString& program, const QList<QString>& arguments, const std::atomic<bool>* cancel, int timeoutMs)
{
    return runAll({{program, arguments}}, cancel, timeoutMs).constFirst();
}

QList<QString> execute(const QString& program, const QList<QString>& arguments, const std::atomic<bool>* cancel,
                       int timeoutMs)
{
    const Outcome outcome = run(program, arguments, cancel, timeoutMs);
    return {outcome.out, outcome.err};
}

} // namespace System
