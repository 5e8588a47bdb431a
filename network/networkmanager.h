#pragma once

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

    NetworkManager();

    void update();
    // update() in two halves, so that the reading can run on another thread and be handed over.
    static InterfaceMap read(const std::atomic<bool>* cancel = nullptr);
    void setInterfaces(const InterfaceMap& reading);

    static InterfaceMap getNetworksetup(const std::atomic<bool>* cancel = nullptr);
    static InterfaceMap getIfconfig(const std::atomic<bool>* cancel = nullptr);
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
    QString getName(const QString& device) const;
    QString getIp4(const QString& device) const;
    QString getNetmask(const QString& device) const;
    QString getRouter(const QString& device) const;

    static bool isIPv4(const QString& text);
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

private:
    QString value(const QString& device, const QString& key) const;
    static void parseIfconfigBlock(const QString& block, QMap<QString, QString>& attributes);

    InterfaceMap interfaces;
};
