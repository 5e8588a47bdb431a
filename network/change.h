#pragma once

#include <QString>

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

    static Change toDhcp(const QString& service);

    // One line for a person: "Wi-Fi: DHCP", "Wi-Fi: 192.168.1.42 mask 255.255.255.0, router 192.168.1.1".
    QString describe() const;
};

// How the commands of a change went; whether the service took it is for a reading afterwards to say.
struct ChangeResult
{
    enum class Failure {
        None,
        Refused,    // networksetup said no; `error` holds its words
        NeedsAdmin, // refused for want of administrator rights
        Dismissed,  // the administrator prompt was cancelled: nothing ran
        TimedOut,   // `step` did not answer within `waitedMs`
        NotStarted, // the program could not be started
    };

    Failure failure = Failure::None;
    int failedStep = 0; // 1: the switch to DHCP; 2: the fixed address after it
    QString step;       // what failed, for a person: "networksetup -setmanual", "the administrator prompt"
    QString error;
    int waitedMs = 0;
    bool elevated = false; // made through the administrator prompt
};
