#pragma once

#include <QString>
#include <QStringList>

// One change of a network service's IPv4 addressing: back to DHCP, or a fixed address, in plain dotted
// decimal. Only the switching core's rules build one, so the same choice always runs the same commands.
struct Change
{
    // The profile name that stands for automatic addressing, first in the window's list.
    static const QString DHCP;

    QString service;
    bool dhcp = true;
    QString address;
    QString mask;
    QString router; // empty: no router
    // DNS set after the address: nothing unless asked; an empty list asked for clears what is set, so that
    // the service uses what DHCP or the network gives.
    bool setDns = false;
    QStringList dnsServers;
    bool setSearch = false;
    QStringList searchDomains;

    static Change toDhcp(const QString& service);

    // One line for a person: "Wi-Fi: DHCP", "Wi-Fi: 192.168.1.42 mask 255.255.255.0, router 192.168.1.1".
    QString describe() const;
};

// For a person: "192.168.1.201 mask 255.255.255.0, router 192.168.1.1" (or ", no router"), and the DNS set by
// hand as ", DNS 10.0.0.53, search lab.example" (empty when there is none).
QString describeFixed(const QString& address, const QString& mask, const QString& router);
QString describeDns(const QStringList& servers, const QStringList& domains);

// How the commands of a change went; whether the service took it is for a reading afterwards to say.
struct ChangeResult
{
    // The steps of a change, in the order they run; the administrator prompt's script exits with the number
    // of the one that refused.
    enum Step { Dhcp = 1, Manual = 2, DnsServers = 3, SearchDomains = 4 };

    enum class Failure {
        None,
        Refused,    // networksetup said no; `error` holds its words
        NeedsAdmin, // refused for want of administrator rights
        Dismissed,  // the administrator prompt was cancelled: nothing ran
        TimedOut,   // `step` did not answer within `waitedMs`
        NotStarted, // the program could not be started
    };

    Failure failure = Failure::None;
    int failedStep = 0; // the Step that failed
    QString step;       // what failed, for a person: "networksetup -setmanual", "the administrator prompt"
    QString error;
    int waitedMs = 0;
    bool elevated = false; // made through the administrator prompt
};
