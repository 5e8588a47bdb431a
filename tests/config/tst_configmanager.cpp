#include "config/configmanager.h"

#include "tests/common/session.h"

#include <QFileInfo>
#include <QRegularExpression>

namespace {

const QStringList defaultProfiles{"LA-Network", "Intercom", "Management", "APIPA-FIX"};
const ProfileEntry lab{{"address", "10.0.0.0"}, {"mask", "255.0.0.0"}};
const QString defaultSettings = "201|Thunderbolt Bridge|Pont Thunderbolt";

// The default host, then each forbidden name, "|" between.
QString settingsOf(const ConfigManager& store)
{
    return (QStringList{QString::number(store.defaultHost())} + store.getForbiddenInterfaces()).join(u'|');
}

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

    // A wrong or broken file keeps the whole profiles read before the fault; the save afterwards shows exactly
    // what, with the settings complete. What is dropped from a profile is logged as *.xml.warnings lists.
    void keepsWhatAFileHolds()
    {
        QFETCH(QString, name);
        StoreSession s;
        s.write(StoreSession::read(name));
        for (const QByteArray& warning : StoreSession::read(name + ".warnings").split('\n'))
            if (!warning.isEmpty())
                QTest::ignoreMessage(QtWarningMsg, warning.constData());
        QTest::failOnWarning(QRegularExpression("."));
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
        QString error;
        QCOMPARE(store.addEntry("Lab", lab, &error), laterSaved);
        QCOMPARE(s.file().contains("<name>Lab</name>"), laterSaved);
        QCOMPARE(error.startsWith("Could not save " + store.filePath() + ": "), !laterSaved);
        // A change that could not be saved is not kept either.
        QCOMPARE(store.getProfileEntries().size(), laterSaved ? 1 : 0);
        QCOMPARE(store.setForbiddenInterfaces({"Wi-Fi"}), laterSaved);
        QCOMPARE(store.getForbiddenInterfaces() == QStringList{"Wi-Fi"}, laterSaved);
    }

