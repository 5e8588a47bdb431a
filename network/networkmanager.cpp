#include "network/networkmanager.h"

#include "network/system.h"

#include <QDebug>
#include <QHostAddress>
#include <QRegularExpression>
#include <QStringList>

const QString NetworkManager::version = QStringLiteral("26.205-1424");
const QStringList NetworkManager::NETWORKSETUP_FORBIDDEN_INTERFACES = {QStringLiteral("Thunderbolt Bridge"),
                                                                       QStringLiteral("Pont Thunderbolt")};
const QStringList NetworkManager::IFCONFIG_KEY = {
    QStringLiteral("mtu"),   QStringLiteral("ether"),   QStringLiteral("inet6"),     QStringLiteral("prefixlen"),
    QStringLiteral("inet"),  QStringLiteral("netmask"), QStringLiteral("broadcast"), QStringLiteral("scopeid"),
    QStringLiteral("media"), QStringLiteral("status")};
const QString NetworkManager::IP_PATTERN =
    QStringLiteral("((25[0-5]|2[0-4][0-9]|[0-1]?[0-9]?[0-9])(\\.(25[0-5]|2[0-4][0-9]|[0-1]?[0-9]?[0-9])){3})");

namespace {

// The elevated change, as AppleScript. Every value reaches the script as an argument of osascript and the
// shell only through "quoted form of", so whatever a service name holds (quotes, backslashes, "$(...)", ";")
// arrives at networksetup as exactly one argument; the script's own text holds only item numbers. Each
// networksetup prints its refusal on standard output; sent to standard error it becomes osascript's error
// message, and the exit status tells which step refused.
const QString runHandler = QStringLiteral("on run argv");
const QString endHandler = QStringLiteral("end run");
const QString administratorClause = QStringLiteral(" with administrator privileges");
const QString networksetupPath = QStringLiteral("/usr/sbin/networksetup");
const QString networksetup = QStringLiteral("networksetup");
const QString emptyList = QStringLiteral("Empty");

struct Step
{
    ChangeResult::Step number;
    QStringList arguments; // networksetup's, the verb first
};

// The commands a change runs, in order: the switch to DHCP, the fixed address, then the DNS it sets.
QList<Step> stepsOf(const Change& change)
{
    QList<Step> steps{{ChangeResult::Dhcp, {QStringLiteral("-setdhcp"), change.service}}};
    if (!change.dhcp)
        steps.append({ChangeResult::Manual,
                      {QStringLiteral("-setmanual"), change.service, change.address, change.mask, change.router}});
    if (change.setDns)
        steps.append(
            {ChangeResult::DnsServers, QStringList{QStringLiteral("-setdnsservers"), change.service} +
                                           (change.dnsServers.isEmpty() ? QStringList{emptyList} : change.dnsServers)});
    if (change.setSearch)
        steps.append({ChangeResult::SearchDomains,
                      QStringList{QStringLiteral("-setsearchdomains"), change.service} +
                          (change.searchDomains.isEmpty() ? QStringList{emptyList} : change.searchDomains)});
    return steps;
}

QString stepName(const QList<Step>& steps, int number)
{
    for (const Step& step : steps) {
        if (step.number == number)
            return networksetup + QLatin1Char(' ') + step.arguments.constFirst();
    }
    return {};
}

// How one step's command went, as the first failure of a change.
ChangeResult judgeStep(const System::Outcome& outcome, const Step& step, int timeoutMs)
{
    ChangeResult result;
    result.failedStep = step.number;
    result.step = networksetup + QLatin1Char(' ') + step.arguments.constFirst();
    if (!outcome.started) {
        result.failure = ChangeResult::Failure::NotStarted;
    } else if (!outcome.finished) {
        result.failure = ChangeResult::Failure::TimedOut;
        result.waitedMs = timeoutMs;
    } else {
        result.error = NetworkManager::changeError({outcome.out, outcome.err});
        if (result.error.isEmpty())
            return {};
        result.failure = result.error.contains(QLatin1String("admin privileges")) ? ChangeResult::Failure::NeedsAdmin
                                                                                  : ChangeResult::Failure::Refused;
    }
    return result;
}

} // namespace

NetworkManager::NetworkManager()
{
    qDebug() << "NetworkManager version:" << version;
}

QList<NetworkManager::Service> NetworkManager::parseServiceOrder(const QString& listing)
{
    // A service line, "(1) Wi-Fi" or "(*) Wi-Fi" for a disabled one, and the hardware line right after it.
    // Names are taken whole: "Dock (Hub) 2" and "Lab, (west)" are names like any other.
    static const QRegularExpression serviceLine(QStringLiteral("^\\s*\\((?:\\d+|\\*)\\) (.*)$"));
    static const QRegularExpression hardwareLine(QStringLiteral("^\\(Hardware Port: (.*), Device: ([^,]*)\\)$"));
    QList<Service> services;
    QString currentName;
    bool afterService = false;
    for (QString line : listing.split(QLatin1Char('\n'))) {
        if (line.endsWith(QLatin1Char('\r')))
            line.chop(1);
        const QRegularExpressionMatch hardware = afterService ? hardwareLine.match(line) : QRegularExpressionMatch();
        if (hardware.hasMatch()) {
            const QString device = hardware.captured(2);
            if (!NETWORKSETUP_FORBIDDEN_INTERFACES.contains(currentName) && device.startsWith(QLatin1String("en")))
                services.append({currentName, hardware.captured(1), device});
            afterService = false;
            continue;
        }
        const QRegularExpressionMatch service = serviceLine.match(line);
        afterService = service.hasMatch();
        currentName = service.captured(1);
    }
    return services;
}

