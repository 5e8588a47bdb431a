#include "app/traymenu.h"

#include "core/switcher.h"

#include <QAction>
#include <QActionGroup>
#include <QMenu>
#include <QPainter>
#include <QPixmap>

namespace {

// Monochrome, so that macOS tints it for light and dark menu bars: a ring for DHCP, a disc for a fixed
// address, a struck disc when the last change failed.
QIcon drawIcon(bool manual, bool failed)
{
    QPixmap pixmap(32, 32);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Qt::black, 3));
    painter.setBrush(manual || failed ? QBrush(Qt::black) : QBrush(Qt::NoBrush));
    painter.drawEllipse(QRectF(4, 4, 24, 24));
    if (failed) {
        painter.setPen(QPen(Qt::transparent, 4));
        painter.setCompositionMode(QPainter::CompositionMode_Clear);
        painter.drawLine(QPointF(10, 10), QPointF(22, 22));
        painter.drawLine(QPointF(22, 10), QPointF(10, 22));
    }
    painter.end();
    QIcon icon(pixmap);
    icon.setIsMask(true);
    return icon;
}

QString heading(const ServiceState& service)
{
    if (!service.reading.ok())
        return QObject::tr("%1 — not read").arg(service.name);
    const QString address = service.address.isNull() ? QObject::tr("no address") : service.address.toString();
    const QString method = service.method == ServiceState::Method::Dhcp     ? QStringLiteral("DHCP")
                           : service.method == ServiceState::Method::Manual ? QStringLiteral("manual")
                                                                            : QStringLiteral("none");
    return QStringLiteral("%1 — %2 (%3)").arg(service.name, address, method);
}

} // namespace

TrayMenu::TrayMenu(Switcher& switcher, QMenu& menu, QObject* parent) : QObject(parent), switcher(switcher), menu(menu)
{
    connect(&switcher, &Switcher::readingFinished, this, &TrayMenu::scheduleRebuild);
    connect(&switcher, &Switcher::profilesChanged, this, &TrayMenu::scheduleRebuild);
    connect(&switcher, &Switcher::busyChanged, this, &TrayMenu::scheduleRebuild);
    connect(&switcher, &Switcher::changeFinished, this, [this](const ChangeReport& report) {
        if (report.change.service == pendingService) {
            pendingService.clear();
            lastFailed = report.outcome != ChangeReport::Outcome::Applied;
            emit reported(report);
        }
        scheduleRebuild();
    });
    rebuild();
}

// The menu is built anew once control is back in the event loop: a change started from one of its
// entries must not have that entry deleted under it.
void TrayMenu::scheduleRebuild()
{
    if (rebuildPending)
        return;
    rebuildPending = true;
    QMetaObject::invokeMethod(this, &TrayMenu::rebuild, Qt::QueuedConnection);
}

void TrayMenu::rebuild()
{
    rebuildPending = false;
    // clear() leaves the submenus and action groups the menu owns: they go with the entries, or every
    // reading would add more.
    qDeleteAll(menu.findChildren<QMenu*>(QString(), Qt::FindDirectChildrenOnly));
    qDeleteAll(menu.findChildren<QActionGroup*>(QString(), Qt::FindDirectChildrenOnly));
    menu.clear();
    const QList<ServiceState> services = switcher.offeredServices();
    const bool several = services.size() > 1;
    for (const ServiceState& service : services) {
        QMenu* section = &menu;
        if (several)
            section = menu.addMenu(heading(service));
        else
            menu.addSection(heading(service));
        auto* group = new QActionGroup(section);
        const QString current = currentProfile(service.name);
        for (const QString& profile : switcher.profileNames()) {
            QAction* action = section->addAction(profile);
            action->setCheckable(true);
            action->setChecked(profile == current);
            action->setActionGroup(group);
            action->setEnabled(!switcher.isBusy());
            const QString name = service.name;
            connect(action, &QAction::triggered, this, [this, name, profile] { choose(name, profile); });
        }
    }
    menu.addSeparator();
    for (const ServiceState& service : services) {
        if (!switcher.canUndo(service.name))
            continue;
        QAction* undo = menu.addAction(tr("Undo Change to %1").arg(service.name));
        undo->setEnabled(!switcher.isBusy());
        const QString name = service.name;
        connect(undo, &QAction::triggered, this, [this, name] {
            if (switcher.isBusy())
                return;
            pendingService = name;
            switcher.undo(name);
        });
    }
    connect(menu.addAction(tr("Open Tarnwick…")), &QAction::triggered, this, &TrayMenu::openRequested);
    connect(menu.addAction(tr("Quit")), &QAction::triggered, this, &TrayMenu::quitRequested);
    emit iconChanged();
}

void TrayMenu::choose(const QString& service, const QString& profile)
{
    if (switcher.isBusy())
        return;
    const Profile chosen = switcher.profile(profile);
    // From the menu a profile is applied as it stands: the default host number and the profile's gateway.
    const QString router = NetworkManager::isIPv4(chosen.gateway) ? chosen.gateway : QString();
    const ChangeVerdict verdict = switcher.changeFor(service, profile, switcher.defaultHost(), router);
    if (!verdict.ok()) {
        emit refused(verdict.problem);
        return;
    }
    pendingService = service;
    switcher.apply(verdict.change);
}

QString TrayMenu::currentProfile(const QString& service) const
{
    const ServiceState* state = switcher.offered(service);
    if (!state || !state->reading.ok())
        return {};
    if (state->method == ServiceState::Method::Dhcp)
        return Change::DHCP;
    for (const QString& name : switcher.profileNames()) {
        const Profile profile = switcher.profile(name);
        const auto subnet = QHostAddress::parseSubnet(profile.network + QLatin1Char('/') + profile.mask);
        if (name != Change::DHCP && state->mask == QHostAddress(profile.mask) && state->address.isInSubnet(subnet))
            return name;
    }
    return {};
}

QIcon TrayMenu::icon() const
{
    const QList<ServiceState> services = switcher.offeredServices();
    const bool manual = !services.isEmpty() && services.constFirst().method == ServiceState::Method::Manual;
    return drawIcon(manual, lastFailed);
}

QString TrayMenu::toolTip() const
{
    QStringList lines;
    for (const ServiceState& service : switcher.offeredServices())
        lines.append(heading(service));
    return lines.isEmpty() ? tr("No network service found") : lines.join(QLatin1Char('\n'));
}
