#include "config/configmanager.h"

#include <QDir>
#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

// Something that is not a readable file in place of config.xml: start-up neither blocks nor fails,
// says why in the log and leaves the store empty.
class TestHostileConfig : public QObject
{
    Q_OBJECT

private slots:
    void startsEmptyWithoutWaiting_data()
    {
        QTest::addColumn<bool>("fifo");
        QTest::newRow("FIFO, which blocks an open until a writer appears") << true;
        QTest::newRow("folder") << false;
    }

    void startsEmptyWithoutWaiting()
    {
        QFETCH(bool, fifo);
        QTemporaryDir home;
        qputenv("HOME", home.path().toUtf8());
        const QString folder = home.filePath(QStringLiteral("Library/Tarnwick"));
        QVERIFY(QDir().mkpath(folder));
        const QString path = folder + QStringLiteral("/config.xml");
        if (fifo)
            QCOMPARE(mkfifo(QFile::encodeName(path).constData(), 0600), 0);
        else
            QVERIFY(QDir().mkdir(path));

        QTest::ignoreMessage(QtDebugMsg, QRegularExpression(QStringLiteral("^Cannot read file ")));
        QElapsedTimer timer;
        timer.start();
        const ConfigManager store(QStringLiteral("config.xml"),
                                  QStringLiteral(":/resources/resources/default-config.xml"));
        QVERIFY(timer.elapsed() < 2000);
        QVERIFY(store.getProfileEntries().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestHostileConfig)
#include "tst_hostileconfig.moc"