void NetworkManager::parseServiceInfo(const QString& info, QMap<QString, QString>& entry)
{
    for (const QString& line : info.split(QLatin1Char('\n'))) {
        if (line.startsWith(QLatin1String("IP address:"))) {
            entry.insert(QStringLiteral("IP address"), line.mid(11).trimmed());
        } else if (line.startsWith(QLatin1String("Subnet mask:"))) {
            entry.insert(QStringLiteral("Subnet mask"), line.mid(12).trimmed());
        } else if (line.startsWith(QLatin1String("Router:"))) {
            const QString router = line.mid(7).trimmed();
            if (router != QLatin1String("(null)"))
                entry.insert(QStringLiteral("Router"), router);
        }
    }
}

InterfaceMap NetworkManager::parseIfconfig(const QString& text)
{
    InterfaceMap result;
    QString currentName;
    QString pendingText;
    QMap<QString, QString> pending;
    for (const QString& line : text.split(QLatin1Char('\n'))) {
        if (line.contains(QLatin1Char('\t'))) {
            pendingText += QString(line).replace(QLatin1Char('\t'), QLatin1Char(' '));
            continue;
        }
        if (!pendingText.isEmpty()) {
            parseIfconfigBlock(pendingText, pending);
            result.insert(currentName, pending);
            pending.clear();
            pendingText.clear();
        }
        const QStringList parts = line.split(QStringLiteral(": "));
        if (parts.size() == 2) {
            currentName = parts.at(0);
            pendingText = parts.at(1);
        }
    }
    // A block is stored only when a line without a tab follows it: output without a final line feed
    // loses its last block, as it always has.
    return result;
}

void NetworkManager::parseIfconfigBlock(const QString& block, QMap<QString, QString>& attributes)
{
    const QStringList words = block.split(QLatin1Char(' '));
    // A keyword that ends the block has no value word; it gets an empty value.
    const auto valueAfter = [&words](qsizetype i) { return i < words.size() ? words.at(i) : QString(); };
    for (qsizetype i = 0; i < words.size(); ++i) {
        const QString& word = words.at(i);
        if (word.isEmpty())
            continue;
        if (word.contains(QLatin1String("flags")) || word.contains(QLatin1String("options"))) {
            const QStringList pair = word.split(QLatin1Char('='));
            if (pair.size() == 2)
                attributes.insert(pair.at(0), pair.at(1));
        } else if (word.contains(QLatin1String("nd6"))) {
            ++i;
            attributes.insert(QStringLiteral("nd6_options"), valueAfter(i));
        } else {
            for (const QString& key : IFCONFIG_KEY) {
                if (!word.contains(key))
                    continue;
                ++i;
                attributes.insert(key, key == QLatin1String("netmask") ? NetmaskHex2Str(valueAfter(i)) : valueAfter(i));
                break;
            }
        }
    }
}

bool NetworkManager::isIPv4(const QString& text)
{
    // Anchored at the very end: "$" alone would also take an address followed by a line feed.
    static const QRegularExpression expression(QRegularExpression::anchoredPattern(IP_PATTERN));
    return expression.match(text).hasMatch();
}

bool NetworkManager::isDnsServer(const QString& text)
{
    // Also keeps out what the address parsers would forgive: blanks, a line feed, a scope, brackets.
    static const QRegularExpression characters(QStringLiteral("\\A[0-9A-Fa-f.:]+\\z"));
    if (!characters.match(text).hasMatch())
        return false;
    if (isIPv4(text))
        return true;
    QHostAddress address;
    return text.contains(QLatin1Char(':')) && address.setAddress(text) &&
           address.protocol() == QAbstractSocket::IPv6Protocol;
}

bool NetworkManager::isSearchDomain(const QString& text)
{
    static const QString label = QStringLiteral("[A-Za-z0-9]([A-Za-z0-9-]{0,61}[A-Za-z0-9])?");
    static const QRegularExpression name(QStringLiteral("\\A%1(\\.%1)*\\z").arg(label));
    return text.size() <= 253 && name.match(text).hasMatch();
}

quint32 NetworkManager::toNumber(const QString& dotted)
{
    quint32 number = 0;
    for (const QString& octet : dotted.split(QLatin1Char('.')))
        number = (number << 8) | octet.toUInt();
    return number;
}

bool NetworkManager::isNetmask(const QString& text)
{
    if (!isIPv4(text))
        return false;
    const quint32 mask = toNumber(text);
    // The host bits of a mask are a run of ones from the lowest bit up, so one more carries through them all.
    const quint32 hostBits = ~mask;
    return (hostBits & (hostBits + 1)) == 0;
}

