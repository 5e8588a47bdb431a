#pragma once

#include <QCommandLineOption>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

class QCommandLineParser;
class QTextStream;
class Switcher;

namespace Cli {

// The commands that take a change back: "undo", "history", "keep", the --confirm of apply and dhcp, and the
// hidden "revert-pending" that reverts an unconfirmed change from the background.

// What these commands share with the rest of the command line: switchers set up as it sets them up (profiles,
// timeouts, the administrator prompt), and the file their history is kept in (empty: for one run only), beside
// which a change that waits for an answer is recorded.
struct UndoSetup
{
    std::function<std::unique_ptr<Switcher>()> makeSwitcher;
    QString historyPath;
};

QList<QCommandLineOption> confirmOptions();
// --confirm's seconds once runConfirmCommand has accepted them; 0 when not given.
int confirmSeconds(const QCommandLineParser& parser);

// Runs "undo", "history", "keep" and "revert-pending", and refuses --confirm where it does not fit. Nothing when
// the caller goes on with its own commands.
std::optional<int> runConfirmCommand(const QString& command, const QStringList& arguments,
                                     const QCommandLineParser& parser, QTextStream& out, QTextStream& err,
                                     const UndoSetup& setup);

// Before any change of `service`: a change of it still waiting for an answer is kept, and the user told.
void keepPending(const QString& historyPath, const QString& service, QTextStream& out);

struct ConfirmOptions
{
    int seconds = 0;
    int timeoutMs = 0;     // repeated by the reverter
    bool askAdmin = false; // repeated by the reverter
};

// After `applied` changed `service` and the change took effect: asks whether to keep it and reverts it unless
// kept, also when the terminal or this process goes away meanwhile.
int confirmChange(Switcher& applied, const QString& service, const ConfirmOptions& options, const UndoSetup& setup,
                  QTextStream& out, QTextStream& err);

// Where the change of `service` that waits for an answer is recorded (empty: nowhere), and whether one does.
QString pendingFile(const QString& historyPath, const QString& service);
bool waitsForAnswer(const QString& historyPath, const QString& service);

} // namespace Cli
