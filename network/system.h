#pragma once

#include <QList>
#include <QString>

namespace System {

// Runs a program found through the search path, with no shell, and returns exactly two texts:
// its standard output and its standard error, decoded as UTF-8. Waits at most 30 s; the exit code
// is never looked at. With an application object on the calling thread, the application's events
// (timers, painting) keep being delivered meanwhile, while user input waits until the command ends.
QList<QString> execute(const QString& program, const QList<QString>& arguments);

// True while execute() waits for a command, so that work started by a timer during the wait can
// be skipped instead of nesting a second round of commands.
bool isBusy();

} // namespace System
