#include "network/system.h"

#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <csignal>

using namespace Qt::StringLiterals;

class TestSystem : public QObject
{
    Q_OBJECT

public:
    QList<QString> withoutApplication; // a command run before the application object existed

private slots:
    void returnsBothChannelsAsText()
    {
        // As a command-line helper runs it, with no event loop to wait in.
        QCOMPARE(withoutApplication, (QList<QString>{u"done\n"_s, u"err\n"_s}));
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(System::execute(u"sh"_s, {u"-c"_s, u"printf 'R\\303\\251seau\\n'; printf '\\377\\n' >&2; exit 3"_s}),
                 (QList<QString>{u"R\u00e9seau\n"_s, u"\ufffd\n"_s}));
        // A shell would split the name, expand $HOME and the star, and drop the empty argument.
        QCOMPARE(System::execute(u"printf"_s, {u"[%s]\n"_s, u"USB 10/100/1000 LAN"_s, u"$HOME"_s, u"*"_s, QString()}),
                 (QList<QString>{u"[USB 10/100/1000 LAN]\n[$HOME]\n[*]\n[]\n"_s, QString()}));
        QCOMPARE(System::execute(u"tarnwick-no-such-command"_s, {}), (QList<QString>{QString(), QString()}));
        QVERIFY2(clock.elapsed() < 3000, qPrintable(u"took %1 ms"_s.arg(clock.elapsed())));
        QVERIFY(!System::isBusy());
    }

    void givesUpAfterThirtySecondsAndEndsTheChild()
    {
        QTemporaryDir dir;
        const QString pidFile = dir.filePath(u"pid"_s);
        QElapsedTimer clock;
        clock.start();
        // The command's own child must end with it, not only the process that was started.
        const QList<QString> result =
            System::execute(u"sh"_s, {u"-c"_s, u"echo partial; sleep 3600 & echo $! > \"$0\"; wait"_s, pidFile});
        QVERIFY2(clock.elapsed() >= 29950 && clock.elapsed() < 40000, qPrintable(u"%1 ms"_s.arg(clock.elapsed())));
        QCOMPARE(result, (QList<QString>{u"partial\n"_s, QString()}));
        QFile file(pidFile);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray pid = file.readAll().trimmed();
        // Gone, or a zombie left for the system to reap.
        const auto ended = [&pid] {
            QFile stat(u"/proc/"_s + QString::fromLatin1(pid) + u"/stat"_s);
            return ::kill(pid.toInt(), 0) == -1 || (stat.open(QIODevice::ReadOnly) && stat.readAll().contains(") Z "));
        };
        QTRY_VERIFY(ended());
    }
};

int main(int argc, char** argv)
{
    TestSystem test;
    test.withoutApplication = System::execute(u"sh"_s, {u"-c"_s, u"sleep 0.5; echo done; echo err >&2"_s});
    QCoreApplication app(argc, argv);
    return QTest::qExec(&test, argc, argv);
}

#include "tst_system.moc"
