#include "cli/confirm.h"

#include "cli/cli.h"
#include "core/switcher.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QSaveFile>
#include <QTextStream>
#include <QThread>
#include <QUrl>
#include <QUuid>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <unistd.h>

namespace Cli {

namespace {

const QString confirmName = QStringLiteral("confirm");
const QString revertCommand = QStringLiteral("revert-pending");
const QString pendingState = QStringLiteral("pending");
const QString keptState = QStringLiteral("kept");
const QString revertedState = QStringLiteral("reverted");
const QString notRevertedState = QStringLiteral("not reverted");
// How often a waiting process looks whether the change was settled elsewhere.
constexpr int lookEveryMs = 200;

qint64 now()
{
    return QDateTime::currentMSecsSinceEpoch();
}

// A change that waits for an answer, then how it was settled. The revert is Undo, and only while the newest
// state in the history is still the one recorded before this change: a later change is never undone by it.
struct Pending
{
    QString service;
    QString token;
    qint64 deadline = 0; // milliseconds since the epoch: the one clock that every process shares
    QString restoresWhen;
    QString restores;
    QString state = pendingState;
    QString line; // how it was settled, for a person
};

std::optional<Pending> readRecord(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QJsonObject o = QJsonDocument::fromJson(file.readAll()).object();
    const auto text = [&o](const char* key) { return o.value(QLatin1String(key)).toString(); };
    return Pending{text("service"),      text("token"),    qint64(o.value(QStringLiteral("deadline")).toDouble()),
                   text("restoresWhen"), text("restores"), text("state"),
                   text("line")};
}

bool writeRecord(const QString& path, const Pending& record)
{
    const QByteArray bytes = QJsonDocument(QJsonObject{{QStringLiteral("service"), record.service},
                                                       {QStringLiteral("token"), record.token},
                                                       {QStringLiteral("deadline"), double(record.deadline)},
                                                       {QStringLiteral("restoresWhen"), record.restoresWhen},
                                                       {QStringLiteral("restores"), record.restores},
                                                       {QStringLiteral("state"), record.state},
                                                       {QStringLiteral("line"), record.line}})
                                 .toJson();
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit();
}

bool stillPending(const QString& path, const QString& token)
{
    const std::optional<Pending> record = readRecord(path);
    return record && record->token == token && record->state == pendingState;
}

// Held while a record is read and settled, so that one process alone settles it. The kernel lets go of it when
// its holder ends, however it ends.
class RecordLock
{
public:
    explicit RecordLock(const QString& path)
        : fd(::open(QFile::encodeName(path + QStringLiteral(".lock")).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600))
    {
        while (fd >= 0 && ::flock(fd, LOCK_EX) != 0 && errno == EINTR) {
        }
    }
    ~RecordLock()
    {
        if (fd >= 0)
            ::close(fd);
    }
    RecordLock(const RecordLock&) = delete;
    RecordLock& operator=(const RecordLock&) = delete;

private:
    int fd;
};

enum class Settle { Keep, Revert };

// Settles the change unless that was done already; either way, how it was settled.
Pending settle(const QString& path, const QString& token, Settle how, const UndoSetup& setup)
{
    const RecordLock lock(path);
    std::optional<Pending> record = readRecord(path);
    if (!record || record->token != token) {
        Pending replaced; // by a later change of the service, which kept this one first
        replaced.state = keptState;
        return replaced;
    }
    if (record->state != pendingState)
        return *record;
    if (how == Settle::Keep) {
        record->state = keptState;
        if (!writeRecord(path, *record)) {
            record->state = pendingState;
            record->line = QStringLiteral("%1 could not be written").arg(QDir::toNativeSeparators(path));
        }
        return *record;
    }
    const std::unique_ptr<Switcher> switcher = setup.makeSwitcher();
    const QList<HistoryEntry> past = switcher->history().entries(record->service);
    if (past.isEmpty() || past.first().when.toString(Qt::ISODate) != record->restoresWhen ||
        past.first().describe() != record->restores) {
        record->state = notRevertedState;
        record->line = QStringLiteral("%1 was changed again meanwhile").arg(record->service);
    } else {
        const ChangeReport report = switcher->undoNow(record->service);
        const bool applied = report.outcome == ChangeReport::Outcome::Applied;
        record->state = applied ? revertedState : notRevertedState;
        record->line = applied ? report.line : report.outcomeText() + QStringLiteral(": ") + report.line;
    }
    writeRecord(path, *record);
    return *record;
}

void forget(const QString& path, const QString& token)
{
    if (path.isEmpty())
        return;
    const RecordLock lock(path);
    const std::optional<Pending> record = readRecord(path);
    if (record && record->token == token)
        QFile::remove(path);
}

bool startReverter(const QString& path, const ConfirmOptions& options)
{
    QProcess reverter;
    reverter.setProgram(QCoreApplication::applicationFilePath());
    QStringList arguments{revertCommand, path, QStringLiteral("--timeout"),
                          QString::number(options.timeoutMs / 1000.0)};
    if (options.askAdmin)
        arguments.append(QStringLiteral("--ask-admin"));
    reverter.setArguments(arguments);
    // The terminal may be gone long before the reverter ends.
    reverter.setStandardInputFile(QProcess::nullDevice());
    reverter.setStandardOutputFile(QProcess::nullDevice());
    reverter.setStandardErrorFile(QProcess::nullDevice());
    // A hang-up, Ctrl-C or Ctrl-Z reaches the whole job: the reverter starts with them ignored, so that none stops
    // it before it has left the terminal's session.
    constexpr int terminalSignals[] = {SIGHUP, SIGINT, SIGQUIT, SIGTSTP, SIGTTIN, SIGTTOU};
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    struct sigaction saved[std::size(terminalSignals)] = {};
    for (size_t i = 0; i < std::size(terminalSignals); ++i)
        ::sigaction(terminalSignals[i], &ignore, &saved[i]);
    const bool started = reverter.startDetached();
    for (size_t i = 0; i < std::size(terminalSignals); ++i)
        ::sigaction(terminalSignals[i], &saved[i], nullptr);
    return started;
}

int revertPending(const QString& path, const UndoSetup& setup)
{
    // No terminal, and no job of one: whatever happens to the session that asked, the revert comes.
    ::setsid();
    ::signal(SIGHUP, SIG_IGN);
    const std::optional<Pending> record = readRecord(path);
    if (!record || record->state != pendingState)
        return Done;
    for (qint64 left = record->deadline - now(); left > 0; left = record->deadline - now()) {
        QThread::msleep(qMin<qint64>(left, lookEveryMs));
        if (!stillPending(path, record->token))
            return Done;
    }
    return settle(path, record->token, Settle::Revert, setup).state == notRevertedState ? Refused : Done;
}

enum class Answer { Keep, Revert, None };

// One line from standard input until the deadline. None: the deadline passed, or the change was settled from
// elsewhere (`keep` in another shell); the end of input waits for the deadline.
Answer ask(const Pending& record, const QString& path, QTextStream& out)
{
    QByteArray line;
    bool open = true;
    for (qint64 left = record.deadline - now(); left > 0 && stillPending(path, record.token);
         left = record.deadline - now()) {
        pollfd input{STDIN_FILENO, POLLIN, 0};
        if (::poll(&input, open ? 1 : 0, int(qMin<qint64>(left, lookEveryMs))) <= 0)
            continue;
        char buffer[256];
        const ssize_t size = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (size < 0 && errno == EINTR)
            continue;
        open = size > 0;
        line.append(buffer, qMax<ssize_t>(size, 0));
        // A last line without its line feed still counts.
        while (line.contains('\n') || (!open && !line.trimmed().isEmpty())) {
            const qsizetype end = line.indexOf('\n');
            const QByteArray answer = line.left(end).trimmed().toLower();
            line = end < 0 ? QByteArray() : line.mid(end + 1);
            if (answer.isEmpty() || answer == "y" || answer == "yes")
                return Answer::Keep;
            if (answer == "n" || answer == "no")
                return Answer::Revert;
            out << "Answer y to keep it, or n to revert it now.\n";
            out.flush();
        }
    }
    return Answer::None;
}

int tell(const Pending& settled, const QString& service, const QString& lead, QTextStream& out, QTextStream& err)
{
    if (settled.state == keptState) {
        out << "Kept the change of \"" << service << "\".\n";
        return Done;
    }
    if (settled.state != revertedState)
        return fail(err, Refused, QStringLiteral("the change was not reverted: ") + settled.line);
    if (!lead.isEmpty())
        out << lead << '\n';
    out << settled.line << '\n';
    return Refused;
}

int undo(const QString& service, const UndoSetup& setup, QTextStream& out, QTextStream& err)
{
    const std::unique_ptr<Switcher> switcher = setup.makeSwitcher();
    const MachineReading& reading = switcher->readNow();
    if (!reading.ok())
        return fail(err, Refused, QStringLiteral("nothing could be read: %1").arg(reading.reading.text(true)));
    if (!switcher->offered(service)) {
        QStringList names;
        for (const ServiceState& offered : switcher->offeredServices())
            names.append(offered.name);
        return fail(
            err, BadUsage,
            QStringLiteral("no service \"%1\"; the services are: %2").arg(service, names.join(QStringLiteral(", "))));
    }
    if (!switcher->canUndo(service))
        return fail(err, BadUsage, QStringLiteral("no change of \"%1\" to undo").arg(service));
    const ChangeReport report = switcher->undoNow(service);
    if (report.outcome == ChangeReport::Outcome::Applied) {
        out << report.line << '\n';
        return Done;
    }
    fail(err, Refused, report.outcomeText() + QStringLiteral(": ") + report.line);
    if (report.steps.failure == ChangeResult::Failure::NeedsAdmin)
        err << "Run it with sudo, or with --ask-admin.\n";
    return Refused;
}

int history(const QString& historyPath, const QString& service, bool json, QTextStream& out, QTextStream& err)
{
    const History past(historyPath);
    if (!past.problem().isEmpty())
        err << "tarnwick-cli: " << past.problem() << '\n';
    QJsonArray array;
    for (const HistoryEntry& entry : past.entries(service)) {
        if (!json)
            out << entry.when.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")) << "  " << entry.describe()
                << '\n';
        array.append(
            QJsonObject{{QStringLiteral("when"), entry.when.toString(Qt::ISODate)},
                        {QStringLiteral("method"), entry.dhcp ? QStringLiteral("dhcp") : QStringLiteral("manual")},
                        {QStringLiteral("address"), entry.address},
                        {QStringLiteral("mask"), entry.mask},
                        {QStringLiteral("router"), entry.router},
                        {QStringLiteral("dns"), QJsonArray::fromStringList(entry.dnsServers)},
                        {QStringLiteral("searchDomains"), QJsonArray::fromStringList(entry.searchDomains)}});
    }
    if (json)
        out << QJsonDocument(array).toJson(QJsonDocument::Compact) << '\n';
    return Done;
}

int keep(const QString& historyPath, const QString& service, QTextStream& out, QTextStream& err)
{
    const QString path = pendingFile(historyPath, service);
    const std::optional<Pending> last = readRecord(path);
    if (last && last->state == pendingState) {
        const Pending settled = settle(path, last->token, Settle::Keep, {});
        if (settled.state == keptState) {
            out << "Kept the change of \"" << service << "\".\n";
            return Done;
        }
        if (settled.state == pendingState)
            return fail(err, Refused, settled.line + QStringLiteral(" (a change made with sudo is kept with sudo)"));
    }
    return fail(err, BadUsage,
                QStringLiteral("no change of \"%1\" waits to be kept").arg(service) +
                    (last && last->state == revertedState ? QStringLiteral("; the last one was reverted") : QString()));
}

} // namespace

QList<QCommandLineOption> confirmOptions()
{
    return {QCommandLineOption(confirmName,
                               QStringLiteral("apply, dhcp: ask whether to keep the change, and revert it unless "
                                              "answered y within SECONDS (1-3600), even if the terminal or this "
                                              "command is gone by then."),
                               QStringLiteral("SECONDS"))};
}

int confirmSeconds(const QCommandLineParser& parser)
{
    static const QRegularExpression number(QStringLiteral("^[0-9]{1,4}$"));
    const QString text = parser.value(confirmName);
    return number.match(text).hasMatch() && text.toInt() <= 3600 ? text.toInt() : 0;
}

std::optional<int> runConfirmCommand(const QString& command, const QStringList& arguments,
                                     const QCommandLineParser& parser, QTextStream& out, QTextStream& err,
                                     const UndoSetup& setup)
{
    if (parser.isSet(confirmName)) {
        if (command != QLatin1String("apply") && command != QLatin1String("dhcp"))
            return fail(err, BadUsage, QStringLiteral("--confirm goes with apply and dhcp"));
        if (confirmSeconds(parser) == 0) {
            return fail(err, BadUsage,
                        QStringLiteral("--confirm \"%1\" is not a whole number of seconds from 1 to 3600")
                            .arg(parser.value(confirmName)));
        }
    }
    if (parser.isSet(confirmName) && setup.historyPath.isEmpty()) {
        return fail(err, BadUsage,
                    QStringLiteral("--confirm needs the history of changes on disk; under sudo it is kept in your "
                                   "~/Library/Tarnwick, which is not there"));
    }
    const bool runsNothing = command == QLatin1String("history") || command == QLatin1String("keep");
    if (runsNothing && parser.isSet(QStringLiteral("timeout")))
        return fail(err, BadUsage, QStringLiteral("--timeout does not go with history or keep, which run nothing"));
    if (arguments.size() != 1)
        return std::nullopt;
    if (command == QLatin1String("undo"))
        return undo(arguments.first(), setup, out, err);
    if (command == QLatin1String("history"))
        return history(setup.historyPath, arguments.first(), parser.isSet(QStringLiteral("json")), out, err);
    if (command == QLatin1String("keep"))
        return keep(setup.historyPath, arguments.first(), out, err);
    if (command == revertCommand)
        return revertPending(arguments.first(), setup);
    return std::nullopt;
}

void keepPending(const QString& historyPath, const QString& service, QTextStream& out)
{
    const QString path = pendingFile(historyPath, service);
    const std::optional<Pending> record = readRecord(path);
    if (record && record->state == pendingState && settle(path, record->token, Settle::Keep, {}).state == keptState)
        out << "Kept the earlier change of \"" << service << "\" that waited for an answer.\n";
}

int confirmChange(Switcher& applied, const QString& service, const ConfirmOptions& options, const UndoSetup& setup,
                  QTextStream& out, QTextStream& err)
{
    const QList<HistoryEntry> past = applied.history().entries(service);
    if (past.isEmpty())
        return fail(err, Refused, QStringLiteral("the change is kept: the state before it is unknown"));
    const QString path = pendingFile(setup.historyPath, service);
    const Pending record{service,
                         QUuid::createUuid().toString(QUuid::WithoutBraces),
                         now() + options.seconds * 1000LL,
                         past.first().when.toString(Qt::ISODate),
                         past.first().describe(),
                         pendingState,
                         {}};
    // The reverter reverts what it finds in the history on disk, which must be what this change recorded.
    const QList<HistoryEntry> saved = History(setup.historyPath).entries(service);
    QString problem;
    if (path.isEmpty() || saved.isEmpty() || saved.first().when.toString(Qt::ISODate) != record.restoresWhen)
        problem = QStringLiteral("the history of changes is not kept on disk");
    else if (!QDir().mkpath(QFileInfo(path).path()) || !writeRecord(path, record))
        problem = QStringLiteral("%1 could not be written").arg(QDir::toNativeSeparators(path));
    else if (!startReverter(path, options))
        problem = QStringLiteral("the reverter could not be started");
    // Without its safety net the change is not left in place.
    if (!problem.isEmpty()) {
        forget(path, record.token);
        fail(err, Refused, problem + QStringLiteral(", so the change is reverted now"));
        const ChangeReport report = applied.undoNow(service);
        (report.outcome == ChangeReport::Outcome::Applied ? out : err) << report.line << '\n';
        return Refused;
    }

    out << "Keep this setting? It is reverted in " << options.seconds << " s unless you answer y.\n";
    out.flush();
    const Answer answer = ask(record, path, out);
    const Pending settled = settle(path, record.token, answer == Answer::Keep ? Settle::Keep : Settle::Revert, setup);
    forget(path, record.token);
    const QString lead = answer == Answer::Revert
                             ? QString()
                             : QStringLiteral("No answer within %1 s: the change is reverted.").arg(options.seconds);
    return tell(settled, service, lead, out, err);
}

QString pendingFile(const QString& historyPath, const QString& service)
{
    if (historyPath.isEmpty())
        return {};
    return QFileInfo(historyPath).path() + QStringLiteral("/pending/") +
           QString::fromLatin1(QUrl::toPercentEncoding(service)) + QStringLiteral(".json");
}

bool waitsForAnswer(const QString& historyPath, const QString& service)
{
    const std::optional<Pending> record = readRecord(pendingFile(historyPath, service));
    return record && record->state == pendingState;
}

} // namespace Cli
