#include "network/system.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QProcess>
#include <QThread>
#include <QTimer>

namespace {

constexpr int kTimeoutMs = 30000;
int busyDepth = 0;

bool hasEventLoopHere()
{
    const QCoreApplication* app = QCoreApplication::instance();
    return app && app->thread() == QThread::currentThread();
}

} // namespace

namespace System {

QList<QString> execute(const QString& program, const QList<QString>& arguments)
{
    struct BusyGuard
    {
        BusyGuard() { ++busyDepth; }
        ~BusyGuard() { --busyDepth; }
    } busy;

    QProcess process; // no parent: it dies with this call, which ends a child that outlived the wait
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
        process.waitForFinished(kTimeoutMs);
    }
    const QByteArray out = process.readAllStandardOutput();
    const QByteArray err = process.readAllStandardError();
    return {QString::fromUtf8(out), QString::fromUtf8(err)};
}

bool isBusy()
{
    return busyDepth > 0;
}

} // namespace System
