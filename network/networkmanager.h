#pragma once

#include "network/change.h"
#include "network/system.h"

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

#include <atomic>

// BSD device name (en0, en1 ...) to its attributes, as read from networksetup and ifconfig.
using InterfaceMap = QMap<QString, QMap<QString, QString>>;

class NetworkManager
{
public:
    static const QString version;
    static const QStringList NETWORKSETUP_FORBIDDEN_INTERFACES;
    static const QStringList IFCONFIG_KEY;
    static const QString IP_PATTERN;

    // How long the administrator prompt and the change behind it may take: a person types a password.
    static constexpr int ELEVATED_TIMEOUT_MS = 5 * 60 * 1000;

    // Holds no reading until update() or setInterfaces().
    NetworkManager();

    void update();
    // update() in two halves, so that the reading can run on another thread and be handed over.
    static InterfaceMap read(const std::atomic<bool>* cancel = nullptr, int timeoutMs = System::defaultTimeoutMs);
    void setInterfaces(const InterfaceMap& reading);

    static InterfaceMap getNetworksetup(const std::atomic<bool>* cancel = nullptr,
                                        int timeoutMs = System::defaultTimeoutMs);
    static InterfaceMap getIfconfig(const std::atomic<bool>* cancel = nullptr,
                                    int timeoutMs = System::defaultTimeoutMs);
    static InterfaceMap mergeMap(const InterfaceMap& networksetup, const InterfaceMap& ifconfig);

    // The text parsers behind getNetworksetup() and getIfconfig(), usable on recorded output.
    struct Service
    {
        QString name;
        QString hardware;
        QString device;
    };
    static QList<Service> parseServiceOrder(const QString& listing);
    static void parseServiceInfo(const QString& info, QMap<QString, QString>& entry);
    static InterfaceMap parseIfconfig(const QString& text);

    QList<QString> getInterfaces() const;
    QString getInterfaceByName(const QString& name) const;
    // The device of the service with exactly this name, or an empty text.
    QString findDevice(const QString& service) const;
    // The service names in device order, without those the user has forbidden.
    QStringList getServiceNames(const QStringList& forbidden = {}) const;
    QString getName(const QString& device) const;
    QString getIp4(const QString& device) const;
    QString getNetmask(const QString& device) const;
    QString getRouter(const QString& device) const;

    static bool isIPv4(const QString& text);
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

    static QList<QString> setDHCP(const QString& service);
    static QList<QString> setManual(const QString& service, const QString& ip, const QString& mask,
                                    const QString& router);

    // Makes a change as the user running us: -setdhcp, then for a fixed address -setmanual, each bounded.
    static ChangeResult apply(const Change& change, int timeoutMs = System::defaultTimeoutMs);
    // The same change in one call through the system's administrator prompt (osascript), so that a user
    // who is not an administrator's shell can still make it; one prompt covers both commands.
    static ChangeResult applyElevated(const Change& change, int timeoutMs = ELEVATED_TIMEOUT_MS);
    // After a fixed-address change the system took: empty when this reading shows the address on the
    // service, else a sentence saying what it shows instead. DHCP is never checked: the server chooses.
    QString unconfirmed(const Change& change) const;

private:
    QString value(const QString& device, const QString& key) const;
    static void parseIfconfigBlock(const QString& block, QMap<QString, QString>& attributes);

    InterfaceMap interfaces;
};
