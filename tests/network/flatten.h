#pragma once

#include "network/networkmanager.h"

#include <QStringList>

// One readable line per fact of a parser's result, so that a table compares whole lists and a failure
// prints exactly which fact differs: "key=value" (led by prefix), "device key=value" per attribute,
// "name|hardware port|device" per service.
inline QStringList flatten(const QMap<QString, QString>& entry, const QString& prefix = QString())
{
    QStringList lines;
    for (auto it = entry.cbegin(); it != entry.cend(); ++it)
        lines.append(prefix + it.key() + QLatin1Char('=') + it.value());
    return lines;
}

inline QStringList flatten(const InterfaceMap& map)
{
    QStringList lines;
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        lines += flatten(*it, it.key() + QLatin1Char(' '));
    return lines;
}

inline QStringList flatten(const QList<NetworkManager::Service>& services)
{
    QStringList lines;
    for (const NetworkManager::Service& service : services)
        lines.append(service.name + QLatin1Char('|') + service.hardware + QLatin1Char('|') + service.device);
    return lines;
}

// Expected lines written as one literal, separated by "; ".
inline QStringList lines(const char* text)
{
    return QString::fromUtf8(text).split(QStringLiteral("; "), Qt::SkipEmptyParts);
}
