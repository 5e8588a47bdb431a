#include "config/configmanager.h"

#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

// What stands in place of config.xml cannot be read, or not quickly: start-up neither blocks (a FIFO
// would hang it here) nor fails, says why in the log and leaves the store empty.
class TestHostileConfig : public QObject
{
    Q_OBJECT

private slots:
    void startsEmptyWithoutWaiting_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::newRow("FIFO, which blocks an open until a writer appears") << "fifo";
        QTest::newRow("folder") << "folder";
        QTest::newRow("well-formed but larger than any configuration") << "big";
    }

    void startsEmptyWithoutWaiting()
    {
        QFETCH(QString, kind);
        QTemporaryDir home;
        qputenv("HOME", home.path().toUtf8());
        const QString folder = home.filePath(QStringLiteral("Library/Tarnwick"));
        QVERIFY(QDir().mkpath(folder));
        const QString path = folder + QStringLiteral("/config.xml");
        if (kind == QLatin1String("fifo")) {
            QCOMPARE(mkfifo(QFile::encodeName(path).constData(), 0600), 0);
        } else if (kind == QLatin1String("folder")) {
            QVERIFY(QDir().mkdir(path));
        } else {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("<root><config><name>Big</name></config>" + QByteArray(1024 * 1024, ' ') + "</root>");
        }

        QTest::ignoreMessage(QtDebugMsg, QRegularExpression(QStringLiteral("^Cannot read file ")));
        const ConfigManager store(QStringLiteral("config.xml"),
                                  QStringLiteral(":/resources/resources/default-config.xml"));
        QVERIFY(store.getProfileEntries().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestHostileConfig)
#include "tst_hostileconfig.moc"
