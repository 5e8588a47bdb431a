#include "app/mainwindow.h"
#include "bench/benchsupport.h"
#include "core/switcher.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QCursor>
#include <QDialog>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QLabel>
#include <QMessageBox>
#include <QTimer>
#include <QWindow>
#include <qpa/qwindowsysteminterface.h>

#include <algorithm>
#include <functional>

// The window as a user meets it: how long a click waits and how long the event loop stalls while the
// machine is read in the background or a change is applied, how many commands each refill runs, and
// whether background readings leak.
namespace {

constexpr double commandSeconds = 1.0; // every simulated command, so that any freeze shows
constexpr int postAfterMs = 300;       // the click lands inside the first command
constexpr int runs = 3;
constexpr int changeRuns = 25;

// Runs the event loop until done() holds or the time is up.
void waitFor(const std::function<bool()>& done, int timeoutMs)
{
    QElapsedTimer clock;
    clock.start();
    QEventLoop loop;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (done() || clock.elapsed() > timeoutMs)
            loop.quit();
    });
    poll.start(5);
    loop.exec();
}

// Watches one stretch of the event loop: the longest gap between ticks of a 1 ms timer, and when a
// click posted the way the window system posts it reaches its widget. Answers every notice as soon
// as it is up, as a user would, so no run waits on a box.
class Probe : public QObject
{
public:
    explicit Probe(QWidget* target) : target(target)
    {
        ticker.setTimerType(Qt::PreciseTimer);
        connect(&ticker, &QTimer::timeout, this, &Probe::tick);
        qApp->installEventFilter(this);
    }

    void start()
    {
        clock.start();
        lastTick = longestGap = 0;
        posted = handled = noticeAt = -1;
        ticker.start(1);
    }
    void stop() { ticker.stop(); }
    double now() const { return clock.nsecsElapsed() / 1e6; }

    void postClick()
    {
        QWindow* window = target->window()->windowHandle();
        const QPoint centre = target->rect().center();
        const QPointF local = target->mapTo(target->window(), centre);
        const QPointF global = target->mapToGlobal(centre);
        posted = now();
        using Qwsi = QWindowSystemInterface;
        Qwsi::handleMouseEvent<Qwsi::AsynchronousDelivery>(window, local, global, Qt::LeftButton, Qt::LeftButton,
                                                           QEvent::MouseButtonPress);
        Qwsi::handleMouseEvent<Qwsi::AsynchronousDelivery>(window, local, global, Qt::NoButton, Qt::LeftButton,
                                                           QEvent::MouseButtonRelease);
    }

    QWidget* target;
    QTimer ticker;
    QElapsedTimer clock;
    double lastTick = 0;
    double longestGap = 0;
    double posted = -1;
    double handled = -1;
    double noticeAt = -1;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::MouseButtonPress && watched == target && posted >= 0 && handled < 0)
            handled = now();
        return false;
    }

private:
    void tick()
    {
        const double t = now();
        longestGap = std::max(longestGap, t - lastTick);
        lastTick = t;
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (box && box->isVisible()) {
            if (noticeAt < 0)
                noticeAt = t;
            box->buttons().constFirst()->click();
        }
    }
};

struct Figures
{
    QList<double> latency;
    QList<double> gap;
    QList<double> notice;   // after the click, the Apply's notice was up: its change and the reading after it ended
    QList<double> returned; // how long the Apply itself took to return
    int applyDisabled = 0;  // clicks that found the Apply button disabled
    int busyCursor = 0;     // clicks that found the busy cursor shown
};

QString latencyText(const Figures& f)
{
    if (f.latency.size() < runs)
        return QStringLiteral("%1 of %2 clicks never handled").arg(runs - f.latency.size()).arg(runs);
    return Bench::ms(Bench::median(f.latency));
}

Switcher& switcherOf(MainWindow& window)
{
    auto* switcher = window.findChild<Switcher*>();
    if (!switcher)
        qFatal("the window has no switching core");
    return *switcher;
}

bool coreIdle(MainWindow& window)
{
    return !switcherOf(window).isBusy() && !switcherOf(window).isReading();
}

// As the user's choice: an Apply then runs two commands.
void chooseProfile(MainWindow& window, const QString& name)
{
    auto* profiles = window.findChild<QComboBox*>(QStringLiteral("comboBoxProfil"));
    const int profile = profiles->findText(name);
    profiles->setCurrentIndex(profile);
    emit profiles->activated(profile);
}

QTimer* refreshTimer(MainWindow& window)
{
    for (QTimer* timer : window.findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly)) {
        if (timer->interval() == 5000)
            return timer;
    }
    return nullptr;
}

// Shortcuts go to the active window, as the window system delivers them.
void activate(MainWindow& window)
{
    window.activateWindow();
    waitFor([&window] { return QGuiApplication::focusWindow() == window.windowHandle(); }, 2000);
}

