#include "core/commandrunner.h"

CommandRunner::CommandRunner(QObject* parent) : QObject(parent), worker(new QObject)
{
    worker->moveToThread(&thread);
    thread.start();
}

CommandRunner::~CommandRunner()
{
    stopping = true;
    makeReadingsStale();
    // Quitting the thread from here would end the local event loop a change waits in; the last job ends it.
    post([this] { thread.quit(); });
    thread.wait();
    delete worker;
}

void CommandRunner::read(bool byUser, int timeoutMs)
{
    if (byUser)
        makeReadingsStale();
    const quint64 id = ++lastReading;
    const auto cancel = std::make_shared<std::atomic<bool>>(false);
    readings.insert(id, {byUser, cancel});
    jobStarted(byUser);
    post([this, id, cancel, timeoutMs] {
        const MachineReading reading = readMachine(cancel.get(), timeoutMs);
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

void CommandRunner::apply(const Change& change, const ChangeOptions& options)
{
    makeReadingsStale();
    ++changes;
    jobStarted(true);
    post([this, change, options] {
        // A quit that came before the change began drops it whole.
        if (stopping)
            return;
        const ChangeReport report = runChange(change, options);
        QMetaObject::invokeMethod(
            this,
            [this, report] {
                --changes;
                emit changeFinished(report);
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
    {
        QMutexLocker locker(&queueLock);
        queue.push_back(std::move(job));
    }
    QMetaObject::invokeMethod(
        worker, [this] { runJobs(); }, Qt::QueuedConnection);
}

void CommandRunner::runJobs()
{
    if (running)
        return;
    running = true;
    for (;;) {
        std::function<void()> job;
        {
            QMutexLocker locker(&queueLock);
            if (queue.empty())
                break;
            job = std::move(queue.front());
            queue.pop_front();
        }
        job();
    }
    running = false;
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
