#include "config/configmanager.h"

#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

// What stands in place of config.xml cannot be read, or not wholly: start-up neither blocks (a FIFO
// would hang it here) nor fails, and says why. A regular file is kept as it is, beside it, by the first
// save that replaces it, and only once; anything else is left alone and never saved over.
class TestHostileConfig : public QObject
{
    Q_OBJECT

private slots:
    void keepsWhatCouldNotBeRead_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("reason");
        const QByteArray cut = "<root><config><name>Lab</name><address>10.0.0.0</addr";
        QTest::newRow("FIFO, which blocks an open until a writer appears")
            << "fifo" << QByteArray() << "not an ordinary file";
        QTest::newRow("folder") << "folder" << QByteArray() << "not an ordinary file";
        QTest::newRow("well-formed but larger than any configuration")
            << "file"
            << "<root><config><name>Big</name></config>" + QByteArray(1024 * 1024, ' ') + "</root>"
            << "larger than 1 MB";
        QTest::newRow("not readable by its owner") << "unreadable" << cut << "cannot be opened (Permission denied)";
        QTest::newRow("cut short") << "file" << cut << "damaged at line 1 (Premature end of document)";
        QTest::newRow("cut short, kept before") << "kept before" << cut << "damaged at line 1";
        QTest::newRow("another document") << "file" << QByteArray("<html><config><name>Lab</name></config></html>")
                                          << "something other than profiles";
    }

    void keepsWhatCouldNotBeRead()
    {
        QFETCH(QString, kind);
        QFETCH(QByteArray, bytes);
        QFETCH(QString, reason);
        // Anything but a regular file is left alone, and a file read as far as it goes keeps what was read.
        const bool replaced = !bytes.isEmpty();
        const bool opened =
            reason.startsWith(QLatin1String("damaged")) || reason.startsWith(QLatin1String("something"));
        QTemporaryDir home;
        qputenv("HOME", home.path().toUtf8());
        const QDir folder(home.filePath(QStringLiteral("Library/Tarnwick")));
        QVERIFY(folder.mkpath(QStringLiteral(".")));
        const QString path = folder.filePath(QStringLiteral("config.xml"));
        QFile file(path);
        if (kind == QLatin1String("fifo"))
            QCOMPARE(mkfifo(QFile::encodeName(path).constData(), 0600), 0);
        else if (kind == QLatin1String("folder"))
            QVERIFY(QDir().mkdir(path));
        else
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.flush());
        const QString copyName = QStringLiteral("config.xml.unreadable-20200101-120000");
        if (kind == QLatin1String("kept before"))
            QVERIFY(QFile::copy(path, folder.filePath(copyName)));
        if (kind == QLatin1String("unreadable")) {
            if (geteuid() == 0)
                QSKIP("root reads any file");
            QVERIFY(file.setPermissions({}));
        }

        if (!opened)
            QTest::ignoreMessage(QtDebugMsg, QRegularExpression(QStringLiteral("^Cannot read file ")));
        ConfigManager store(QStringLiteral("config.xml"), QStringLiteral(":/resources/resources/default-config.xml"));
        QVERIFY2(!store.readCleanly() && store.readProblem().contains(reason), qPrintable(store.readProblem()));
        QVERIFY(opened || store.getProfileEntries().isEmpty());
        const QStringList filter{QStringLiteral("config.xml.unreadable-*")};
        QCOMPARE(folder.entryList(filter).size(), kind == QLatin1String("kept before") ? 1 : 0);
        for (const char* name : {"Lab 1", "Lab 2"})
            QCOMPARE(store.addEntry(QString::fromLatin1(name), {}), replaced);
        if (!replaced) {
            QVERIFY(!QFileInfo(path).isFile() && QFileInfo::exists(path) && folder.entryList(filter).isEmpty());
            return;
        }
        const QStringList copies = folder.entryList(filter);
        QVERIFY(copies.size() == 1 && (copies.first() == copyName) == (kind == QLatin1String("kept before")));
        QFile copy(folder.filePath(copies.first()));
        QVERIFY(copy.open(QIODevice::ReadOnly) && copy.readAll() == bytes);
        QVERIFY(ConfigManager(QStringLiteral("config.xml"), QString()).readCleanly());
    }
};

QTEST_GUILESS_MAIN(TestHostileConfig)
#include "tst_hostileconfig.moc"
