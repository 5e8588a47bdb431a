#include "bench/benchsupport.h"
#include "core/commandrunner.h"
#include "core/servicestate.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>

#include <functional>

// What one refresh costs beyond the commands themselves: a reading against instant stand-ins, timed against
// starting and waiting for the very same command lines with nothing else done.
namespace {

constexpr int runs = 25;

double elapsedMs(const std::function<void()>& work)
{
    QElapsedTimer clock;
    clock.start();
    work();
    return clock.nsecsElapsed() / 1e6;
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

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    refresh();
    return 0;
}
