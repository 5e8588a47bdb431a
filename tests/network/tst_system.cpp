#include "network/system.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <thread>

using namespace Qt::StringLiterals;

class TestSystem : public QObject
{
    Q_OBJECT

private slots:
    void returnsBothChannelsAsText()
    {
        const System::Outcome mixed =
            System::run(u"sh"_s, {u"-c"_s, u"printf 'R\\303\\251seau\\n'; printf '\\377\\n' >&2; exit 3"_s});
        QCOMPARE((QList<QString>{mixed.out, mixed.err}), (QList<QString>{u"R\u00e9seau\n"_s, u"\ufffd\n"_s}));
        QVERIFY(mixed.started && mixed.finished);
        QCOMPARE(mixed.exitCode, 3);
        // A shell would split the name, expand $HOME and the star, and drop the empty argument.
        QCOMPARE(System::execute(u"printf"_s, {u"[%s]\n"_s, u"USB 10/100/1000 LAN"_s, u"$HOME"_s, u"*"_s, QString()}),
                 (QList<QString>{u"[USB 10/100/1000 LAN]\n[$HOME]\n[*]\n[]\n"_s, QString()}));
        const System::Outcome missing = System::run(u"tarnwick-no-such-command"_s, {});
        QCOMPARE((QList<QString>{missing.out, missing.err}), (QList<QString>{QString(), QString()}));
        QVERIFY(!missing.started);
    }

    void givesUpAndEndsTheChild_data()
    {
        QTest::addColumn<bool>("cancelled");
        QTest::newRow("at its bound") << false;
        QTest::newRow("when cancelled") << true;
    }

    // The bound is the caller's: the product gives each command 30 s, this test one.
    void givesUpAndEndsTheChild()
    {
        QFETCH(bool, cancelled);
        QTemporaryDir dir;
        const QString pidFile = dir.filePath(u"pid"_s);
        std::atomic<bool> cancel{false};
        // Cancelled from another thread once the command is surely running, as a quit does.
        std::thread canceller([&] {
            while (cancelled && !QFile::exists(pidFile))
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            cancel = cancelled;
        });
        // The command's own child must end with it, not only the process that was started.
        const System::Outcome outcome =
            System::run(u"sh"_s, {u"-c"_s, u"echo partial; sleep 3600 & echo $! > \"$0\"; wait"_s, pidFile}, &cancel,
                        cancelled ? 600000 : 1000);
        canceller.join();
        QCOMPARE(outcome.out, u"partial\n"_s);
        QVERIFY(!outcome.finished);
        QFile file(pidFile);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray pid = file.readAll().trimmed();
        // Gone, or a zombie left for the system to reap.
        const auto ended = [&pid] {
            QProcess ps;
            ps.start(u"ps"_s, {u"-o"_s, u"stat="_s, u"-p"_s, QString::fromLatin1(pid)});
            ps.waitForFinished();
            return ::kill(pid.toInt(), 0) == -1 || ps.readAllStandardOutput().trimmed().startsWith('Z');
        };
        QTRY_VERIFY(ended());
    }
};

QTEST_GUILESS_MAIN(TestSystem)
#include "tst_system.moc"