void pressKey(MainWindow& window, Qt::Key key, const QString& text)
{
    using Qwsi = QWindowSystemInterface;
    Qwsi::handleKeyEvent<Qwsi::SynchronousDelivery>(window.windowHandle(), QEvent::KeyPress, key, Qt::ControlModifier,
                                                    text);
    Qwsi::handleKeyEvent<Qwsi::SynchronousDelivery>(window.windowHandle(), QEvent::KeyRelease, key, Qt::ControlModifier,
                                                    text);
}

void latency(MainWindow& window)
{
    chooseProfile(window, QStringLiteral("LA-Network"));
    auto* apply = window.findChild<QAbstractButton*>(QStringLiteral("execButton"));
    Probe probe(window.findChild<QLabel*>(QStringLiteral("label_101")));
    Figures idle, refresh, applying;
    int applyCommands = 0;

    const auto sample = [&probe](Figures& into) {
        if (probe.handled >= 0)
            into.latency.append(probe.handled - probe.posted);
        into.gap.append(probe.longestGap);
    };

    for (int run = 0; run < runs; ++run) {
        Bench::mac().setDelay(0);
        probe.start();
        QTimer::singleShot(postAfterMs, &probe, [&probe] { probe.postClick(); });
        waitFor([&] { return probe.now() > 3000; }, 10000);
        probe.stop();
        sample(idle);

        // A background reading: the window's own five-second tick, taken now.
        Bench::mac().setDelay(commandSeconds);
        Bench::mac().clearCalls();
        probe.start();
        QTimer::singleShot(0, &window, [&window] { QMetaObject::invokeMethod(&window, "onTimerTimeout"); });
        QTimer::singleShot(postAfterMs, &probe, [&probe] { probe.postClick(); });
        waitFor([&] { return probe.handled >= 0 && probe.now() > postAfterMs && coreIdle(window); }, 60000);
        probe.stop();
        sample(refresh);

        // An Apply started by the user: it only starts the change; its notice comes after the reading that
        // follows the change, and is answered at once.
        Bench::mac().clearCalls();
        probe.start();
        QTimer::singleShot(0, &window, [&] {
            const double before = probe.now();
            QMetaObject::invokeMethod(&window, "exec");
            applying.returned.append(probe.now() - before);
        });
        QTimer::singleShot(postAfterMs, &probe, [&] {
            applying.applyDisabled += !apply->isEnabled();
            const QCursor* cursor = QApplication::overrideCursor();
            applying.busyCursor += cursor && cursor->shape() == Qt::WaitCursor;
            probe.postClick();
        });
        waitFor([&] { return probe.handled >= 0 && probe.noticeAt >= 0 && coreIdle(window); }, 60000);
        probe.stop();
        sample(applying);
        applying.notice.append(probe.noticeAt - probe.posted);
        applyCommands = int(Bench::mac().calls().size());
    }
    Bench::mac().setDelay(0);

    const double idleLatency = Bench::median(idle.latency);
    const double idleGap = Bench::median(idle.gap);
    const QString floor = QStringLiteral("<= 16 ms (one frame)");
    Bench::row(QStringLiteral("1a. click during a background reading"), latencyText(refresh),
               Bench::ms(idleLatency) + QStringLiteral(" idle"), Bench::median(refresh.latency) / idleLatency, floor);
    Bench::row(QStringLiteral("1b. click on a widget during an Apply"), latencyText(applying),
               Bench::ms(idleLatency) + QStringLiteral(" idle"), Bench::median(applying.latency) / idleLatency, floor);
    Bench::row(QStringLiteral("2a. longest 1 ms timer gap, background reading"), Bench::ms(Bench::median(refresh.gap)),
               Bench::ms(idleGap) + QStringLiteral(" idle"), Bench::median(refresh.gap) / idleGap);
    Bench::row(QStringLiteral("2b. longest 1 ms timer gap, Apply"), Bench::ms(Bench::median(applying.gap)),
               Bench::ms(idleGap) + QStringLiteral(" idle"), Bench::median(applying.gap) / idleGap);
    Bench::note(QStringLiteral("1-2: medians of %1 runs, every command taking %2 s, click posted %3 ms into the first")
                    .arg(runs)
                    .arg(commandSeconds)
                    .arg(postAfterMs));
    Bench::note(QStringLiteral("1b: the Apply returned after %1 ms and its notice was up %2 ms after the click (%3 "
                               "commands: the change, then one reading); at %4 of %5 clicks the Apply button was "
                               "disabled and at %6 the busy cursor shown")
                    .arg(Bench::median(applying.returned), 0, 'f', 2)
                    .arg(Bench::median(applying.notice), 0, 'f', 0)
                    .arg(applyCommands)
                    .arg(applying.applyDisabled)
                    .arg(runs)
                    .arg(applying.busyCursor));
}

