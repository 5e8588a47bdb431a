#include "bench/benchsupport.h"
#include "core/commandrunner.h"
#include "core/servicestate.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>

#include <functional>

// What one reading of the machine costs beyond its commands: (3) a reading against instant stand-ins, timed
// against starting and waiting for the very same command lines with nothing else done; (9) machines of 4, 8
// and 16 services, against the least a reading can take when every command is slow, and against the same
// reading run one command at a time when they are instant.
namespace {

constexpr int runs = 25;
constexpr double slowCommandSeconds = 0.5;

double elapsedMs(const std::function<void()>& work)
{
    QElapsedTimer clock;
    clock.start();
    work();
    return clock.nsecsElapsed() / 1e6;
}

int runsFromEnvironment(const char* name, int fallback)
{
    bool ok = false;
    const int value = qEnvironmentVariableIntValue(name, &ok);
    return ok && value > 0 ? value : fallback;
}

// As the five-second tick reads: on the runner's worker thread, handed back to this one.
void readThroughRunner(CommandRunner& runner)
{
    QEventLoop loop;
    const auto connection = QObject::connect(&runner, &CommandRunner::readingFinished, &loop, &QEventLoop::quit);
    runner.read(false, System::defaultTimeoutMs);
    loop.exec();
    QObject::disconnect(connection);
}

void refresh()
{
    Bench::mac().setDelay(0);
    readMachine(); // also warms the stand-ins up
    Bench::mac().clearCalls();
    readMachine();
    const QList<QStringList> commands = Bench::firstReading(Bench::mac().calls());

    CommandRunner runner;
    QList<double> direct, worker, bare;
    for (int run = 0; run < runs; ++run) {
        // Interleaved, so that a change in the machine's load falls on all three alike.
        direct.append(elapsedMs([] { readMachine(); }));
        worker.append(elapsedMs([&runner] { readThroughRunner(runner); }));
        bare.append(elapsedMs([&commands] { Bench::runAsReading(commands); }));
    }

    const double reference = Bench::median(bare);
    const QString bareText = Bench::ms(reference) + QStringLiteral(" bare");
    Bench::row(QStringLiteral("3. one refresh, readMachine()"), Bench::ms(Bench::median(direct)), bareText,
               Bench::median(direct) / reference, QStringLiteral("<= 1.05"));
    Bench::row(QStringLiteral("3. one refresh, CommandRunner::read() on its worker thread"),
               Bench::ms(Bench::median(worker)), bareText, Bench::median(worker) / reference,
               QStringLiteral("<= 1.05"));
    Bench::note(QStringLiteral("3: medians of %1 runs; a reading is %2 commands, bare = QProcess start and wait: "
                               "the listing, then the rest at once, as the reading runs them")
                    .arg(runs)
                    .arg(commands.size()));
}

// A machine of `count` USB adapters, none with an address.
QString labMachine(int count)
{
    QString lines;
    for (int i = 1; i <= count; ++i)
        lines += QStringLiteral("%1|Lab %1|USB LAN|en%1|1|dhcp|||\n").arg(i);
    return lines;
}

void manyServices()
{
    const int slowRuns = runsFromEnvironment("BENCH_SLOW_RUNS", 3);
    const int instantRuns = runsFromEnvironment("BENCH_INSTANT_RUNS", 15);
    const QString machine = Bench::mac().services();
    QStringList unread;
    for (const int count : {4, 8, 16}) {
        Bench::mac().setServices(labMachine(count));
        Bench::mac().setDelay(0);
        if (readMachine().services.size() != count)
            unread.append(QString::number(count));

        // The least any reading takes with slow commands: the listing, then one service's answer.
        const QList<QStringList> floorCommands = {
            {QStringLiteral("networksetup"), QStringLiteral("-listnetworkserviceorder")},
            {QStringLiteral("networksetup"), QStringLiteral("-getinfo"), QStringLiteral("Lab 1")}};
        Bench::mac().setDelay(slowCommandSeconds);
        QList<double> slow, floor;
        for (int run = 0; run < slowRuns; ++run) {
            slow.append(elapsedMs([] { readMachine(); }));
            floor.append(elapsedMs([&floorCommands] { Bench::runOneByOne(floorCommands); }));
        }
        Bench::row(
            QStringLiteral("9. reading %1 services, every command taking %2 s").arg(count).arg(slowCommandSeconds),
            Bench::ms(Bench::median(slow)),
            Bench::ms(Bench::median(floor)) + QStringLiteral(" listing, then one -getinfo"),
            Bench::median(slow) / Bench::median(floor), count == 8 ? QStringLiteral("<= 1.3") : QString());

        Bench::mac().setDelay(0);
        QList<double> together, oneByOne;
        for (int run = 0; run < instantRuns; ++run) {
            together.append(elapsedMs([] { readMachine(); }));
            oneByOne.append(elapsedMs([] { readMachine(nullptr, System::defaultTimeoutMs, 1); }));
        }
        Bench::row(QStringLiteral("9. reading %1 services, instant commands").arg(count),
                   Bench::ms(Bench::median(together)),
                   Bench::ms(Bench::median(oneByOne)) + QStringLiteral(" one command at a time"),
                   Bench::median(together) / Bench::median(oneByOne), QStringLiteral("<= 1.05"));
    }
    Bench::mac().setServices(machine);
    Bench::note(QStringLiteral("9: medians of %1 readings with slow commands (BENCH_SLOW_RUNS) and %2 with instant "
                               "ones (BENCH_INSTANT_RUNS); up to %3 commands run at once; one at a time is the "
                               "same reading with a parallelism of 1")
                    .arg(slowRuns)
                    .arg(instantRuns)
                    .arg(System::maxParallel));
    if (!unread.isEmpty())
        Bench::note(QStringLiteral("9: the reading did not find every service of the %1-service machines")
                        .arg(unread.join(QStringLiteral(", "))));
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    refresh();
    manyServices();
    return 0;
}
