#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <atomic>

namespace System {

// How long a command may take before it is given up on.
constexpr int defaultTimeoutMs = 30000;
// How many commands a reading runs at once: a Mac with many services is read in the time of its slowest
// command, without starting dozens of processes together.
constexpr int maxParallel = 16;

// What a command printed, decoded as UTF-8, and whether it ended by itself within its bound.
struct Outcome
{
    QString out;
    QString err;
    bool started = true;  // false: the program could not be started (not found, not executable)
    bool finished = true; // false: given up on (bound reached, or cancelled), and killed
    int exitCode = 0;     // only meaningful when finished
};

struct Command
{
    QString program;
    QStringList arguments;

    // "networksetup -getinfo Wi-Fi": how a person would type it, for messages.
    QString text() const;
};

// Runs the commands found through the search path, with no shell in between, at most `parallel` at a time,
// each bounded by timeoutMs from its own start, and waits for them all on the calling thread (in a local
// event loop) or until *cancel is set from elsewhere. A command given up on is killed with everything it
// started, and returns what it printed so far. The outcomes come in the order of the commands.
QList<Outcome> runAll(const QList<Command>& commands, const std::atomic<bool>* cancel = nullptr,
                      int timeoutMs = defaultTimeoutMs, int parallel = maxParallel);

// runAll() of one command.
Outcome run(const QString& program, const QList<QString>& arguments, const std::atomic<bool>* cancel = nullptr,
            int timeoutMs = defaultTimeoutMs);

// run() as two texts, standard output then standard error; the exit code is never looked at.
QList<QString> execute(const QString& program, const QList<QString>& arguments,
                       const std::atomic<bool>* cancel = nullptr, int timeoutMs = defaultTimeoutMs);

} // namespace System