    void recoversWhatABrokenFileHeld_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QStringList>("profiles");
        QTest::addColumn<QString>("settings");
        const QByteArray standard = StoreSession::read(StoreSession::defaultConfig);
        const QByteArray own = QByteArray(standard).replace("201", "42").replace("Pont Thunderbolt", "Dock, left");
        const auto cut = [](const QByteArray& bytes, const char* before) { return bytes.left(bytes.indexOf(before)); };
        QTest::newRow("empty") << QByteArray() << QStringList() << defaultSettings;
        QTest::newRow("cut inside the first name") << cut(standard, "work</name>") << QStringList() << defaultSettings;
        QTest::newRow("cut inside a mask")
            << cut(standard, ".0</mask>\n      <gateway>192.168.3.1") << QStringList{"LA-Network"} << defaultSettings;
        QTest::newRow("cut before a gateway, which is lost")
            << cut(standard, "<gateway>192.168.0.1") << defaultProfiles.mid(0, 3) << defaultSettings;
        QTest::newRow("cut inside the host number") << cut(own, "2</default") << defaultProfiles << defaultSettings;
        QTest::newRow("cut inside the forbidden list")
            << cut(own, "left</interface>") << defaultProfiles << "42|Thunderbolt Bridge|Pont Thunderbolt";
        QTest::newRow("garbage after the root")
            << own + "</root>" << defaultProfiles << "42|Thunderbolt Bridge|Dock, left";
        QTest::newRow("nameless and addressless sections before the cut")
            << QByteArray("<root><config><address>10.0.0.0</address><mask>255.0.0.0</mask></config>"
                          "<config><name>Lab</name></config><config><name>Site</name><address>10.1.0.0</address>"
                          "<mask>255.255.0.0</mask></config><config><name>Cut")
            << QStringList{"Site"} << defaultSettings;
    }

    // Only profiles read whole survive a fault, never a nameless one; what the settings lost, the defaults
    // fill, and the next save writes them out. The broken file is kept as it was, once.
    void recoversWhatABrokenFileHeld()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QStringList, profiles);
        QFETCH(QString, settings);
        StoreSession s;
        s.write(bytes);
        ConfigManager& store = s.start();
        QVERIFY(!store.readCleanly());
        QCOMPARE(store.getProfileEntries(), profiles);
        QCOMPARE(settingsOf(store), settings);
        QVERIFY(store.addEntry("Lab", lab) && store.removeEntry("Lab"));
        const QDir folder = QFileInfo(s.path).dir();
        const QStringList copies = folder.entryList({"config.xml.unreadable-*"});
        QVERIFY(copies.size() == 1 && store.lastKeptCopy() == folder.filePath(copies.first()));
        QCOMPARE(StoreSession::read(store.lastKeptCopy()), bytes);
        QVERIFY(s.file().contains("</default_network_id>") && s.file().contains("</forbidden_interfaces>"));
        const ConfigManager& saved = s.start();
        QVERIFY(saved.readCleanly() && saved.getProfileEntries() == profiles && settingsOf(saved) == settings);
    }

    void keepsOnlyTheFileThatWasUnreadable_data()
    {
        QTest::addColumn<QString>("meanwhile");
        QTest::addColumn<int>("copies");
        QTest::newRow("left as it was") << "nothing" << 1;
        QTest::newRow("moved away") << "moved" << 0;
        QTest::newRow("replaced by another file") << "replaced" << 0;
    }

    // A file moved away or replaced while the program runs is not the one the user was told of: there is
    // nothing of it to keep, and the saves go through.
    void keepsOnlyTheFileThatWasUnreadable()
    {
        QFETCH(QString, meanwhile);
        QFETCH(int, copies);
        StoreSession s;
        s.write("<root><config><name>Lab</name><address>10.0.0.0</addr");
        ConfigManager& store = s.start();
        if (meanwhile == "moved")
            QVERIFY(QFile::rename(s.path, s.mac.homeDir() + "/elsewhere.xml"));
        if (meanwhile == "replaced")
            s.write("<root/>");
        QString error;
        QVERIFY2(store.addEntry("Lab 1", lab, &error) && store.addEntry("Lab 2", lab, &error), qPrintable(error));
        QCOMPARE(QFileInfo(s.path).dir().entryList({"config.xml.unreadable-*"}).size(), copies);
        QCOMPARE(store.lastKeptCopy().isEmpty(), copies == 0);
        QCOMPARE(s.start().getProfileEntries(), (QStringList{"Lab 1", "Lab 2"}));
    }

    void readsTheSettings_data()
    {
        QTest::addColumn<QByteArray>("settings");
        QTest::addColumn<QString>("shown");
        QTest::newRow("a name with a comma stays one")
            << QByteArray("<default_network_id>0</default_network_id><forbidden_interfaces><interface>Dock, left"
                          "</interface><interface>Wi-Fi</interface></forbidden_interfaces>")
            << "0|Dock, left|Wi-Fi";
        QTest::newRow("older joined text splits at a comma and a blank only")
            << QByteArray("<default_network_id>255</default_network_id><forbidden_interfaces> Thunderbolt Bridge ,"
                          "Wi-Fi, , USB LAN </forbidden_interfaces>")
            << "255|Thunderbolt Bridge ,Wi-Fi|USB LAN";
        QTest::newRow("an empty list stays empty, a host over 255 is none")
            << QByteArray("<default_network_id>256</default_network_id><forbidden_interfaces/>") << "201";
        QTest::newRow("no list, a host with a blank")
            << QByteArray("<default_network_id> 42</default_network_id>") << defaultSettings;
        QTest::newRow("no settings") << QByteArray() << defaultSettings;
    }

    // What the settings hold reads the same after the next save, one forbidden name to an element.
    void readsTheSettings()
    {
        QFETCH(QByteArray, settings);
        QFETCH(QString, shown);
        StoreSession s;
        s.write("<root>" + (settings.isEmpty() ? QByteArray() : "<settings>" + settings + "</settings>") + "</root>");
        ConfigManager& store = s.start();
        QVERIFY(store.readCleanly());
        QCOMPARE(settingsOf(store), shown);
        // Older callers still get the names joined.
        QCOMPARE(store.getParameter("settings", "forbidden_interfaces"), shown.section(u'|', 1).replace('|', ", "));
        QVERIFY(store.save());
        for (const QString& name : store.getForbiddenInterfaces())
            QVERIFY(s.file().contains("<interface>" + name.toUtf8() + "</interface>"));
        QCOMPARE(settingsOf(s.start()), shown);
    }

    void writesEveryChangeThroughAndRefusesBadOnes()
    {
        StoreSession s;
        ConfigManager& store = s.start();
        const QByteArray marked = s.file() + "<!-- any save drops this -->\n";
        s.write(marked);
        QVERIFY(!store.addEntry("", lab) && !store.addEntry("Intercom", lab) && !store.addEntry("settings", lab));
        // A refusal is no failed save: it has no reason to give.
        QString error = "stale";
        QVERIFY(!store.renameEntry("Intercom", "LA-Network", &error) && error.isEmpty());
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