// Answers every notice and closes every dialog as soon as it is up, as a user who only looks would.
class Closer : public QObject
{
public:
    Closer()
    {
        connect(&poll, &QTimer::timeout, this, [] {
            QWidget* modal = QApplication::activeModalWidget();
            if (!modal || !modal->isVisible())
                return;
            if (auto* box = qobject_cast<QMessageBox*>(modal))
                box->buttons().constFirst()->click();
            else if (auto* dialog = qobject_cast<QDialog*>(modal))
                dialog->reject();
        });
        poll.start(5);
    }

private:
    QTimer poll;
};

// How many commands each way of refilling the window runs, from the simulated Mac's call log: each should
// read the machine once. `startCalls` is what the window's start ran until its first reading was handled.
void commands(MainWindow& window, const QList<QStringList>& startCalls)
{
    Bench::mac().setDelay(0);
    QTimer* refresh = refreshTimer(window);
    if (refresh)
        refresh->stop(); // only the command counted runs meanwhile
    const auto readingsIn = [](const QList<QStringList>& calls) {
        return int(std::count_if(calls.cbegin(), calls.cend(),
                                 [](const QStringList& call) { return call.first() == QLatin1String("ifconfig"); }));
    };
    const auto countAfter = [&window](const std::function<void()>& act) {
        Bench::mac().clearCalls();
        Closer closer;
        act();
        // The reading is asked for once the dialog or notice has closed, and handled when the core is idle.
        waitFor([&] { return !QApplication::activeModalWidget() && coreIdle(window); }, 60000);
        waitFor([] { return false; }, 300); // nothing more follows
        return Bench::mac().calls();
    };

    // The reference: one reading, as the five-second tick takes it.
    const QList<QStringList> tick = countAfter([&window] { QMetaObject::invokeMethod(&window, "onTimerTimeout"); });
    const auto row = [&](const QString& what, const QList<QStringList>& calls) {
        const int n = readingsIn(calls);
        Bench::row(QStringLiteral("7. commands run by %1").arg(what),
                   QStringLiteral("%1 (%2 reading%3)").arg(calls.size()).arg(n).arg(n == 1 ? "" : "s"),
                   QStringLiteral("%1 in a background reading").arg(tick.size()), double(calls.size()) / tick.size(),
                   QStringLiteral("1 reading"));
    };
    row(QStringLiteral("start-up, to the first reading handled"), startCalls);
    const auto trigger = [&window](const char* name) {
        return [&window, name] { window.findChild<QAction*>(QLatin1String(name))->trigger(); };
    };
    const QList<QStringList> reload = countAfter([&window] {
        activate(window);
        pressKey(window, Qt::Key_R, QStringLiteral("r"));
    });
    row(QStringLiteral("reload (Ctrl+R), notice answered"), reload);
    row(QStringLiteral("closing Manage Profiles"), countAfter(trigger("actionManageProfiles")));
    row(QStringLiteral("closing Settings"), countAfter(trigger("actionSettings")));
    if (refresh)
        refresh->start(5000);
}

// An Apply from Ctrl+E until its report reaches the window, with instant stand-ins, against the very same
// command lines run bare: the change's steps one at a time, then the reading after it as a reading runs them.
void change(MainWindow& window)
{
    Bench::mac().setDelay(0);
    QTimer* refresh = refreshTimer(window);
    if (refresh)
        refresh->stop(); // only the change runs meanwhile
    chooseProfile(window, QStringLiteral("LA-Network"));
    Switcher& core = switcherOf(window);
    QList<double> applied, bare;
    QList<QStringList> steps, reading;
    int unreported = 0;
    for (int run = 0; run < changeRuns; ++run) {
        Closer closer; // answers the notice that follows the report
        activate(window);
        Bench::mac().clearCalls();
        QElapsedTimer clock;
        double reported = -1;
        const auto connection =
            QObject::connect(&core, &Switcher::changeFinished, &window, [&] { reported = clock.nsecsElapsed() / 1e6; });
        clock.start();
        pressKey(window, Qt::Key_E, QStringLiteral("e"));
        waitFor([&] { return reported >= 0; }, 10000);
        QObject::disconnect(connection);
        waitFor([&] { return !QApplication::activeModalWidget() && coreIdle(window); }, 60000);
        if (reported < 0) {
            ++unreported;
            continue;
        }
        applied.append(reported);

        const QList<QStringList> calls = Bench::mac().calls();
        const auto listing = std::find_if(calls.cbegin(), calls.cend(), [](const QStringList& call) {
            return call.value(1) == QLatin1String("-listnetworkserviceorder");
        });
        steps = QList<QStringList>(calls.cbegin(), listing);
        reading = Bench::firstReading(calls);
        QElapsedTimer bareClock;
        bareClock.start();
        Bench::runOneByOne(steps);
        Bench::runAsReading(reading);
        bare.append(bareClock.nsecsElapsed() / 1e6);
    }
    if (refresh)
        refresh->start(5000);

    if (applied.isEmpty()) {
        Bench::row(QStringLiteral("8. a change, Ctrl+E to its report"),
                   QStringLiteral("%1 of %1 never reported").arg(changeRuns), QStringLiteral("-"));
        return;
    }
    const double reference = Bench::median(bare);
    Bench::row(
        QStringLiteral("8. a change, Ctrl+E to its report"), Bench::ms(Bench::median(applied)),
        QStringLiteral("%1 bare, the same %2 commands").arg(Bench::ms(reference)).arg(steps.size() + reading.size()),
        Bench::median(applied) / reference, QStringLiteral("<= 1.1"));
    Bench::note(QStringLiteral("8: medians of %1 Applies, instant commands; bare = QProcess start and wait: the %2 "
                               "steps of the change one at a time, then the %3 commands of the reading after it, "
                               "the listing and then the rest at once%4")
                    .arg(applied.size())
                    .arg(steps.size())
                    .arg(reading.size())
                    .arg(unreported ? QStringLiteral("; %1 Applies never reported").arg(unreported) : QString()));
}

