#include "core/changereport.h"

#include "network/networkmanager.h"

namespace {

using Failure = ChangeResult::Failure;

// Why the change did not land, for the end of a sentence.
QString why(const ChangeResult& steps)
{
    const QString seconds = QString::number(steps.waitedMs / 1000.0);
    switch (steps.failure) {
    case Failure::None:
        return QStringLiteral("the system reported no error but the service does not show it");
    case Failure::NeedsAdmin:
        return QStringLiteral("%1 refused it without administrator rights").arg(steps.step);
    case Failure::Refused: {
        QString refusal = steps.error.simplified();
        if (refusal.endsWith(QLatin1Char('.')))
            refusal.chop(1); // the sentence ends once
        return QStringLiteral("%1 refused it: %2").arg(steps.step, refusal);
    }
    case Failure::Dismissed:
        return QStringLiteral("the administrator prompt was dismissed");
    case Failure::TimedOut:
        if (steps.elevated)
            return QStringLiteral("the administrator prompt was not answered within %1 s").arg(seconds);
        return QStringLiteral("%1 did not answer within %2 s").arg(steps.step, seconds);
    case Failure::NotStarted:
        return QStringLiteral("%1 could not be started").arg(steps.step);
    }
    return {};
}

bool shows(const ServiceState& state, const Change& change)
{
    if (!state.reading.ok())
        return false;
    if (change.dhcp)
        return state.method == ServiceState::Method::Dhcp;
    return state.method == ServiceState::Method::Manual && state.address == QHostAddress(change.address);
}

bool showsServers(const ServiceState& state, const Change& change)
{
    if (!change.setDns)
        return true;
    QList<QHostAddress> asked;
    for (const QString& server : change.dnsServers)
        asked.append(QHostAddress(server));
    return state.dnsServers == asked;
}

bool showsDomains(const ServiceState& state, const Change& change)
{
    return !change.setSearch || state.searchDomains == change.searchDomains;
}

// What did not land, as the subject of "... not set because ...".
QString target(const Change& change, const ChangeResult& steps, const ServiceState& state, bool addressShown)
{
    if (!addressShown)
        return change.dhcp ? QStringLiteral("DHCP was") : QStringLiteral("the fixed address was");
    if (steps.failedStep == ChangeResult::SearchDomains || (steps.failedStep == 0 && showsServers(state, change)))
        return QStringLiteral("the search domains were");
    return QStringLiteral("the DNS servers were");
}

} // namespace

QString ChangeReport::outcomeText() const
{
    switch (outcome) {
    case Outcome::Applied:
        return QStringLiteral("applied");
    case Outcome::Refused:
        return QStringLiteral("refused");
    case Outcome::Cancelled:
        return QStringLiteral("cancelled");
    case Outcome::TimedOut:
        return QStringLiteral("timed out");
    case Outcome::PartlyApplied:
        return QStringLiteral("partly applied");
    }
    return {};
}

ChangeReport judgeChange(const Change& change, const ChangeResult& steps, const MachineReading& after)
{
    ChangeReport report;
    report.change = change;
    report.steps = steps;
    report.reading = after;
    if (const ServiceState* found = after.find(change.service))
        report.after = *found;
    else
        report.after.reading = after.ok() ? ReadOutcome{ReadOutcome::Kind::Failed, QStringLiteral("networksetup"), 0,
                                                        QStringLiteral("the service is no longer listed")}
                                          : after.reading;
    const ServiceState& state = report.after;
    const bool addressShown = shows(state, change);
    const QString what = target(change, steps, state, addressShown);

    if (!state.reading.ok()) {
        // Nothing to judge by but the commands themselves.
        report.outcome = steps.failure == Failure::None        ? ChangeReport::Outcome::Applied
                         : steps.failure == Failure::TimedOut  ? ChangeReport::Outcome::TimedOut
                         : steps.failure == Failure::Dismissed ? ChangeReport::Outcome::Cancelled
                                                               : ChangeReport::Outcome::Refused;
        report.line =
            QStringLiteral("%1 could not be read back after the change (%2)").arg(change.service, state.reading.text());
        report.line += steps.failure == Failure::None
                           ? QStringLiteral(": the system reported no error.")
                           : QStringLiteral(": %1 not set because %2.").arg(what, why(steps));
        return report;
    }
    if (addressShown && showsServers(state, change) && showsDomains(state, change)) {
        report.outcome = ChangeReport::Outcome::Applied;
        report.line = QStringLiteral("%1 now uses %2.").arg(change.service, state.describe());
        return report;
    }
    switch (addressShown ? Failure::None : steps.failure) {
    case Failure::Dismissed:
        report.outcome = ChangeReport::Outcome::Cancelled;
        break;
    case Failure::TimedOut:
        report.outcome = ChangeReport::Outcome::TimedOut;
        break;
    default:
        // The switch to DHCP before a fixed address took effect when the service reads DHCP now.
        // The address took and its DNS did not, or the switch to DHCP before a fixed address took and the
        // address did not.
        report.outcome =
            addressShown || (steps.failedStep == ChangeResult::Manual && state.method == ServiceState::Method::Dhcp)
                ? ChangeReport::Outcome::PartlyApplied
                : ChangeReport::Outcome::Refused;
        break;
    }
    report.line = QStringLiteral("%1 now uses %2: %3 not set because %4.")
                      .arg(change.service, state.describe(), what, why(steps));
    return report;
}

ChangeReport runChange(const Change& change, const ChangeOptions& options)
{
    ChangeResult steps = options.elevate ? NetworkManager::applyElevated(change, options.promptTimeoutMs)
                                         : NetworkManager::apply(change, options.timeoutMs);
    if (steps.failure == Failure::NeedsAdmin && options.askAdmin)
        steps = NetworkManager::applyElevated(change, options.promptTimeoutMs);
    return judgeChange(change, steps, readMachine(nullptr, options.timeoutMs));
}