QString NetworkManager::NetmaskHex2Str(const QString& hex)
{
    if (hex.size() < 4 || hex.size() > 10)
        return {};
    QString result;
    for (qsizetype i = 3; i < hex.size(); i += 2) {
        bool ok = false;
        const int octet = hex.mid(i - 1, 2).toInt(&ok, 16);
        if (!ok)
            return hex;
        result += QString::number(octet) + QLatin1Char('.');
    }
    result.chop(1);
    return result;
}

QString NetworkManager::hostAddress(const QString& network, int host)
{
    const QStringList parts = network.split(QLatin1Char('.'));
    QStringList octets;
    for (int i = 0; i < 3; ++i)
        octets.append(QString::number(qBound(0, parts.value(i).toInt(), 255)));
    octets.append(QString::number(host));
    return octets.join(QLatin1Char('.'));
}

QString NetworkManager::proposedRouter(const QString& network, const QString& gateway)
{
    if (isIPv4(gateway))
        return hostAddress(gateway, gateway.section(QLatin1Char('.'), 3).toInt());
    return hostAddress(network, 1);
}

QString NetworkManager::changeError(const QList<QString>& result)
{
    const QString out = result.value(0);
    const QString err = result.value(1);
    if (!err.isEmpty())
        return err;
    if (out.contains(QLatin1String("** Error")))
        return out.trimmed();
    return {};
}

ChangeResult NetworkManager::apply(const Change& change, int timeoutMs)
{
    for (const Step& step : stepsOf(change)) {
        const System::Outcome outcome = System::run(networksetup, step.arguments, nullptr, timeoutMs);
        const ChangeResult result = judgeStep(outcome, step, timeoutMs);
        if (result.failure != ChangeResult::Failure::None)
            return result;
    }
    return {};
}

QStringList NetworkManager::elevatedArguments(const Change& change, const QString& tool, bool asAdministrator)
{
    // argv: the service first, then every other value in the order the steps use them.
    QStringList argv{change.service};
    QString shell = QStringLiteral("do shell script \"");
    const QList<Step> steps = stepsOf(change);
    for (const Step& step : steps) {
        if (step.number != ChangeResult::Dhcp)
            shell += QStringLiteral("; ");
        shell += tool + QLatin1Char(' ') + step.arguments.constFirst();
        for (qsizetype i = 1; i < step.arguments.size(); ++i) {
            if (i > 1)
                argv.append(step.arguments.at(i));
            const qsizetype item = i == 1 ? 1 : argv.size();
            shell += QStringLiteral(" \" & quoted form of item %1 of argv & \"").arg(item);
        }
        shell += QStringLiteral(" >&2 || exit %1").arg(int(step.number));
    }
    shell += QLatin1Char('"');
    // "--" ends osascript's options: a service name may start with "-".
    return QStringList{QStringLiteral("-e"), runHandler,
                       QStringLiteral("-e"), shell + (asAdministrator ? administratorClause : QString()),
                       QStringLiteral("-e"), endHandler,
                       QStringLiteral("--")} +
           argv;
}

ChangeResult NetworkManager::applyElevated(const Change& change, int timeoutMs)
{
    const QString program = QStringLiteral("osascript");
    const System::Outcome outcome =
        System::run(program, elevatedArguments(change, networksetupPath), nullptr, timeoutMs);

    ChangeResult result;
    result.elevated = true;
    if (!outcome.started) {
        result.failure = ChangeResult::Failure::NotStarted;
        result.step = program;
        result.failedStep = 1;
    } else if (!outcome.finished) {
        result.failure = ChangeResult::Failure::TimedOut;
        result.step = QStringLiteral("the administrator prompt");
        result.waitedMs = timeoutMs;
        result.failedStep = 1;
    } else if (outcome.err.contains(QLatin1String("(-128)"))) {
        // The number of "User canceled." is the same in every language.
        result.failure = ChangeResult::Failure::Dismissed;
        result.step = QStringLiteral("the administrator prompt");
        result.failedStep = 1;
    } else if (outcome.exitCode != 0) {
        // "0:123: execution error: <what networksetup printed> (<step>)"; its line feeds come as carriage returns.
        static const QRegularExpression failure(QStringLiteral("execution error: (.*) \\((-?\\d+)\\)\\s*$"),
                                                QRegularExpression::DotMatchesEverythingOption);
        const QRegularExpressionMatch match = failure.match(outcome.err);
        const QString refusal = match.hasMatch()
                                    ? QString(match.captured(1)).replace(QLatin1Char('\r'), QLatin1Char('\n'))
                                    : outcome.err.trimmed();
        result.failure = ChangeResult::Failure::Refused;
        const QString step = stepName(stepsOf(change), match.captured(2).toInt());
        result.failedStep = step.isEmpty() ? int(ChangeResult::Dhcp) : match.captured(2).toInt();
        result.step = step.isEmpty() ? program : step;
        result.error = refusal.isEmpty() ? QStringLiteral("%1 failed without a message.").arg(program) : refusal;
    }
    return result;
}
