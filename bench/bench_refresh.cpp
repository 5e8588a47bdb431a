#include "bench/benchsupport.h"
#include "network/networkmanager.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QThread>

#include <functional>

// What one refresh costs beyond the commands themselves: a reading against instant stand-ins, timed
// against starting and waiting for the very same command lines with nothing else done.
namespace {

constexpr int runs = 25;

double elapsedMs(const std::function<void()>& work)
{
    QElapsedTimer clock;
    clock.start();
    work();
    return clock.nsecsElapsed() / 1e6;
}

void runBare(const QList<QStringList>& commands)
{
    for (const QStringList& command : commands) {
        QProcess process;
        process.start(command.first(), command.mid(1));
        process.waitForFinished();
    }
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    Bench::mac().setDelay(0);
    NetworkManager manager; // its first reading also warms the stand-ins up
    Bench::mac().clearCalls();
    manager.update();
    const QList<QStringList> commands = Bench::mac().calls();

    QList<double> update, worker, bare;
    for (int run = 0; run < runs; ++run) {
        // Interleaved, so that a change in the machine's load falls on all three alike.
        update.append(elapsedMs([&manager] { manager.update(); }));
        worker.append(elapsedMs([] {
            const std::atomic<bool> cancel{false};
            QThread* reader = QThread::create([&cancel] { NetworkManager::read(&cancel); });
            reader->start();
            reader->wait();
            delete reader;
        }));
        bare.append(elapsedMs([&commands] { runBare(commands); }));
    }

    const double reference = Bench::median(bare);
    const QString bareText = Bench::ms(reference) + QStringLiteral(" bare");
    Bench::row(QStringLiteral("3. one refresh, NetworkManager::update()"), Bench::ms(Bench::median(update)), bareText,
               Bench::median(update) / reference, QStringLiteral("<= 1.05"));
    Bench::row(QStringLiteral("3. one refresh, read() on a worker thread"), Bench::ms(Bench::median(worker)), bareText,
               Bench::median(worker) / reference, QStringLiteral("<= 1.05"));
    Bench::note(QStringLiteral("3: medians of %1 runs; a reading is %2 commands, bare = QProcess start and wait each")
                    .arg(runs)
                    .arg(commands.size()));
    return 0;
}
