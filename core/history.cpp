#include "core/history.h"

#include "config/configmanager.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

namespace {

const QString rootElement = QStringLiteral("history");
const QString entryElement = QStringLiteral("entry");
const QString dnsElement = QStringLiteral("dns");
const QString searchElement = QStringLiteral("search");

} // namespace

HistoryEntry HistoryEntry::of(const ServiceState& state, const QDateTime& when)
{
    HistoryEntry entry;
    entry.service = state.name;
    entry.when = when;
    entry.dhcp = state.method != ServiceState::Method::Manual;
    if (!entry.dhcp) {
        entry.address = state.address.toString();
        entry.mask = state.mask.toString();
        entry.router = state.router.isNull() ? QString() : state.router.toString();
    }
    for (const QHostAddress& server : state.dnsServers)
        entry.dnsServers.append(server.toString());
    entry.searchDomains = state.searchDomains;
    return entry;
}

Change HistoryEntry::toChange() const
{
    Change change = Change::toDhcp(service);
    change.dhcp = dhcp;
    change.address = address;
    change.mask = mask;
    change.router = router;
    change.setDns = true;
    change.dnsServers = dnsServers;
    change.setSearch = true;
    change.searchDomains = searchDomains;
    return change;
}

QString HistoryEntry::describe() const
{
    return (dhcp ? QStringLiteral("DHCP") : describeFixed(address, mask, router)) +
           describeDns(dnsServers, searchDomains);
}

History::History(const QString& path) : path(path)
{
    load();
}

QString History::defaultPath()
{
    return ConfigManager::configDirIn(QDir::homePath()) + QStringLiteral("history.xml");
}

QList<HistoryEntry> History::entries(const QString& service) const
{
    QList<HistoryEntry> found;
    for (const HistoryEntry& entry : all) {
        if (entry.service == service)
            found.append(entry);
    }
    return found;
}

bool History::record(const ServiceState& before, QString* error)
{
    if (!before.reading.ok() || before.method == ServiceState::Method::None)
        return true; // nothing known that Undo could put back
    all.prepend(HistoryEntry::of(before, QDateTime::currentDateTimeUtc()));
    int kept = 0;
    for (auto it = all.begin(); it != all.end();) {
        if (it->service == before.name && ++kept > KEPT)
            it = all.erase(it);
        else
            ++it;
    }
    return save(error);
}

bool History::dropNewest(const QString& service, QString* error)
{
    for (auto it = all.begin(); it != all.end(); ++it) {
        if (it->service == service) {
            all.erase(it);
            return save(error);
        }
    }
    return true;
}

void History::load()
{
    if (path.isEmpty())
        return;
    QFile file(path);
    if (!file.exists())
        return;
    if (!file.open(QIODevice::ReadOnly)) {
        readProblem = file.errorString();
        return;
    }
    QXmlStreamReader reader(&file);
    QList<HistoryEntry> read;
    if (reader.readNextStartElement() && reader.name() == rootElement) {
        while (reader.readNextStartElement()) {
            if (reader.name() != entryElement) {
                reader.skipCurrentElement();
                continue;
            }
            const QXmlStreamAttributes attributes = reader.attributes();
            HistoryEntry entry;
            entry.service = attributes.value(QStringLiteral("service")).toString();
            entry.when = QDateTime::fromString(attributes.value(QStringLiteral("when")).toString(), Qt::ISODate);
            entry.dhcp = attributes.value(QStringLiteral("method")) != QLatin1String("manual");
            entry.address = attributes.value(QStringLiteral("address")).toString();
            entry.mask = attributes.value(QStringLiteral("mask")).toString();
            entry.router = attributes.value(QStringLiteral("router")).toString();
            while (reader.readNextStartElement()) {
                if (reader.name() == dnsElement)
                    entry.dnsServers.append(reader.readElementText());
                else if (reader.name() == searchElement)
                    entry.searchDomains.append(reader.readElementText());
                else
                    reader.skipCurrentElement();
            }
            read.append(entry);
        }
    } else if (!reader.hasError()) {
        reader.raiseError(QStringLiteral("not a history file"));
    }
    if (reader.hasError()) {
        readProblem = QStringLiteral("%1 is damaged at line %2 (%3)")
                          .arg(QDir::toNativeSeparators(path))
                          .arg(reader.lineNumber())
                          .arg(reader.errorString());
        // Kept for whoever wants to look; the next save starts the history afresh.
        QFile::copy(path, path + QStringLiteral(".unreadable-") +
                              QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss")));
        return;
    }
    all = read;
}

bool History::save(QString* error)
{
    if (path.isEmpty())
        return true;
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile file(path);
    file.setDirectWriteFallback(false);
    if (file.open(QIODevice::WriteOnly)) {
        QXmlStreamWriter writer(&file);
        writer.setAutoFormatting(true);
        writer.writeStartDocument();
        writer.writeStartElement(rootElement);
        for (const HistoryEntry& entry : std::as_const(all)) {
            writer.writeStartElement(entryElement);
            writer.writeAttribute(QStringLiteral("service"), entry.service);
            writer.writeAttribute(QStringLiteral("when"), entry.when.toString(Qt::ISODate));
            writer.writeAttribute(QStringLiteral("method"),
                                  entry.dhcp ? QStringLiteral("dhcp") : QStringLiteral("manual"));
            if (!entry.dhcp) {
                writer.writeAttribute(QStringLiteral("address"), entry.address);
                writer.writeAttribute(QStringLiteral("mask"), entry.mask);
                if (!entry.router.isEmpty())
                    writer.writeAttribute(QStringLiteral("router"), entry.router);
            }
            for (const QString& server : entry.dnsServers)
                writer.writeTextElement(dnsElement, server);
            for (const QString& domain : entry.searchDomains)
                writer.writeTextElement(searchElement, domain);
            writer.writeEndElement();
        }
        writer.writeEndElement();
        writer.writeEndDocument();
        if (!writer.hasError() && file.commit())
            return true;
    }
    if (error)
        *error = QStringLiteral("Could not save %1: %2").arg(QDir::toNativeSeparators(path), file.errorString());
    return false;
}
