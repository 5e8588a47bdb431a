#include "core/switcher.h"

#include "core/commandrunner.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QFileSystemWatcher>

namespace {

QByteArray bytesOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

Switcher::Switcher(ConfigManager store, QObject* parent, const QString& historyPath)
    : QObject(parent), store(std::move(store)), past(historyPath), runner(new CommandRunner(this))
{
    connect(runner, &CommandRunner::readingFinished, this, [this](const MachineReading& reading, bool byUser) {
        last = reading;
        emit readingFinished(reading, byUser);
    });
    connect(runner, &CommandRunner::changeFinished, this, [this](const ChangeReport& report) {
        takeReport(report);
        emit changeFinished(report);
    });
    connect(runner, &CommandRunner::busyChanged, this, &Switcher::busyChanged);
    // A store tied to its file follows it: saves replace the file, so its folder is watched.
    const QString path = this->store.filePath();
    if (QFileInfo(path).isAbsolute()) {
        profilesSeen = bytesOf(path);
        watcher = new QFileSystemWatcher({QFileInfo(path).absolutePath()}, this);
        connect(watcher, &QFileSystemWatcher::directoryChanged, this, &Switcher::reloadProfiles);
    }
}

void Switcher::reloadProfiles()
{
    const QByteArray bytes = bytesOf(store.filePath());
    if (bytes == profilesSeen || bytes.isEmpty())
        return;
    profilesSeen = bytes;
    store = ConfigManager(ConfigManager::FILE_NAME, ConfigManager::DEFAULT_RESOURCE);
    emit profilesChanged();
}

Switcher::~Switcher()
{
    // The runner goes first: it cancels a reading at once and lets a change that has begun end.
    delete runner;
}

QList<ServiceState> Switcher::offeredServices() const
{
    const QStringList hidden = store.getForbiddenInterfaces();
    QList<ServiceState> services;
    for (const ServiceState& service : last.services) {
        if (!hidden.contains(service.name))
            services.append(service);
    }
    return services;
}

const ServiceState* Switcher::offered(const QString& service) const
{
    return store.getForbiddenInterfaces().contains(service) ? nullptr : last.find(service);
}

QStringList Switcher::profileNames() const
{
    return QStringList{Change::DHCP} + store.getProfileEntries();
}

Profile Switcher::profile(const QString& name, const QString& dnsOnDhcp) const
{
    if (name == Change::DHCP) {
        const QString dns = dnsOnDhcp.isEmpty() ? store.dnsOnDhcp() : dnsOnDhcp;
        const QString cleared = dns == ConfigManager::AUTOMATIC ? ConfigManager::AUTOMATIC : QString();
        return {name, {}, {}, {}, cleared, cleared};
    }
    return {name,
            store.getParameter(name, ConfigManager::ADDRESS_KEY),
            store.getParameter(name, ConfigManager::MASK_KEY),
            store.getParameter(name, ConfigManager::GATEWAY_KEY),
            store.getParameter(name, ConfigManager::DNS_KEY),
            store.getParameter(name, ConfigManager::SEARCH_KEY)};
}

int Switcher::defaultHost() const
{
    return store.defaultHost();
}

ChangeVerdict Switcher::changeFor(const QString& service, const QString& profileName, int host,
                                  const QString& router) const
{
    return ::changeFor(service, profile(profileName), host, router);
}

void Switcher::read(bool byUser)
{
    runner->read(byUser, timeoutMs);
}

void Switcher::apply(const Change& change)
{
    record(change.service);
    runner->apply(change, changeOptions());
}

void Switcher::undo(const QString& service)
{
    if (!canUndo(service))
        return;
    undoing = service;
    runner->apply(past.entries(service).constFirst().toChange(), changeOptions());
}

ChangeReport Switcher::undoNow(const QString& service)
{
    if (!canUndo(service)) {
        ChangeReport nothing;
        nothing.change.service = service;
        nothing.outcome = ChangeReport::Outcome::Refused;
        nothing.line = QStringLiteral("There is no change of %1 to undo.").arg(service);
        return nothing;
    }
    undoing = service;
    const ChangeReport report = runChange(past.entries(service).constFirst().toChange(), changeOptions());
    takeReport(report);
    return report;
}

void Switcher::record(const QString& service)
{
    const ServiceState* before = last.find(service);
    QString error;
    // A history that cannot be written never stops a change.
    if (before && !past.record(*before, &error))
        qWarning() << "History not saved:" << error;
}

bool Switcher::isBusy() const
{
    return runner->isBusy();
}

bool Switcher::isChanging() const
{
    return runner->isChanging();
}

bool Switcher::isReading() const
{
    return runner->isReading();
}

const MachineReading& Switcher::readNow()
{
    last = readMachine(nullptr, timeoutMs);
    return last;
}

ChangeReport Switcher::applyNow(const Change& change)
{
    record(change.service);
    const ChangeReport report = runChange(change, changeOptions());
    takeReport(report);
    return report;
}

ChangeOptions Switcher::changeOptions() const
{
    return {timeoutMs, promptTimeoutMs, elevate, askAdmin};
}

void Switcher::takeReport(const ChangeReport& report)
{
    last = report.reading;
    if (undoing == report.change.service) {
        undoing.clear();
        // An Undo that did not land keeps its record, to be tried again.
        if (report.outcome == ChangeReport::Outcome::Applied)
            past.dropNewest(report.change.service);
    }
    // Once a change has needed the prompt, later ones go to it at once instead of being refused first.
    elevate = elevate || report.steps.elevated;
}
