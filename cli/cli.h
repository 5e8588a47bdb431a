#pragma once

#include <QString>
#include <QStringList>

#include <functional>

class QTextStream;

namespace Cli {

enum ExitStatus { Done = 0, Refused = 1, BadUsage = 2 };

// One line on standard error, after the program's name; the exit status it comes with.
int fail(QTextStream& err, int status, const QString& message);
inline int badUsage(QTextStream& err, const QString& message)
{
    return fail(err, BadUsage, message);
}
inline int refused(QTextStream& err, const QString& message)
{
    return fail(err, Refused, message);
}

// Who runs the command: under sudo (effective user 0 with SUDO_USER set) the profiles are the
// invoking user's, found in their home through homeOf.
struct Environment
{
    unsigned int euid = 0;
    QString sudoUser;
    std::function<QString(const QString& user)> homeOf;
};

// Runs one command line (arguments[0] is the program); results go to out, errors to err.
int run(const QStringList& arguments, QTextStream& out, QTextStream& err, const Environment& environment);

} // namespace Cli
