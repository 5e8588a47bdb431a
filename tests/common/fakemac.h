#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

// A simulated Mac for one test: a fresh home folder and a fresh state folder for the stand-ins of
// networksetup and ifconfig in tools/fakemac, both temporary. Constructing it points HOME and
// FAKEMAC_STATE at them and puts the stand-ins first on PATH, for this process and every command it
// starts; the state folder starts empty, so the stand-ins set up their default machine on first use.
class FakeMac
{
public:
    FakeMac();

    QString homeDir() const { return home.path(); }
    QString stateDir() const { return state.path(); }

    // The machine description, one service per line (see tools/fakemac/README.md).
    void setServices(const QString& lines) { writeControl(QStringLiteral("services"), lines.toUtf8()); }
    QString services() const;

    // "admin", "unknown", "invalid" or "silent"; an empty mode switches failures off.
    void setFailure(const QString& mode) { writeControl(QStringLiteral("fail"), mode.toUtf8(), !mode.isEmpty()); }
    void setDelay(double seconds) { writeControl(QStringLiteral("delay"), QByteArray::number(seconds), seconds > 0); }
    // "cancel": the administrator prompt is dismissed; empty: it is accepted.
    void setPrompt(const QString& answer)
    {
        writeControl(QStringLiteral("prompt"), answer.toUtf8(), !answer.isEmpty());
    }
    // The gate: calls named by `word` (every call when it is empty) wait after being logged, until release().
    void hold(const QString& word = {}) { writeControl(QStringLiteral("hold"), word.toUtf8()); }
    void release() { writeControl(QStringLiteral("hold"), QByteArray(), false); }
    void setErrorsToStdout(bool on) { writeControl(QStringLiteral("errors-to-stdout"), QByteArray(), on); }
    // Printed verbatim instead of the simulated output: "listnetworkserviceorder", "ifconfig",
    // or "getinfo-" followed by the service name.
    void setReplay(const QString& name, const QString& text)
    {
        writeControl(QStringLiteral("replay/") + name, text.toUtf8());
    }

    // Every invocation so far, in order: the command's name, then its arguments exactly.
    QList<QStringList> calls() const;
    void clearCalls() { writeControl(QStringLiteral("calls.log"), QByteArray(), false); }

    static QString fixture(const QString& name); // text of tests/fixtures/<name>
    static QString realFixturesDir() { return QStringLiteral(TARNWICK_REAL_FIXTURES_DIR); } // may be absent

private:
    // Writes a control file, or removes it when `on` is false.
    void writeControl(const QString& name, const QByteArray& content, bool on = true);

    QTemporaryDir home;
    QTemporaryDir state;
};
