#pragma once

#include <QList>
#include <QString>

#include <atomic>

namespace System {

// Runs a program found through the search path, with no shell, and returns exactly two texts:
// its standard output and its standard error, decoded as UTF-8. Waits at most 30 s; the exit code
// is never looked at. With an application object on the calling thread, the application's events
// (timers, painting) keep being delivered meanwhile, while user input waits until the command ends.
// On any other thread the call just blocks; setting *cancel from elsewhere ends the command at once
// (with whatever it printed so far), so a reading nobody waits for any more never holds up a quit.
QList<QString> execute(const QString& program, const QList<QString>& arguments,
                       const std::atomic<bool>* cancel = nullptr);

// True while execute() waits for a command on the calling thread, so that work started by a timer
// during the wait can be skipped instead of nesting a second round of commands.
bool isBusy();

} // namespace System
