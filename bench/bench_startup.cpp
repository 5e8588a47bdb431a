#include "app/mainwindow.h"
#include "bench/benchsupport.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QMainWindow>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <memory>

// Start-up as the user sees it: from starting the program to its window painted with the first reading
// of the machine, against a bare window that runs the same commands first. Without arguments this
// program times itself in both roles; "tarnwick" does what the application's main does, "bare <file>"
// runs the commands listed in <file> (one a line, tab-separated, as the simulated Mac logs them) and
// shows an empty window.
namespace {

constexpr int runs = 15;

// Prints "shown" once the window has been painted, then ends the program.
class FirstPaint : public QObject
{
public:
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::Paint && !seen) {
            seen = true;
            QTimer::singleShot(0, qApp, [] {
                std::puts("shown");
                std::fflush(stdout);
                QCoreApplication::quit();
            });
        }
        return false;
    }
    bool seen = false;
};

int showWindow(int argc, char* argv[])
{
    QApplication app(argc, argv);
    std::unique_ptr<QMainWindow> window;
    if (QByteArray(argv[1]) == "tarnwick") {
        window = std::make_unique<MainWindow>();
    } else {
        for (const QStringList& command : FakeMac::readCalls(QString::fromLocal8Bit(argv[2]))) {
            QProcess process;
            process.start(command.first(), command.mid(1));
            process.waitForFinished();
        }
        window = std::make_unique<QMainWindow>();
    }
    FirstPaint paint;
    window->installEventFilter(&paint);
    window->show();
    return app.exec();
}

QString writeCommands(const QString& path, const QList<QStringList>& commands)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        qFatal("cannot write %s", qPrintable(path));
    for (const QStringList& command : commands)
        file.write(command.join(QLatin1Char('\t')).toUtf8() + '\n');
    return path;
}

double timeToShown(const QStringList& arguments)
{
    QProcess child;
    QElapsedTimer clock;
    clock.start();
    child.start(QCoreApplication::applicationFilePath(), arguments);
    while (!child.canReadLine() && child.waitForReadyRead(30000)) {
    }
    const double ms = clock.nsecsElapsed() / 1e6;
    const bool shown = child.readLine().trimmed() == "shown";
    child.waitForFinished();
    return shown ? ms : NAN;
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc > 1)
        return showWindow(argc, argv);

    QCoreApplication app(argc, argv);
    Bench::mac().setDelay(0);
    // One start first: it creates the configuration file and tells which commands a start runs. The bare
    // window is timed after all of them, and after only the first reading's.
    Bench::mac().clearCalls();
    timeToShown({QStringLiteral("tarnwick")});
    const QList<QStringList> startCommands = Bench::mac().calls();
    const auto firstIfconfig = std::find_if(startCommands.cbegin(), startCommands.cend(),
                                            [](const QStringList& call) { return call.first() == "ifconfig"; });
    const QList<QStringList> readingCommands(startCommands.cbegin(), firstIfconfig + 1);
    QTemporaryDir dir;
    const QString startFile = writeCommands(dir.filePath(QStringLiteral("start")), startCommands);
    const QString readingFile = writeCommands(dir.filePath(QStringLiteral("reading")), readingCommands);

    QList<double> tarnwick, bareStart, bareReading;
    for (int run = 0; run < runs; ++run) {
        tarnwick.append(timeToShown({QStringLiteral("tarnwick")}));
        bareStart.append(timeToShown({QStringLiteral("bare"), startFile}));
        bareReading.append(timeToShown({QStringLiteral("bare"), readingFile}));
    }
    const double ours = Bench::median(tarnwick);
    const QString measure = QStringLiteral("4. start-up to window shown with its first reading");
    const auto reference = [](const QList<double>& bare, qsizetype commands) {
        return QStringLiteral("%1 bare window, %2 commands").arg(Bench::ms(Bench::median(bare))).arg(commands);
    };
    Bench::row(measure, Bench::ms(ours), reference(bareStart, startCommands.size()), ours / Bench::median(bareStart),
               QStringLiteral("<= 1.3"));
    Bench::row(measure, Bench::ms(ours), reference(bareReading, readingCommands.size()),
               ours / Bench::median(bareReading), QStringLiteral("<= 1.3"));
    Bench::note(
        QStringLiteral("4: medians of %1 starts each; a start runs %2 commands, one reading of the machine is %3")
            .arg(runs)
            .arg(startCommands.size())
            .arg(readingCommands.size()));
    return 0;
}
