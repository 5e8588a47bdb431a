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

using namespace Qt::StringLiterals;

static QString script(const char* name)
{
    return QStringLiteral(TARNWICK_NETWORK_SCRIPTS "/") + QLatin1String(name);
}

class TestSystem : public QObject
{
    Q_OBJECT

private slots:
    void returnsBothChannelsAsTextAtOnce_data();
    void returnsBothChannelsAsTextAtOnce();
    void keepsTimersRunningWhileACommandIsSlow();
    void givesUpAfterThirtySecondsAndEndsTheChild();
};

void TestSystem::returnsBothChannelsAsTextAtOnce_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("out");
    QTest::addColumn<QString>("err");

    QTest::newRow("prints nothing and fails") << u"false"_s << QStringList() << QString() << QString();
    QTest::newRow("error text only") << script("stderr-only.sh") << QStringList() << QString()
                                     << u"** Error: Command requires admin privileges.\n"_s;
    QTest::newRow("both channels, failing exit code")
        << script("both-channels.sh") << QStringList() << u"to standard output\n"_s << u"to standard error\n"_s;
    QTest::newRow("arguments reach the program untouched")
        << script("arguments.sh") << QStringList{u"USB 10/100/1000 LAN"_s, u"$HOME"_s, u"*"_s, QString(), u"\"q\""_s}
        << u"[USB 10/100/1000 LAN]\n[$HOME]\n[*]\n[]\n[\"q\"]\n"_s << QString();
    QTest::newRow("UTF-8 decoded, invalid bytes replaced")
        << script("encodings.sh") << QStringList() << u"R\u00e9seau priv\u00e9\n"_s << u"bad \ufffd\ufffd bytes\n"_s;
    // Far more than a pipe holds: a reader that waited before reading would stall the writer.
    QString large;
    for (int i = 1; i <= 100000; ++i)
        large += u"line %1 of a long ifconfig\n"_s.arg(i, 6, 10, QLatin1Char('0'));
    QTest::newRow("large output") << script("large-output.sh") << QStringList() << large << QString();
    QTest::newRow("not on the search path")
        << u"tarnwick-no-such-command"_s << QStringList{u"-listnetworkserviceorder"_s} << QString() << QString();
    QTest::newRow("file without execute permission")
        << script("not-executable.txt") << QStringList() << QString() << QString();
}

void TestSystem::returnsBothChannelsAsTextAtOnce()
{
    QFETCH(QString, program);
    QFETCH(QStringList, arguments);
    QFETCH(QString, out);
    QFETCH(QString, err);

    QElapsedTimer clock;
    clock.start();
    QCOMPARE(System::execute(program, arguments), (QList<QString>{out, err}));
    QVERIFY2(clock.elapsed() < 2000, qPrintable(u"took %1 ms"_s.arg(clock.elapsed())));
    QVERIFY(!System::isBusy());
}

void TestSystem::keepsTimersRunningWhileACommandIsSlow()
{
    int ticks = 0;
    int ticksWhileBusy = 0;
    QTimer timer;
    connect(&timer, &QTimer::timeout, this, [&] {
        ++ticks;
        ticksWhileBusy += System::isBusy() ? 1 : 0;
    });
    timer.start(50);

    QCOMPARE(System::execute(script("slow.sh"), {u"1"_s}).at(0), u"done after 1 s\n"_s);
    QVERIFY2(ticks >= 5, qPrintable(u"only %1 timer ticks in one second"_s.arg(ticks)));
    QCOMPARE(ticksWhileBusy, ticks);
    QVERIFY(!System::isBusy());
}

void TestSystem::givesUpAfterThirtySecondsAndEndsTheChild()
{
    QTemporaryDir dir;
    const QString pidFile = dir.filePath(u"pid"_s);
    // Qt's own notice when the process object dies before its child.
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"Destroyed while process .* is still running"_s));

    QElapsedTimer clock;
    clock.start();
    const QList<QString> result = System::execute(script("never-ends.sh"), {pidFile});
    const qint64 elapsed = clock.elapsed();
    QVERIFY2(elapsed >= 29950 && elapsed < 40000, qPrintable(u"%1 ms"_s.arg(elapsed)));
    QCOMPARE(result, (QList<QString>{u"partial answer\n"_s, QString()}));

    QFile file(pidFile);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const pid_t pid = file.readAll().trimmed().toInt();
    QVERIFY(pid > 0);
    QCOMPARE(::kill(pid, 0), -1);
    QCOMPARE(errno, ESRCH);
}

QTEST_GUILESS_MAIN(TestSystem)
#include "tst_system.moc"
