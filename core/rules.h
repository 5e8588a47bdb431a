#pragma once

#include "network/change.h"

#include <QString>

// A stored profile as the rules read it; "DHCP" as its name stands for automatic addressing.
struct Profile
{
    QString name;
    QString network;
    QString mask;
    QString gateway; // empty: none
    // The DNS it sets, as stored: empty (the service keeps its own), "automatic" (what is set is cleared), or
    // the servers or domains one a line.
    QString dns;
    QString search;
};

// A change that can be made, or the one reason it cannot.
struct ChangeVerdict
{
    Change change;
    QString problem;

    bool ok() const { return problem.isEmpty(); }
};

// The fixed address a profile gives a service: the profile's network with the host number as its fourth
// octet, the profile's mask, and the router given (empty: none), all in plain dotted decimal. Refused before
// anything runs: a malformed network, mask or router, a mask whose one bits are not contiguous, a host
// number that is no octet, the network's own or its broadcast address under the mask, a malformed DNS server
// or search domain. "DHCP" as the profile's name switches to DHCP, with the DNS the profile sets.
ChangeVerdict changeFor(const QString& service, const Profile& profile, int host, const QString& router);

// The DNS part of a change, as the profile sets it; the reason a server or domain cannot be used, or empty.
QString setDns(Change& change, const Profile& profile);

// The router offered for a profile: its gateway when that is an address, else host 1 of its network.
QString proposedRouter(const Profile& profile);
