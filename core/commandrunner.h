#pragma once

#include "core/changereport.h"
#include "core/servicestate.h"

#include <QHash>
#include <QMutex>
#include <QObject>
#include <QThread>

#include <atomic>
#include <deque>
#include <functional>
#include <memory>

// The one path by which the program runs commands: readings of the machine and changes to it run on a
// worker thread, in the order asked, one at a time, and their results come back to the thread that
// owns this object as signals carrying plain values.
class CommandRunner : public QObject
{
    Q_OBJECT

public:
    explicit CommandRunner(QObject* parent = nullptr);
    // Cancels every reading at once but lets a change that has begun run to its end: its commands are
    // never killed early, so quitting never leaves a service half-changed.
    ~CommandRunner() override;

    // A reading the user asked for, like every change, makes the readings asked for before it stale:
    // they are cancelled and never reported.
    void read(bool byUser, int timeoutMs);
    void apply(const Change& change, const ChangeOptions& options);

    bool isBusy() const { return userJobs > 0; } // a reading the user asked for, or a change, is not over
    bool isChanging() const { return changes > 0; }
    bool isReading() const { return !readings.isEmpty(); }

signals:
    void readingFinished(const MachineReading& reading, bool byUser);
    void changeFinished(const ChangeReport& report);
    void busyChanged(bool busy);

private:
    struct Reading
    {
        bool byUser = false;
        std::shared_ptr<std::atomic<bool>> cancel;
    };

    void makeReadingsStale();
    void post(std::function<void()> job);
    void runJobs();
    void jobStarted(bool byUser);
    void jobEnded(bool byUser);

    QThread thread;
    QObject* worker; // lives in the worker thread; the jobs run in its event loop
    // Jobs wait here rather than as posted events: a reading waits for its commands in a local event loop,
    // which must not start the next job inside it.
    QMutex queueLock;
    std::deque<std::function<void()>> queue;
    bool running = false; // touched on the worker thread only
    std::atomic<bool> stopping{false};
    quint64 lastReading = 0;
    QHash<quint64, Reading> readings; // every reading asked for and not yet reported or dropped
    int userJobs = 0;
    int changes = 0;
};