// Background readings so far, counted in the simulated Mac's call log: each one ends with ifconfig.
class ReadingCounter
{
public:
    ReadingCounter() : log(Bench::mac().callLogPath()) {}

    int poll()
    {
        if (!log.isOpen() && !log.open(QIODevice::ReadOnly))
            return count;
        pending += log.readAll();
        const qsizetype end = pending.lastIndexOf('\n') + 1;
        for (const QByteArray& line : pending.left(end).split('\n'))
            count += line == "ifconfig";
        pending.remove(0, end);
        return count;
    }

private:
    QFile log;
    QByteArray pending;
    int count = 0;
};

// The window's own five-second tick, sped up to 1 ms: each tick starts a reading once the last one
// has been handed over. Instant stand-ins, so the time goes to starting processes.
void memory(MainWindow& window, int wanted, int seconds)
{
    QTimer* refresh = refreshTimer(window);
    if (!refresh)
        qFatal("the window has no five-second refresh timer");
    Bench::mac().setDelay(0);
    Bench::mac().clearCalls();
    ReadingCounter counter;
    QElapsedTimer clock;
    clock.start();
    const auto residentAfter = [&](int readings) {
        refresh->start(1);
        waitFor([&] { return counter.poll() >= readings || clock.elapsed() > seconds * 1000; }, seconds * 1000);
        refresh->start(5000);
        waitFor([] { return false; }, 1000); // the reading under way is handed over
        return Bench::residentKb();
    };
    const qint64 base = residentAfter(100);
    const int baseCount = counter.poll();
    const qint64 last = residentAfter(wanted);
    const int count = counter.poll();
    Bench::row(
        QStringLiteral("5. resident memory after %1 background readings").arg(count),
        QStringLiteral("%1 MB (%2%3 kB)").arg(last / 1024.0, 0, 'f', 1).arg(last >= base ? "+" : "").arg(last - base),
        QStringLiteral("%1 MB after %2").arg(base / 1024.0, 0, 'f', 1).arg(baseCount), double(last) / base,
        QStringLiteral("growth < 1024 kB"));
    Bench::note(
        QStringLiteral("5: %1 readings in %2 s (%3 ms each)%4")
            .arg(count)
            .arg(clock.elapsed() / 1000)
            .arg(double(clock.elapsed()) / count, 0, 'f', 1)
            .arg(count < wanted ? QStringLiteral(", stopped at the time limit before %1").arg(wanted) : QString()));
}

} // namespace

// "latency" (the default) for measures 1, 2, 7 and 8; "memory <readings> <seconds>" for measure 5.
int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    Bench::mac().setDelay(0);
    Bench::mac().clearCalls();
    MainWindow window;
    window.show();
    waitFor([&window] { return window.windowHandle() && window.windowHandle()->isExposed(); }, 5000);
    // The first reading starts from the first show; it is handled before anything is measured.
    waitFor([&window] { return switcherOf(window).isReading() || switcherOf(window).isBusy(); }, 1000);
    waitFor([&window] { return coreIdle(window); }, 60000);
    const QList<QStringList> startCalls = Bench::mac().calls();
    if (arguments.value(1) == QLatin1String("memory")) {
        memory(window, arguments.value(2, QStringLiteral("10000")).toInt(),
               arguments.value(3, QStringLiteral("600")).toInt());
    } else {
        commands(window, startCalls);
        change(window);
        latency(window);
    }
    return 0;
}
