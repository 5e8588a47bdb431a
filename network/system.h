#pragma once

#include <QList>
#include <QString>

#include <atomic>

namespace System {

// How long a command may take before it is given up on.
constexpr int defaultTimeoutMs = 30000;

// What a command printed, decoded as UTF-8, and whether it ended by itself within its bound.
struct Outcome
{
    QString out;
    QString err;
    bool started = true;  // false: the program could not be started (not found, not executable)
    bool finished = true; // false: given up on (bound reached, or cancelled), and killed
    int exitCode = 0;     // only meaningful when finished
};

// Runs a program found through the search path, with no shell in between, and waits for it on the
// calling thread: at most timeoutMs, or until *cancel is set from elsewhere. A command given up on is
// killed with everything it started, and returns what it printed so far.
Outcome run(const QString& program, const QList<QString>& arguments, const std::atomic<bool>* cancel = nullptr,
            int timeoutMs = defaultTimeoutMs);

// run() as two texts, standard output then standard error; the exit code is never looked at.
QList<QString> execute(const QString& program, const QList<QString>& arguments,
                       const std::atomic<bool>* cancel = nullptr, int timeoutMs = defaultTimeoutMs);

} // namespace System
