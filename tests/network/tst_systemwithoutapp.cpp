#include "network/system.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTest>

// Runs with no application object at all, as a command-line helper would: commands must still run to
// the end and hand back their output.
class TestSystemWithoutApp : public QObject
{
    Q_OBJECT

private slots:
    void runsCommandsWithoutAnApplicationObject();
    void answersEmptyAtOnceWhenTheProgramCannotStart();
};

void TestSystemWithoutApp::runsCommandsWithoutAnApplicationObject()
{
    QVERIFY(!QCoreApplication::instance());
    const QList<QString> result =
        System::execute(QStringLiteral(TARNWICK_NETWORK_SCRIPTS "/slow.sh"), {QStringLiteral("0.5")});
    QCOMPARE(result, (QList<QString>{QStringLiteral("done after 0.5 s\n"), QString()}));

    const QList<QString> both = System::execute(QStringLiteral(TARNWICK_NETWORK_SCRIPTS "/both-channels.sh"), {});
    QCOMPARE(both, (QList<QString>{QStringLiteral("to standard output\n"), QStringLiteral("to standard error\n")}));
    QVERIFY(!System::isBusy());
}

void TestSystemWithoutApp::answersEmptyAtOnceWhenTheProgramCannotStart()
{
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(System::execute(QStringLiteral("tarnwick-no-such-command"), {}), (QList<QString>{QString(), QString()}));
    QVERIFY(clock.elapsed() < 2000);
}

QTEST_APPLESS_MAIN(TestSystemWithoutApp)
#include "tst_systemwithoutapp.moc"
