#include "config/configmanager.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <csignal>
#include <cstdio>
#include <sys/resource.h>
#include <unistd.h>

namespace {

const QString defaultConfig = QStringLiteral(":/resources/resources/default-config.xml");

QByteArray bytesOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// A fresh home folder holding config.xml, for this process and the children it starts.
struct Home
{
    explicit Home(const QByteArray& config)
    {
        qputenv("HOME", QFile::encodeName(dir.path()));
        QFile file(path());
        QVERIFY(QDir().mkpath(folder()) && file.open(QIODevice::WriteOnly) && file.write(config) == config.size());
    }
    QString folder() const { return dir.filePath(QStringLiteral("Library/Tarnwick")); }
    QString path() const { return folder() + QStringLiteral("/config.xml"); }
    QStringList entries() const { return QDir(folder()).entryList(QDir::Files | QDir::System, QDir::Name); }

    QTemporaryDir dir;
};

// Many profiles and one named "Gen0", in the writer's own format: saving it after renaming "Gen<n>" to
// "Gen<n+1>" gives exactly generation(n + 1).
QByteArray generation(int n)
{
    static const QByteArray zero = [] {
        QByteArray xml = "<root>";
        for (int i = 0; i < 2000; ++i)
            xml += "<config><name>" + (i == 1000 ? QByteArray("Gen0") : "Site " + QByteArray::number(i)) +
                   "</name><address>10.0." + QByteArray::number(i % 250) +
                   ".0</address><mask>255.0.0.0</mask></config>";
        ConfigManager model;
        QXmlStreamReader reader(xml + "</root>");
        model.read(reader);
        QBuffer buffer;
        buffer.open(QIODevice::WriteOnly);
        QXmlStreamWriter writer(&buffer);
        model.write(writer);
        return buffer.data();
    }();
    return QByteArray(zero).replace("<name>Gen0</name>", "<name>Gen" + QByteArray::number(n) + "</name>");
}

// The child side of the tests below, in a process of its own so that it can be killed or limited.
int child(const QByteArray& role)
{
    ConfigManager store(QStringLiteral("config.xml"), defaultConfig);
    if (role == "save-forever") {
        int n = store.getProfileEntries().value(1000).mid(3).toInt();
        std::printf("%d\n", n);
        std::fflush(stdout);
        while (store.renameEntry(QStringLiteral("Gen%1").arg(n), QStringLiteral("Gen%1").arg(n + 1))) {
            std::printf("%d\n", ++n);
            std::fflush(stdout);
        }
        return 2;
    }
    if (role == "file-size limit") {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{512, RLIM_INFINITY};
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0)
            return 3;
    } else if (geteuid() == 0 && setuid(65534) != 0) { // root writes into any folder, an ordinary user does not
        return 3;
    }
    QString error;
    const bool saved =
        store.addEntry(QStringLiteral("Lab"), {{QStringLiteral("address"), QStringLiteral("10.0.0.0")}}, &error);
    std::printf("%s\n", qPrintable(error));
    return saved ? 0 : 1;
}

} // namespace

class TestKeepProfiles : public QObject
{
    Q_OBJECT

private slots:
    // Whenever a save is cut short by a kill, config.xml is the whole old file or the whole new one.
    void killedWhileSavingLeavesTheOldFileOrTheNew()
    {
        Home home(generation(0));
        int saved = 0;
        int kills = 0;
        QElapsedTimer running;
        running.start();
        for (; kills < 300 && (kills < 30 || running.elapsed() < 3000); ++kills) {
            QProcess saver;
            saver.setStandardErrorFile(QProcess::nullDevice());
            saver.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--child"), "save-forever"});
            // The kill comes at a random moment after the first save, however slow the machine is.
            QByteArray told;
            while (told.count('\n') < 2 && saver.waitForReadyRead())
                told += saver.readAllStandardOutput();
            ::usleep(QRandomGenerator::global()->bounded(20000));
            ::kill(saver.processId(), SIGKILL);
            QVERIFY(saver.waitForFinished() && saver.exitStatus() == QProcess::CrashExit);
            told += saver.readAllStandardOutput();
            const int last = told.trimmed().split('\n').last().toInt();
            const QByteArray file = bytesOf(home.path());
            QVERIFY2(file == generation(last) || file == generation(last + 1),
                     qPrintable(QStringLiteral("kill %1 after generation %2").arg(kills).arg(last)));
            saved = file == generation(last) ? last : last + 1;
        }
        QVERIFY2(saved > 0, "no save to cut short");
        // A temporary file left by a kill is never what a later start reads.
        const ConfigManager later(QStringLiteral("config.xml"), defaultConfig);
        QVERIFY(later.readCleanly() && later.getProfileEntries().size() == 2000);
        qInfo("%d kills, %d saves, %lld other files left", kills, saved, home.entries().size() - 1);
    }

