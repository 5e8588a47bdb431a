#pragma once

#include "cli/cli.h"
#include "config/configmanager.h"

#include <QCommandLineOption>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

class QCommandLineParser;
class QTextStream;

namespace Cli {

// "export [FILE|-]" and "import FILE [--on-conflict rename|replace|skip]": the profiles to and from a
// profiles document, config.xml's own format without the settings.

// Their option, for the parser.
QList<QCommandLineOption> transferOptions();

// Runs `command` when it is "export" or "import"; with any other command, refuses --on-conflict. Nothing when
// neither is the case, so that the caller goes on with its own commands. Export reads the profiles through
// readProfiles, which knows whose they are under sudo.
std::optional<int> runTransferCommand(const QString& command, const QStringList& arguments,
                                      const QCommandLineParser& parser, QTextStream& out, QTextStream& err,
                                      const Environment& environment,
                                      const std::function<ConfigManager()>& readProfiles);

} // namespace Cli
