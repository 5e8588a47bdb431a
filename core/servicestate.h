#pragma once

#include "network/system.h"

#include <QHostAddress>
#include <QList>
#include <QString>

#include <atomic>

// How reading one command's answer went.
struct ReadOutcome
{
    enum class Kind { Read, TimedOut, Failed };

    Kind kind = Kind::Read;
    QString command; // the command that did not answer or failed: "networksetup -getinfo Wi-Fi"
    int waitedMs = 0;
    QString error; // failed: the command's own words

    bool ok() const { return kind == Kind::Read; }
    // "networksetup did not answer within 30 s"; with the arguments, the whole command is named.
    QString text(bool withArguments = false) const;
    // "ok", "timed out", "failed"
    QString kindText() const;
};

// One network service as the machine reported it.
struct ServiceState
{
    enum class Method { None, Dhcp, Manual };

    QString name;
    QString device;
    QString hardwarePort;
    Method method = Method::None;
    QHostAddress address; // null when the service has none
    QHostAddress mask;
    QHostAddress router;
    QList<QHostAddress> dnsServers; // set by hand on the service; empty: none, it uses what it is given
    QStringList searchDomains;
    ReadOutcome reading; // how its -getinfo went: the fields mean nothing unless it was read

    // "dhcp", "manual", "none"
    QString methodText() const;
    // What it uses now, for a person: "DHCP", "192.168.1.201 mask 255.255.255.0, router 192.168.1.1", and the
    // DNS set by hand: ", DNS 10.0.0.53, search example.org".
    QString describe() const;
    QStringList dnsText() const;
};

// The whole machine at one moment: the services in the order the user set for them.
struct MachineReading
{
    ReadOutcome reading; // of the listing and ifconfig: without them there are no services
    QList<ServiceState> services;

    bool ok() const { return reading.ok(); }
    const ServiceState* find(const QString& name) const;
};

// The listing, then every service's -getinfo and ifconfig at once (at most System::maxParallel at a time,
// each bounded by timeoutMs), joined by device: a machine is read in the time of its slowest command.
MachineReading readMachine(const std::atomic<bool>* cancel = nullptr, int timeoutMs = System::defaultTimeoutMs,
                           int parallel = System::maxParallel);

// The pieces of a reading, on text.
ServiceState::Method parseMethod(const QString& info);
ReadOutcome judgeReading(const System::Command& command, const System::Outcome& outcome, int timeoutMs);
