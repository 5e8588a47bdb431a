#pragma once

#include "core/servicestate.h"
#include "network/change.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

// A service's state before one change: what Undo puts back.
struct HistoryEntry
{
    QString service;
    QDateTime when;
    bool dhcp = true;
    QString address; // a fixed address: the address, mask and router (empty: none) it had
    QString mask;
    QString router;
    QStringList dnsServers; // set by hand; empty: none
    QStringList searchDomains;

    static HistoryEntry of(const ServiceState& state, const QDateTime& when);
    // The change that puts the service back as it was, DNS included.
    Change toChange() const;
    // "DHCP", "192.168.1.201 mask 255.255.255.0, router 192.168.1.1", with the DNS set by hand.
    QString describe() const;
};

// The last states of each service before a change, newest first, kept in history.xml beside config.xml and
// saved in one step. A file that cannot be read is an empty history, and a copy of it is kept: it never stops
// a change.
class History
{
public:
    static constexpr int KEPT = 10;

    // An empty path keeps the history for this run only.
    explicit History(const QString& path = defaultPath());
    static QString defaultPath();

    QList<HistoryEntry> entries(const QString& service) const;
    bool record(const ServiceState& before, QString* error = nullptr);
    bool dropNewest(const QString& service, QString* error = nullptr);
    QString problem() const { return readProblem; }

private:
    void load();
    bool save(QString* error);

    QString path;
    QList<HistoryEntry> all; // newest first, every service
    QString readProblem;
};
