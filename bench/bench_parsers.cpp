#include "bench/benchsupport.h"
#include "network/networkmanager.h"

#include <QElapsedTimer>

#include <algorithm>
#include <functional>

// Times the text parsers on machines far larger than any real Mac, to show that a refresh every five
// seconds spends its time in the commands, not in reading their output.
namespace {

QString ifconfigText(int devices)
{
    QString text;
    for (int i = 0; i < devices; ++i) {
        const QString name = QStringLiteral("en%1").arg(i);
        text += name + QStringLiteral(": flags=8863<UP,BROADCAST,SMART,RUNNING,SIMPLEX,MULTICAST> mtu 1500\n"
                                      "\toptions=6460<TSO4,TSO6,CHANNEL_IO,PARTIAL_CSUM,ZEROINVERT_CSUM>\n"
                                      "\tether a8:20:66:4b:%1:%2\n"
                                      "\tinet6 fe80::14b2:7c3e:9a5d:%3%%4 prefixlen 64 secured scopeid 0x%3 \n"
                                      "\tinet 10.%1.%2.100 netmask 0xffffff00 broadcast 10.%1.%2.255\n"
                                      "\tnd6 options=201<PERFORMNUD,DAD>\n"
                                      "\tmedia: autoselect (1000baseT <full-duplex>)\n"
                                      "\tstatus: active\n")
                           .arg(i / 256)
                           .arg(i % 256)
                           .arg(i, 0, 16)
                           .arg(name);
    }
    return text;
}

QString listingText(int services)
{
    QString text = QStringLiteral("An asterisk (*) denotes that a network service is disabled.\n");
    for (int i = 0; i < services; ++i) {
        if (i > 0)
            text += QLatin1Char('\n');
        text += QStringLiteral("(%1) USB 10/100/1000 LAN %1\n(Hardware Port: USB 10/100/1000 LAN, Device: en%1)\n")
                    .arg(i + 1);
    }
    return text;
}

// Best of several runs, in microseconds: the least disturbed measurement of the same work.
double bestMicroseconds(int runs, const std::function<void()>& work)
{
    double best = 1e300;
    for (int run = 0; run < runs; ++run) {
        QElapsedTimer clock;
        clock.start();
        work();
        best = std::min(best, clock.nsecsElapsed() / 1000.0);
    }
    return best;
}

// Times one parser on one text and prints a row: its time and time per item, against splitting the same
// text into lines, the least any reading of it has to do.
void report(const char* parser, const char* item, int count, const QString& text,
            const std::function<qsizetype(const QString&)>& parse)
{
    qsizetype items = 0;
    const double us = bestMicroseconds(5, [&] { items = parse(text); });
    qsizetype lines = 0;
    const double splitUs = bestMicroseconds(5, [&] { lines = text.split(QLatin1Char('\n')).size(); });
    Bench::row(QStringLiteral("6. %1, %2 %3, %4 kchars")
                   .arg(QLatin1String(parser))
                   .arg(items)
                   .arg(QLatin1String(item))
                   .arg(text.size() / 1000.0, 0, 'f', 1),
               QStringLiteral("%1 (%2 us each)").arg(Bench::ms(us / 1000)).arg(us / count, 0, 'f', 2),
               Bench::ms(splitUs / 1000) + QStringLiteral(" line split"), us / splitUs);
}

} // namespace

int main()
{
    for (const int count : {10, 1000, 10000}) {
        report("parseIfconfig", "devices", count, ifconfigText(count),
               [](const QString& text) { return NetworkManager::parseIfconfig(text).size(); });
        report("parseServiceOrder", "services", count, listingText(count),
               [](const QString& text) { return NetworkManager::parseServiceOrder(text).size(); });
    }
    Bench::note(QStringLiteral("6: best of 5 runs each"));
    return 0;
}
