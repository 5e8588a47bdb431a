#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

// The control side of the simulated Mac in tools/fakemac: the files in its state folder that set up the
// pretend machine and switch its failures, and the log of every call its stand-ins answered.
//
// A default-constructed FakeMac is a fresh machine for one test: a temporary home folder and a
// temporary, empty state folder (the stand-ins set up their default machine on first use). It points
// HOME and FAKEMAC_STATE at them and puts the stand-ins first on PATH, for this process and every
// command it starts. Given a state folder, it controls that machine instead and leaves HOME alone:
// the benchmarks take the one their script set up.
//
// A control file that cannot be written fails the running test, or ends a program that runs none.
class FakeMac
{
public:
    FakeMac();
    explicit FakeMac(const QString& stateDir);
    ~FakeMac();

    QString homeDir() const { return home; }
    QString stateDir() const { return state; }

    // The machine description, one service per line (see tools/fakemac/README.md).
    void setServices(const QString& lines) { writeControl(QStringLiteral("services"), lines.toUtf8()); }
    QString services() const;

    // "admin", "unknown", "invalid", "dns" or "silent", or several blank-separated; an empty mode switches
    // failures off.
    void setFailure(const QString& mode) { writeControl(QStringLiteral("fail"), mode.toUtf8(), !mode.isEmpty()); }
    // Every call sleeps this long before it answers; 0 makes them instant.
    void setDelay(double seconds) { writeControl(QStringLiteral("delay"), QByteArray::number(seconds), seconds > 0); }
    void setErrorsToStdout(bool on) { writeControl(QStringLiteral("errors-to-stdout"), QByteArray(), on); }
    // How the administrator password prompt is answered: "cancel"; empty for the default.
    void setPrompt(const QString& answer)
    {
        writeControl(QStringLiteral("prompt"), answer.toUtf8(), !answer.isEmpty());
    }
    // Printed verbatim instead of the simulated output: "listnetworkserviceorder", "ifconfig", or
    // "getinfo-", "getdnsservers-" or "getsearchdomains-" followed by the service name.
    void setReplay(const QString& name, const QString& text)
    {
        writeControl(QStringLiteral("replay/") + name, text.toUtf8());
    }

    // The gate: from now on, every call that names `word` (the command, an option such as
    // "-setmanual" or an argument such as "Wi-Fi"; every call when empty) waits once it is in the call
    // log, until release(). A test sees the held call in calls(), does what must happen meanwhile,
    // then releases it: the order of events is forced, not hoped for.
    void setHold(const QString& word = QString()) { writeControl(QStringLiteral("hold"), word.toUtf8()); }
    void release() { writeControl(QStringLiteral("hold"), QByteArray(), false); }

    // Every invocation so far, in order: the command's name, then its arguments exactly.
    QList<QStringList> calls() const { return readCalls(callLogPath()); }
    void clearCalls() { writeControl(QStringLiteral("calls.log"), QByteArray(), false); }
    QString callLogPath() const;
    // A call log, or a copy of one, at any path.
    static QList<QStringList> readCalls(const QString& logPath);

    static QString fixture(const QString& name); // text of tests/fixtures/<name>
    static QString realFixturesDir();            // recorded on real Macs; may be absent

private:
    // Writes a control file, or removes it when `on` is false.
    void writeControl(const QString& name, const QByteArray& content, bool on = true);

    std::unique_ptr<QTemporaryDir> ownHome;
    std::unique_ptr<QTemporaryDir> ownState;
    QString home;
    QString state;
};
