#include "cli/transfercommands.h"

#include <QBuffer>
#include <QCommandLineParser>
#include <QDir>
#include <QFile>
#include <QMap>
#include <QSaveFile>
#include <QTextStream>

namespace Cli {

namespace {

const QString onConflictOption = QStringLiteral("on-conflict");

// To standard output for "-" or no file; a file is written whole or left as it was.
int exportProfiles(const QString& target, const ConfigManager& store, QTextStream& out, QTextStream& err)
{
    if (!store.readCleanly())
        err << "tarnwick-cli: " << store.readProblem() << '\n';
    if (target.isEmpty() || target == QLatin1String("-")) {
        QBuffer buffer;
        buffer.open(QIODevice::WriteOnly);
        store.exportProfiles(buffer);
        out << QString::fromUtf8(buffer.data());
        return Done;
    }
    QSaveFile file(target);
    QString error;
    // Unbuffered, a write that stops short fails with the system's reason rather than an unknown error.
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) || !store.exportProfiles(file, &error) ||
        !file.commit()) {
        return refused(err, QStringLiteral("could not write %1: %2")
                                .arg(QDir::toNativeSeparators(target), error.isEmpty() ? file.errorString() : error));
    }
    const qsizetype count = store.getProfileEntries().size();
    out << "Exported " << count << (count == 1 ? " profile" : " profiles") << " to " << QDir::toNativeSeparators(target)
        << ".\n";
    return Done;
}

// The file is read before the store is opened for writing: opening it creates a missing config.xml, and a
// file that cannot be imported must leave none behind.
int importProfiles(const QString& source, ConfigManager::OnConflict onConflict, QTextStream& out, QTextStream& err)
{
    const ConfigManager::ProfilesDocument document = ConfigManager::readProfilesDocument(source);
    if (!document.problem.isEmpty())
        return badUsage(err, document.problem);
    ConfigManager store(ConfigManager::FILE_NAME, ConfigManager::DEFAULT_RESOURCE);
    // A file the store could not create is left to the save, which says why it cannot write one.
    if (!QFile::exists(store.filePath()))
        store.load(ConfigManager::DEFAULT_RESOURCE);
    if (!store.readCleanly())
        err << "tarnwick-cli: " << store.readProblem() << '\n';
    const ConfigManager::ImportResult result = store.importProfiles(document, onConflict);
    if (result.outcome == ConfigManager::ImportResult::Outcome::BadFile)
        return badUsage(err, result.error);
    if (result.outcome == ConfigManager::ImportResult::Outcome::NotSaved)
        return refused(err, result.error);
    for (const QString& line : result.lines)
        out << line << '\n';
    if (!store.lastKeptCopy().isEmpty())
        out << "config.xml as it was is kept as " << QDir::toNativeSeparators(store.lastKeptCopy()) << ".\n";
    return Done;
}

} // namespace

QList<QCommandLineOption> transferOptions()
{
    return {QCommandLineOption(onConflictOption,
                               QStringLiteral("import: what becomes of a profile whose name is taken by one with other "
                                              "settings: rename adds it as \"NAME (2)\", replace replaces the stored "
                                              "one, skip keeps it (default rename)."),
                               QStringLiteral("rename|replace|skip"))};
}

std::optional<int> runTransferCommand(const QString& command, const QStringList& arguments,
                                      const QCommandLineParser& parser, QTextStream& out, QTextStream& err,
                                      const Environment& environment,
                                      const std::function<ConfigManager()>& readProfiles)
{
    const bool exporting = command == QLatin1String("export");
    const bool importing = command == QLatin1String("import");
    if (!exporting && !importing && !parser.isSet(onConflictOption))
        return std::nullopt;
    if (parser.isSet(onConflictOption) && !importing)
        return badUsage(err, QStringLiteral("--on-conflict goes with import"));
    // They run nothing and change no profile by hand: only the log and the conflict choice apply to them.
    for (const QString& option : parser.optionNames()) {
        if (option != QLatin1String("verbose") && option != onConflictOption)
            return badUsage(err, QStringLiteral("--%1 does not go with %2").arg(option, command));
    }
    if (arguments.size() > 1 || (importing && arguments.isEmpty()))
        return badUsage(err, QStringLiteral("wrong number of arguments for %1; see --help").arg(command));
    if (!arguments.isEmpty() && arguments.first().isEmpty())
        return badUsage(err, QStringLiteral("%1 takes a file name, not an empty one").arg(command));
    if (exporting)
        return exportProfiles(arguments.value(0), readProfiles(), out, err);
    // A config.xml written by root would lock the window, which runs as the user, out of it.
    if (environment.euid == 0 && !environment.sudoUser.isEmpty())
        return badUsage(err, QStringLiteral("profiles belong to the user; run it without sudo"));
    const QMap<QString, ConfigManager::OnConflict> policies{
        {QStringLiteral("rename"), ConfigManager::OnConflict::Rename},
        {QStringLiteral("replace"), ConfigManager::OnConflict::Replace},
        {QStringLiteral("skip"), ConfigManager::OnConflict::Skip}};
    const QString policy = parser.isSet(onConflictOption) ? parser.value(onConflictOption) : QStringLiteral("rename");
    if (!policies.contains(policy))
        return badUsage(err, QStringLiteral("--on-conflict \"%1\" is not rename, replace or skip").arg(policy));
    return importProfiles(arguments.first(), policies.value(policy), out, err);
}

} // namespace Cli
