#include "app/mainwindow.h"
#include "bench/benchsupport.h"

#include <QApplication>
#include <QComboBox>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QMainWindow>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>
#include <functional>
#include <memory>

// Start-up as the user sees it, timed from starting the program: (a) until its window is first painted,
// with every command slow, against a bare window that runs no command; (b) until the first reading of the
// machine is shown, against a bare window shown after one reading's commands. Without arguments this
// program times itself in every role:
//   "tarnwick paint"        does what the application's main does and stops at the window's first paint;
//   "tarnwick reading"      the same, and stops once the service list, filled from the first reading, is painted;
//   "bare"                  shows an empty window;
//   "bare text"             shows a window with one line of text;
//   "bare <how> <file>"     runs the commands listed in <file> (one a line, tab-separated, as the simulated Mac
//                           logs them), then shows an empty window; <how> is "one-by-one", or "as-read": the
//                           first alone, then the rest at once, as a reading runs them.
namespace {

constexpr int runs = 15;
constexpr double slowCommandSeconds = 1.0; // (a): any command run before the first paint would show

void shownAndQuit()
{
    QTimer::singleShot(0, qApp, [] {
        std::puts("shown");
        std::fflush(stdout);
        QCoreApplication::quit();
    });
}

// Prints "shown" once `target` has been painted while ready() holds, then ends the program.
class PaintWatch : public QObject
{
public:
    PaintWatch(QWidget* target, std::function<bool()> ready) : target(target), ready(std::move(ready))
    {
        qApp->installEventFilter(this);
    }
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (!seen && watched == target && event->type() == QEvent::Paint && ready()) {
            seen = true;
            shownAndQuit();
        }
        return false;
    }

private:
    QWidget* target;
    std::function<bool()> ready;
    bool seen = false;
};

int showWindow(int argc, char* argv[])
{
    QApplication app(argc, argv);
    const QByteArray role = argv[1];
    const QByteArray what = argc > 2 ? QByteArray(argv[2]) : QByteArray();
    std::unique_ptr<QMainWindow> window;
    std::unique_ptr<PaintWatch> watch;
    if (role == "tarnwick") {
        window = std::make_unique<MainWindow>();
        if (what == "reading") {
            // The list of services stays disabled and empty until the first reading has been handled.
            auto* services = window->findChild<QComboBox*>(QStringLiteral("comboBoxInterface"));
            watch = std::make_unique<PaintWatch>(services,
                                                 [services] { return services->isEnabled() && services->count() > 0; });
        }
    } else if (what == "text") {
        // Text on screen loads the font database first, which a window without text never does.
        window = std::make_unique<QMainWindow>();
        window->setCentralWidget(new QLabel(QStringLiteral("Service")));
    } else {
        if (argc > 3) {
            const QList<QStringList> commands = FakeMac::readCalls(QString::fromLocal8Bit(argv[3]));
            if (what == "as-read")
                Bench::runAsReading(commands);
            else
                Bench::runOneByOne(commands);
        }
        window = std::make_unique<QMainWindow>();
    }
    if (!watch)
        watch = std::make_unique<PaintWatch>(window.get(), [] { return true; });
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
    while (!child.canReadLine() && child.waitForReadyRead(60000)) {
    }
    const double ms = clock.nsecsElapsed() / 1e6;
    const bool shown = child.readLine().trimmed() == "shown";
    child.waitForFinished(60000);
    return shown ? ms : NAN;
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc > 1)
        return showWindow(argc, argv);

    QCoreApplication app(argc, argv);
    const QStringList paint = {QStringLiteral("tarnwick"), QStringLiteral("paint")};
    const QStringList reading = {QStringLiteral("tarnwick"), QStringLiteral("reading")};
    Bench::mac().setDelay(0);
    // One start first: it creates the configuration file and tells which commands a start runs, up to the
    // first reading shown. The bare window is timed after one reading's commands.
    timeToShown(reading);
    Bench::mac().clearCalls();
    timeToShown(reading);
    const QList<QStringList> startCommands = Bench::mac().calls();
    const QList<QStringList> readingCommands = Bench::firstReading(startCommands);
    QTemporaryDir dir;
    const QString readingFile = writeCommands(dir.filePath(QStringLiteral("reading")), readingCommands);
    const QStringList oneByOne = {QStringLiteral("bare"), QStringLiteral("one-by-one"), readingFile};
    const QStringList asRead = {QStringLiteral("bare"), QStringLiteral("as-read"), readingFile};

    // Interleaved, so that a change in the machine's load falls on every role alike.
    QList<double> slowPaint, instantPaint, barePaint, textPaint, firstReading, bareOneByOne, bareAsRead;
    for (int run = 0; run < runs; ++run) {
        Bench::mac().setDelay(slowCommandSeconds);
        slowPaint.append(timeToShown(paint));
        barePaint.append(timeToShown({QStringLiteral("bare")}));
        textPaint.append(timeToShown({QStringLiteral("bare"), QStringLiteral("text")}));
        Bench::mac().setDelay(0);
        instantPaint.append(timeToShown(paint));
        firstReading.append(timeToShown(reading));
        bareOneByOne.append(timeToShown(oneByOne));
        bareAsRead.append(timeToShown(asRead));
    }

    const double painted = Bench::median(slowPaint);
    const double bare = Bench::median(barePaint);
    Bench::row(QStringLiteral("4a. start to window shown, every command taking %1 s").arg(slowCommandSeconds),
               Bench::ms(painted), Bench::ms(bare) + QStringLiteral(" bare window, no command"), painted / bare,
               QStringLiteral("<= 1.2"));
    const double text = Bench::median(textPaint);
    Bench::row(QStringLiteral("4a. start to window shown, every command taking %1 s").arg(slowCommandSeconds),
               Bench::ms(painted), Bench::ms(text) + QStringLiteral(" bare window with one line of text"),
               painted / text);
    const double shown = Bench::median(firstReading);
    const double bareAfterOneByOne = Bench::median(bareOneByOne);
    const double bareAfterAsRead = Bench::median(bareAsRead);
    Bench::row(QStringLiteral("4b. start to first reading shown (service list painted)"), Bench::ms(shown),
               QStringLiteral("%1 bare window after the same %2 commands as the reading runs them")
                   .arg(Bench::ms(bareAfterAsRead))
                   .arg(readingCommands.size()),
               shown / bareAfterAsRead, QStringLiteral("<= 1.1"));
    Bench::row(QStringLiteral("4b. start to first reading shown (service list painted)"), Bench::ms(shown),
               QStringLiteral("%1 bare window after the same %2 commands one at a time")
                   .arg(Bench::ms(bareAfterOneByOne))
                   .arg(readingCommands.size()),
               shown / bareAfterOneByOne);
    Bench::note(QStringLiteral("4: medians of %1 starts each; 4b with instant commands; a start runs %2 commands "
                               "before its first reading is shown, one reading of the machine is %3")
                    .arg(runs)
                    .arg(startCommands.size())
                    .arg(readingCommands.size()));
    Bench::note(QStringLiteral("4b: as the reading runs them = the listing, then the rest at once"));
    Bench::note(QStringLiteral("4a: with instant commands the window is shown at %1")
                    .arg(Bench::ms(Bench::median(instantPaint))));
    return 0;
}
