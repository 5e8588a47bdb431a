#pragma once

#include "network/change.h"
#include "network/system.h"

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

// BSD device name (en0, en1 ...) to its attributes, as ifconfig prints them.
using InterfaceMap = QMap<QString, QMap<QString, QString>>;

// The text of networksetup and ifconfig, read and written: the parsers work on recorded output as well as
// on live output, and the change steps run the commands that alter a service.
class NetworkManager
{
public:
    static const QString version;
    static const QStringList NETWORKSETUP_FORBIDDEN_INTERFACES;
    static const QStringList IFCONFIG_KEY;
    static const QString IP_PATTERN;

    // How long the administrator prompt and the change behind it may take: a person types a password.
    static constexpr int ELEVATED_TIMEOUT_MS = 5 * 60 * 1000;

    // Logs the version once, for whoever runs the program with its log.
    NetworkManager();

    struct Service
    {
        QString name;
        QString hardware;
        QString device;
    };
    // The services of a "-listnetworkserviceorder" listing, in its order.
    static QList<Service> parseServiceOrder(const QString& listing);
    // The "IP address", "Subnet mask" and "Router" lines of a "-getinfo" answer.
    static void parseServiceInfo(const QString& info, QMap<QString, QString>& entry);
    static InterfaceMap parseIfconfig(const QString& text);

    static bool isIPv4(const QString& text);
    // The address as a number, most significant octet first; the text must be one that isIPv4 accepts.
    static quint32 toNumber(const QString& dotted);
    // A name server as networksetup takes it: IPv4 as isIPv4 accepts it, or IPv6 without a scope (%en0).
    static bool isDnsServer(const QString& text);
    // A DNS name of letters, digits and hyphens, without the trailing dot of an absolute name.
    static bool isSearchDomain(const QString& text);
    // A dotted IPv4 mask whose one bits are contiguous: 255.255.254.0, not 255.0.255.0.
    static bool isNetmask(const QString& text);
    static QString NetmaskHex2Str(const QString& hex);

    // The address Apply sets for a profile: the profile's network with the host number as its fourth
    // octet. The router proposed for a profile: its gateway when that is an address, else host 1.
    static QString hostAddress(const QString& network, int host);
    static QString proposedRouter(const QString& network, const QString& gateway);

    // The error text of a change's {standard output, standard error}, empty when it succeeded.
    // networksetup prints its refusals on standard output and leaves standard error empty.
    static QString changeError(const QList<QString>& result);

    // Makes a change as the user running us: -setdhcp, then for a fixed address -setmanual, each bounded;
    // the first step that fails ends it.
    static ChangeResult apply(const Change& change, int timeoutMs = System::defaultTimeoutMs);
    // The same change in one call through the system's administrator prompt (osascript), so that a user
    // who is not an administrator's shell can still make it; one prompt covers both commands.
    static ChangeResult applyElevated(const Change& change, int timeoutMs = ELEVATED_TIMEOUT_MS);
    // osascript's arguments for that call: `tool` stands where networksetup is run; without `asAdministrator`
    // the shell runs as the user, which is how the quoting can be checked against the real interpreter without
    // a password.
    static QStringList elevatedArguments(const Change& change,
                                         const QString& tool = QStringLiteral("/usr/sbin/networksetup"),
                                         bool asAdministrator = true);

private:
    static void parseIfconfigBlock(const QString& block, QMap<QString, QString>& attributes);
};
