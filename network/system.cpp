#include "network/system.h"

#include <QDeadlineTimer>
#include <QProcess>

#ifdef Q_OS_UNIX
#include <signal.h>
#include <unistd.h>
#endif

namespace {

constexpr int kCancelPollMs = 20;

// A command given up on is ended with everything it started, not only the process we know of.
void killGroup(QProcess& process)
{
#ifdef Q_OS_UNIX
    if (process.processId() > 0)
        ::kill(-pid_t(process.processId()), SIGKILL);
#endif
    process.kill();
    process.waitForFinished(1000);
}

} // namespace

namespace System {

Outcome run(const QString& program, const QList<QString>& arguments, const std::atomic<bool>* cancel, int timeoutMs)
{
    if (cancel && *cancel)
        return {QString(), QString(), true, false, 0};
    QProcess process; // no parent: it dies with this call
#ifdef Q_OS_UNIX
    process.setChildProcessModifier([] { ::setpgid(0, 0); });
#endif
    process.start(program, arguments, QIODevice::ReadWrite);
    const QDeadlineTimer deadline(timeoutMs, Qt::PreciseTimer);
    bool finished = true;
    while (process.state() != QProcess::NotRunning && !process.waitForFinished(cancel ? kCancelPollMs : timeoutMs)) {
        if (deadline.hasExpired() || (cancel && *cancel)) {
            finished = false;
            break;
        }
    }
    if (!finished)
        killGroup(process);
    const QByteArray out = process.readAllStandardOutput();
    const QByteArray err = process.readAllStandardError();
    const bool started = process.error() != QProcess::FailedToStart;
    return {QString::fromUtf8(out), QString::fromUtf8(err), started, finished, process.exitCode()};
}

QList<QString> execute(const QString& program, const QList<QString>& arguments, const std::atomic<bool>* cancel,
                       int timeoutMs)
{
    const Outcome outcome = run(program, arguments, cancel, timeoutMs);
    return {outcome.out, outcome.err};
}

} // namespace System
