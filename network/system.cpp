#include "network/system.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QProcess>
#include <QThread>
#include <QTimer>

#ifdef Q_OS_UNIX
#include <signal.h>
#include <unistd.h>
#endif

namespace {

constexpr int kTimeoutMs = 30000;
constexpr int kCancelPollMs = 20;
// Per thread: the GUI thread asks whether it is itself waiting, whatever a worker is doing.
thread_local int busyDepth = 0;

bool hasEventLoopHere()
{
    const QCoreApplication* app = QCoreApplication::instance();
    return app && app->thread() == QThread::currentThread();
}

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

QList<QString> execute(const QString& program, const QList<QString>& arguments, const std::atomic<bool>* cancel)
{
    struct BusyGuard
    {
        BusyGuard() { ++busyDepth; }
        ~BusyGuard() { --busyDepth; }
    } busy;

    if (cancel && *cancel)
        return {QString(), QString()};
    QProcess process; // no parent: it dies with this call
#ifdef Q_OS_UNIX
    process.setChildProcessModifier([] { ::setpgid(0, 0); });
#endif
    if (hasEventLoopHere()) {
        QEventLoop loop;
        QTimer timeout;
        timeout.setSingleShot(true);
        // A coarse timer may fire up to 5 % early and cut off a command that is still within its 30 s.
        timeout.setTimerType(Qt::PreciseTimer);
        QObject::connect(&process, &QProcess::finished, &loop, &QEventLoop::quit);
        QObject::connect(&process, &QProcess::errorOccurred, &loop, [&loop](QProcess::ProcessError error) {
            if (error == QProcess::FailedToStart)
                loop.quit();
        });
        QObject::connect(&timeout, &QTimer::timeout, &loop, &QEventLoop::quit);
        process.start(program, arguments, QIODevice::ReadWrite);
        if (process.state() != QProcess::NotRunning) {
            timeout.start(kTimeoutMs);
            // Keys and clicks stay queued until the command is over, so nothing the user does acts on
            // a half-read state; the next ordinary round of event processing delivers them in order.
            loop.exec(QEventLoop::ExcludeUserInputEvents);
        }
    } else {
        process.start(program, arguments, QIODevice::ReadWrite);
        const QDeadlineTimer deadline(kTimeoutMs);
        while (!process.waitForFinished(cancel ? kCancelPollMs : kTimeoutMs) &&
               process.state() != QProcess::NotRunning && !deadline.hasExpired() && !(cancel && *cancel)) {
        }
    }
    if (process.state() != QProcess::NotRunning)
        killGroup(process);
    const QByteArray out = process.readAllStandardOutput();
    const QByteArray err = process.readAllStandardError();
    return {QString::fromUtf8(out), QString::fromUtf8(err)};
}

bool isBusy()
{
    return busyDepth > 0;
}

} // namespace System
