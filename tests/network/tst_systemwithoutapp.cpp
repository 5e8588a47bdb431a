#include "network/system.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTest>

using namespace Qt::StringLiterals;

// Runs with no application object at all, as a command-line helper would: commands must still run to
// the end and hand back their output, and a missing one must not hold the caller up.
class TestSystemWithoutApp : public QObject
{
    Q_OBJECT

private slots:
    void runsCommandsWithoutAnApplicationObject()
    {
        QVERIFY(!QCoreApplication::instance());
        QCOMPARE(System::execute(QStringLiteral(TARNWICK_NETWORK_SCRIPTS "/slow.sh"), {u"0.5"_s}),
                 (QList<QString>{u"done after 0.5 s\n"_s, QString()}));
        QCOMPARE(System::execute(QStringLiteral(TARNWICK_NETWORK_SCRIPTS "/both-channels.sh"), {}),
                 (QList<QString>{u"to standard output\n"_s, u"to standard error\n"_s}));
        QVERIFY(!System::isBusy());

        QElapsedTimer clock;
        clock.start();
        QCOMPARE(System::execute(u"tarnwick-no-such-command"_s, {}), (QList<QString>{QString(), QString()}));
        QVERIFY(clock.elapsed() < 2000);
    }
};

QTEST_APPLESS_MAIN(TestSystemWithoutApp)
#include "tst_systemwithoutapp.moc"
