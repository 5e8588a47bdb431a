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

    QString homeDir() const;
    QString stateDir() const;

    // The machine description, one service per line (see tools/fakemac/README.md).
    void setServices(const QString& lines);
    QString services() const;

    // "admin", "unknown", "invalid" or "silent"; an empty mode switches failures off.
    void setFailure(const QString& mode);
    void setDelay(double seconds);
    void setErrorsToStdout(bool on);
    // Printed verbatim instead of the simulated output: "listnetworkserviceorder", "ifconfig",
    // or "getinfo-" followed by the service name.
    void setReplay(const QString& name, const QString& text);

    // Every invocation so far, in order: the command's name, then its arguments exactly.
    QList<QStringList> calls() const;
    void clearCalls();

    static QString fixture(const QString& name); // text of tests/fixtures/<name>
    static QString realFixturesDir();            // ../shared/fixtures/real, may be absent

private:
    void writeControl(const QString& name, const QByteArray& content);

    QTemporaryDir home;
    QTemporaryDir state;
};
