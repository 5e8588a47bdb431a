#include "network/commandrunner.h"

CommandRunner::CommandRunner(QObject* parent) : QObject(parent), worker(new QObject)
{
    worker->moveToThread(&thread);
    thread.start();
}

CommandRunner::~CommandRunner()
{
    stopping = true;
    makeReadingsStale();
    thread.quit();
    thread.wait();
    delete worker;
}

void CommandRunner::read(bool byUser)
{
    if (byUser)
        makeReadingsStale();
    const quint64 id = ++lastReading;
    const auto cancel = std::make_shared<std::atomic<bool>>(false);
    readings.insert(id, {byUser, cancel});
    jobStarted(byUser);
    const int timeout = timeoutMs;
    post([this, id, cancel, timeout] {
        const InterfaceMap reading = NetworkManager::read(cancel.get(), timeout);
        QMetaObject::invokeMethod(
            this,
            [this, id, reading] {
                const auto found = readings.constFind(id);
                if (found == readings.cend())
                    return;
                const bool byUser = found->byUser;
                const bool stale = *found->cancel;
                readings.erase(found);
                if (!stale)
                    emit readingFinished(reading, byUser);
                jobEnded(byUser);
            },
            Qt::QueuedConnection);
    });
}

void CommandRunner::apply(const Change& change, bool elevated)
{
    makeReadingsStale();
    ++changes;
    jobStarted(true);
    const int timeout = timeoutMs;
    post([this, change, elevated, timeout] {
        // A quit that came before the change began drops it whole.
        if (stopping)
            return;
        const ChangeResult result =
            elevated ? NetworkManager::applyElevated(change) : NetworkManager::apply(change, timeout);
        QMetaObject::invokeMethod(
            this,
            [this, change, result] {
                --changes;
                emit changeFinished(change, result);
                jobEnded(true);
            },
            Qt::QueuedConnection);
    });
}

void CommandRunner::makeReadingsStale()
{
    for (const Reading& reading : std::as_const(readings))
        *reading.cancel = true;
}

void CommandRunner::post(std::function<void()> job)
{
    QMetaObject::invokeMethod(worker, std::move(job), Qt::QueuedConnection);
}

void CommandRunner::jobStarted(bool byUser)
{
    if (byUser && userJobs++ == 0)
        emit busyChanged(true);
}

void CommandRunner::jobEnded(bool byUser)
{
    if (byUser && --userJobs == 0)
        emit busyChanged(false);
}
