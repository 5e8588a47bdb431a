#pragma once

#include "config/configmanager.h"
#include "core/changereport.h"
#include "core/history.h"
#include "core/rules.h"
#include "core/servicestate.h"
#include "network/networkmanager.h"

#include <QObject>
#include <QStringList>

class CommandRunner;
class QFileSystemWatcher;

// The switching core that every front end is a view of: it owns the profiles, the last reading of the
// machine, the rules that turn a choice into a change, and the one job that makes a change and reads the
// service back. The window uses it through its signals; the command line waits for each answer in turn.
class Switcher : public QObject
{
    Q_OBJECT

public:
    // The history of changes is kept in historyPath (empty: for this run only).
    explicit Switcher(ConfigManager store, QObject* parent = nullptr,
                      const QString& historyPath = History::defaultPath());
    ~Switcher() override;

    ConfigManager& config() { return store; }
    const ConfigManager& config() const { return store; }

    // How long one command may run before it counts as not answering, and the administrator prompt.
    void setTimeout(int milliseconds) { timeoutMs = milliseconds; }
    void setPromptTimeout(int milliseconds) { promptTimeoutMs = milliseconds; }
    int timeout() const { return timeoutMs; }
    // Whether a step refused for want of rights is made again through the administrator prompt.
    void setAskAdmin(bool ask) { askAdmin = ask; }

    // The last reading that landed, and its services less the ones the user has hidden.
    const MachineReading& reading() const { return last; }
    QList<ServiceState> offeredServices() const;
    const ServiceState* offered(const QString& service) const;

    // "DHCP", then the stored profiles in the user's order. "DHCP" clears the DNS when the user's setting
    // says so, unless dnsOnDhcp is given ("keep" or "automatic").
    QStringList profileNames() const;
    Profile profile(const QString& name, const QString& dnsOnDhcp = {}) const;
    // The host number a profile gets unless the user types another.
    int defaultHost() const;
    ChangeVerdict changeFor(const QString& service, const QString& profileName, int host, const QString& router) const;

    // Asynchronous: the answers come as signals. A reading the user asked for (and every change) makes
    // older readings stale: they are cancelled and never reported.
    void read(bool byUser);
    void apply(const Change& change);
    bool isBusy() const;
    bool isChanging() const;
    bool isReading() const;

    // Every change first records the service as last read; Undo puts the newest record back as a change of
    // its own and, once the service shows it, forgets it: a second Undo goes one change further back.
    const History& history() const { return past; }
    bool canUndo(const QString& service) const { return !past.entries(service).isEmpty(); }
    void undo(const QString& service);
    ChangeReport undoNow(const QString& service);

    // The same jobs on the calling thread, for a front end with nothing else to do meanwhile.
    const MachineReading& readNow();
    ChangeReport applyNow(const Change& change);

signals:
    void readingFinished(const MachineReading& reading, bool byUser);
    void changeFinished(const ChangeReport& report);
    void busyChanged(bool busy);
    // The profiles file changed, from this program or another (tarnwick-cli): the store holds it anew.
    void profilesChanged();

private:
    ChangeOptions changeOptions() const;
    void reloadProfiles();
    void takeReport(const ChangeReport& report);
    void record(const QString& service);

    NetworkManager network;
    ConfigManager store;
    History past;
    QString undoing; // the service whose Undo runs, until its report
    CommandRunner* runner;
    QFileSystemWatcher* watcher = nullptr;
    QByteArray profilesSeen; // the file's bytes when last read, so that only a real change reloads it
    MachineReading last;
    int timeoutMs = System::defaultTimeoutMs;
    int promptTimeoutMs = NetworkManager::ELEVATED_TIMEOUT_MS;
    bool askAdmin = true;
    bool elevate = false; // a change has needed the administrator prompt: later ones go straight to it
};
