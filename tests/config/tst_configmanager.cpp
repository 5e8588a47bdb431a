#include "config/configmanager.h"

#include "tests/common/session.h"

#include <QFileInfo>

namespace {

const QStringList defaultProfiles{"LA-Network", "Intercom", "Management", "APIPA-FIX"};
const ProfileEntry lab{{"address", "10.0.0.0"}, {"mask", "255.0.0.0"}};

} // namespace

class TestConfigManager : public QObject
{
    Q_OBJECT

private slots:
    void firstStartCopiesTheDefaultWhichSavesByteForByte()
    {
        StoreSession s;
        QCOMPARE(s.start().getProfileEntries(), defaultProfiles);
        QCOMPARE(s.file(), StoreSession::read(StoreSession::defaultConfig));
        // The copy keeps the resource's read-only permissions, so saving replaces the file.
        QVERIFY(!(QFileInfo(s.path).permissions() & QFile::WriteOwner));
        QVERIFY(s.store->save());
        QVERIFY(QFileInfo(s.path).permissions() & QFile::WriteOwner);
        QCOMPARE(s.file(), StoreSession::read(StoreSession::defaultConfig));
        // A later start only loads.
        s.write("<root><config><name>Lab</name></config></root>");
        QCOMPARE(s.start().getProfileEntries(), QStringList{"Lab"});
    }

    void keepsWhatAFileHolds_data()
    {
        QTest::addColumn<QString>("name");
        for (const QString& name : QDir(TARNWICK_CONFIG_FILES_DIR).entryList({"*.xml"}))
            QTest::newRow(qPrintable(name)) << QString(TARNWICK_CONFIG_FILES_DIR "/" + name);
    }

    // A wrong or broken file keeps what was read before the fault; the save afterwards shows exactly what.
    void keepsWhatAFileHolds()
    {
        QFETCH(QString, name);
        StoreSession s;
        s.write(StoreSession::read(name));
        QVERIFY(s.start().save());
        QCOMPARE(s.file(), StoreSession::read(name + ".saved"));
    }

    void startsEmptyWhenTheFileCannotBeHad_data()
    {
        QTest::addColumn<QString>("cause");
        QTest::addColumn<bool>("laterSaved"); // there is no retry: the next change writes what the store holds
        QTest::newRow("folder cannot be created") << "home under a file" << false;
        QTest::newRow("default cannot be copied") << "no default" << true;
    }

    void startsEmptyWhenTheFileCannotBeHad()
    {
        QFETCH(QString, cause);
        QFETCH(bool, laterSaved);
        StoreSession s;
        QFile plain(s.mac.homeDir() + "/plain");
        if (cause == "home under a file")
            QVERIFY(plain.open(QIODevice::WriteOnly) && qputenv("HOME", QFile::encodeName(plain.fileName() + "/h")));
        ConfigManager& store = s.start(cause == "no default" ? ":/missing.xml" : StoreSession::defaultConfig);
        QCOMPARE(store.getProfileEntries(), QStringList());
        QCOMPARE(store.addEntry("Lab", lab), laterSaved);
        QCOMPARE(s.file().contains("<name>Lab</name>"), laterSaved);
    }

    void writesEveryChangeThroughAndRefusesBadOnes()
    {
        StoreSession s;
        ConfigManager& store = s.start();
        const QByteArray marked = s.file() + "<!-- any save drops this -->\n";
        s.write(marked);
        QVERIFY(!store.addEntry("", lab) && !store.addEntry("Intercom", lab) && !store.addEntry("settings", lab));
        QVERIFY(!store.removeEntry("intercom") && !store.removeEntry("settings"));
        QVERIFY(!store.updateEntry("Lab", lab) && !store.updateEntry("settings", lab));
        // Each check comes before the same-name shortcut.
        QVERIFY(!store.renameEntry("Lab", "Lab") && !store.renameEntry("settings", "settings"));
        QVERIFY(!store.renameEntry("Intercom", "settings") && !store.renameEntry("Intercom", ""));
        QVERIFY(!store.renameEntry("Intercom", "LA-Network") && store.renameEntry("Intercom", "Intercom"));
        QCOMPARE(s.file(), marked);
        QCOMPARE(store.getProfileEntries(), defaultProfiles);

        // A new profile goes last, a renamed one keeps its place, an update replaces the whole profile.
        QVERIFY(store.addEntry("Lab", {{"address", "10.0.0.0"}, {"mask", "255.0.0.0"}, {"gateway", "10.0.0.1"}}));
        QVERIFY(store.renameEntry("Intercom", "Studio") && store.removeEntry("Management"));
        QVERIFY(store.updateEntry("LA-Network", lab) && store.updateSetting("default_network_id", "42"));
        QVERIFY(store.updateSetting("theme", "dark"));
        QCOMPARE(store.getParameter("Studio", "gateway"), "192.168.3.1");
        QCOMPARE(s.file(), StoreSession::read(TARNWICK_CONFIG_FILES_DIR "/changed.saved"));
    }
};

QTEST_GUILESS_MAIN(TestConfigManager)
#include "tst_configmanager.moc"