    void failedSaveLeavesTheOldFile_data()
    {
        QTest::addColumn<QByteArray>("fault");
        QTest::addColumn<QByteArray>("reason");
        QTest::newRow("file-size limit") << QByteArray("file-size limit") << QByteArray("File too large");
        QTest::newRow("read-only folder") << QByteArray("read-only folder") << QByteArray("Permission denied");
    }

    void failedSaveLeavesTheOldFile()
    {
        QFETCH(QByteArray, fault);
        Home home(bytesOf(defaultConfig));
        if (fault == "read-only folder") {
            QVERIFY(QFile::setPermissions(home.dir.path(), QFile::Permissions(0x7755)));
            QVERIFY(QFile::setPermissions(home.folder(), QFile::Permissions(0x5555)));
            // The child works as an ordinary user when this is root: its file, but not its folder.
            QVERIFY(geteuid() != 0 || chown(QFile::encodeName(home.path()).constData(), 65534, 65534) == 0);
        }
        QProcess saver;
        saver.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--child"), fault});
        QVERIFY(saver.waitForFinished());
        if (saver.exitCode() == 3)
            QSKIP("the fault cannot be set up here");
        QCOMPARE(saver.exitCode(), 1);
        QVERIFY(saver.readAllStandardError().contains("Cannot write file"));
        // The caller is told why, in the system's words, with the file's path.
        QFETCH(QByteArray, reason);
        QCOMPARE(saver.readAllStandardOutput().trimmed(),
                 "Could not save " + QFile::encodeName(home.path()) + ": " + reason);
        QCOMPARE(bytesOf(home.path()), bytesOf(defaultConfig));
        QCOMPARE(home.entries(), QStringList{QStringLiteral("config.xml")});
        QFile::setPermissions(home.folder(), QFile::Permissions(0x7755));
    }

    // Restore default keeps what it replaces, never over an earlier copy, and only the newest five.
    void restoreDefaultKeepsWhatItReplaces()
    {
        Home home(generation(0));
        const QString older = home.folder() + QStringLiteral("/config.xml.before-restore-2020010%1-120000");
        for (int day = 1; day <= 4; ++day)
            QVERIFY(QFile::copy(defaultConfig, older.arg(day)));
        ConfigManager store(QStringLiteral("config.xml"), defaultConfig);
        QVERIFY(store.restoreDefault());
        const QString first = store.lastKeptCopy();
        QVERIFY(store.addEntry(QStringLiteral("Lab"), {}) && store.restoreDefault());
        QCOMPARE(store.getProfileEntries().size(), 4);
        QVERIFY(first.startsWith(older.left(older.indexOf("2020"))) && store.lastKeptCopy() > first);
        QVERIFY(bytesOf(first) == generation(0) && bytesOf(store.lastKeptCopy()).contains("<name>Lab</name>"));
        QCOMPARE(home.entries().size(), 6);
        QVERIFY(!QFile::exists(older.arg(1)) && QFile::exists(older.arg(2)));
        // With no file to replace, restore only writes the default.
        QVERIFY(QFile::remove(home.path()) && store.restoreDefault() && store.lastKeptCopy().isEmpty());
        QVERIFY(bytesOf(home.path()) == bytesOf(defaultConfig) && home.entries().size() == 6);
    }
};

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc == 3 && qstrcmp(argv[1], "--child") == 0)
        return child(argv[2]);
    TestKeepProfiles test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_keepprofiles.moc"
