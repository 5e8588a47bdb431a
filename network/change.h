#pragma once

#include <QList>
#include <QString>

// One change of a network service's IPv4 addressing: back to DHCP, or a fixed address. The window and
// tarnwick-cli build it the same way, so the same choice always runs the same commands.
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

    // The fixed address a profile gives a service: the profile's network with the host number as its fourth
    // octet, the profile's mask, and the router given (empty: none), all in plain dotted decimal. Returns why
    // such a change cannot be right, before anything runs (a malformed network, mask or router, a host number
    // that is no octet, the network's own or its broadcast address under the mask), or an empty text when it
    // can: then `change` holds it.
    static QString toProfile(Change& change, const QString& service, const QString& network, const QString& mask,
                             int host, const QString& router);

    // One line for a person: "Wi-Fi: DHCP", "Wi-Fi: 192.168.1.42 mask 255.255.255.0, router 192.168.1.1".
    QString describe() const;
};

// What became of a change.
struct ChangeResult
{
    QList<QString> output{QString(), QString()}; // standard output and error of the last command that ran
    QString error;                               // empty when the system took the change
    bool needsAdmin = false;                     // refused because administrator rights are missing
    bool cancelled = false; // the administrator prompt was dismissed or left unanswered: nothing ran
    bool elevated = false;  // made through the administrator prompt
};
