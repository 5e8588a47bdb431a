#include "network/system.h"

#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <cerrno>
#include <csignal>
#include <sys/types.h>

namespace {

QString script(const QString& name)
{
    return QStringLiteral(TARNWICK_NETWORK_SCRIPTS "/") + name;
}

} // namespace

class TestSystem : public QObject
{
    Q_OBJECT

private slots:
    void returnsBothChannelsAsText_data();
    void returnsBothChannelsAsText();
    void returnsEverythingOfALargeOutput();
    void answersEmptyAtOnceWhenTheProgramCannotStart_data();
    void answersEmptyAtOnceWhenTheProgramCannotStart();
    void keepsTimersRunningWhileACommandIsSlow();
    void givesUpAfterThirtySecondsAndEndsTheChild();
};

void TestSystem::returnsBothChannelsAsText_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("out");
    QTest::addColumn<QString>("err");

    QTest::newRow("prints nothing and succeeds") << QStringLiteral("true") << QStringList() << QString() << QString();
    QTest::newRow("prints nothing and fails") << QStringLiteral("false") << QStringList() << QString() << QString();
    QTest::newRow("error text only") << script(QStringLiteral("stderr-only.sh")) << QStringList() << QString()
                                     << QStringLiteral("** Error: Command requires admin privileges.\n");
    QTest::newRow("both channels, failing exit code")
        << script(QStringLiteral("both-channels.sh")) << QStringList() << QStringLiteral("to standard output\n")
        << QStringLiteral("to standard error\n");
    QTest::newRow("arguments reach the program untouched")
        << script(QStringLiteral("arguments.sh"))
        << QStringList{QStringLiteral("USB 10/100/1000 LAN"), QStringLiteral("$HOME"), QStringLiteral("*"), QString(),
                       QStringLiteral("\"quoted\"")}
        << QStringLiteral("[USB 10/100/1000 LAN]\n[$HOME]\n[*]\n[]\n[\"quoted\"]\n") << QString();
    QTest::newRow("UTF-8 decoded, invalid bytes replaced")
        << script(QStringLiteral("encodings.sh")) << QStringList() << QStringLiteral("R\u00e9seau priv\u00e9\n")
        << QStringLiteral("bad \ufffd\ufffd bytes\n");
}

void TestSystem::returnsBothChannelsAsText()
{
    QFETCH(QString, program);
    QFETCH(QStringList, arguments);
    QFETCH(QString, out);
    QFETCH(QString, err);

    const QList<QString> result = System::execute(program, arguments);
    QCOMPARE(result.size(), 2);
    QCOMPARE(result.at(0), out);
    QCOMPARE(result.at(1), err);
    QVERIFY(!System::isBusy());
}

void TestSystem::returnsEverythingOfALargeOutput()
{
    const QList<QString> result = System::execute(script(QStringLiteral("large-output.sh")), {});
    QCOMPARE(result.size(), 2);
    const QStringList lines = result.at(0).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), 100000);
    QCOMPARE(lines.last(), QStringLiteral("line 100000 of a long ifconfig"));
}

void TestSystem::answersEmptyAtOnceWhenTheProgramCannotStart_data()
{
    QTest::addColumn<QString>("program");
    QTest::newRow("not on the search path") << QStringLiteral("tarnwick-no-such-command");
    QTest::newRow("no such path") << QStringLiteral("/nonexistent/networksetup");
    QTest::newRow("file without execute permission") << script(QStringLiteral("not-executable.txt"));
}

void TestSystem::answersEmptyAtOnceWhenTheProgramCannotStart()
{
    QFETCH(QString, program);
    QElapsedTimer clock;
    clock.start();
    const QList<QString> result = System::execute(program, {QStringLiteral("-listnetworkserviceorder")});
    QCOMPARE(result, (QList<QString>{QString(), QString()}));
    QVERIFY2(clock.elapsed() < 2000, qPrintable(QStringLiteral("took %1 ms").arg(clock.elapsed())));
    QVERIFY(!System::isBusy());
}

void TestSystem::keepsTimersRunningWhileACommandIsSlow()
{
    int ticks = 0;
    int ticksWhileBusy = 0;
    QTimer timer;
    timer.setInterval(50);
    connect(&timer, &QTimer::timeout, this, [&] {
        ++ticks;
        if (System::isBusy())
            ++ticksWhileBusy;
    });
    timer.start();

    const QList<QString> result = System::execute(script(QStringLiteral("slow.sh")), {QStringLiteral("1")});

    QCOMPARE(result.at(0), QStringLiteral("done after 1 s\n"));
    QVERIFY2(ticks >= 5, qPrintable(QStringLiteral("only %1 timer ticks in one second").arg(ticks)));
    QCOMPARE(ticksWhileBusy, ticks);
    QVERIFY(!System::isBusy());
}

void TestSystem::givesUpAfterThirtySecondsAndEndsTheChild()
{
    QTemporaryDir dir;
    const QString pidFile = dir.filePath(QStringLiteral("pid"));
    // Qt's own notice when the process object dies before its child.
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression(QStringLiteral("Destroyed while process .* is still running")));

    QElapsedTimer clock;
    clock.start();
    const QList<QString> result = System::execute(script(QStringLiteral("never-ends.sh")), {pidFile});
    const qint64 elapsed = clock.elapsed();
    qInfo("a command that never ends was given up after %lld ms", elapsed);

    QVERIFY2(elapsed >= 29950 && elapsed < 40000, qPrintable(QStringLiteral("%1 ms").arg(elapsed)));
    QCOMPARE(result, (QList<QString>{QStringLiteral("partial answer\n"), QString()}));

    QFile file(pidFile);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const pid_t pid = file.readAll().trimmed().toInt();
    QVERIFY(pid > 0);
    QCOMPARE(::kill(pid, 0), -1);
    QCOMPARE(errno, ESRCH);
}

QTEST_GUILESS_MAIN(TestSystem)
#include "tst_system.moc"
