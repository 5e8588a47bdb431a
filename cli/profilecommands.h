#pragma once

#include "cli/cli.h"

#include <QCommandLineOption>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

class QCommandLineParser;
class QTextStream;

namespace Cli {

// The commands that change the user's config.xml: "profile add|edit|rename|remove" and
// "setting default-host|hide|unhide".

// Their options, for the parser.
QList<QCommandLineOption> profileOptions();

// Runs `command` when it is "profile" or "setting"; with any other command, refuses their options. Nothing when
// neither is the case, so that the caller goes on with its own commands.
std::optional<int> runProfileCommand(const QString& command, const QStringList& arguments,
                                     const QCommandLineParser& parser, QTextStream& out, QTextStream& err,
                                     const Environment& environment);

} // namespace Cli
