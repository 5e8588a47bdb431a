#include "config/configmanager.h"

#include "tests/common/session.h"

#include <QBuffer>
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

// Each profile as "name network DNS".
QStringList profilesOf(const ConfigManager& store)
{
    QStringList profiles;
    for (const QString& name : store.getProfileEntries())
        profiles.append(name + ' ' + store.getParameter(name, "address") + ' ' + store.getParameter(name, "dns"));
    return profiles;
}

QByteArray profileXml(const QByteArray& name, const QByteArray& network, const QByteArray& more = {})
{
    return "<config><name>" + name + "</name><address>" + network + "</address><mask>255.255.0.0</mask>" + more +
           "</config>";
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
        QTest::newRow("cut before a gateway, which is lost")
            << cut(standard, "<gateway>192.168.0.1") << defaultProfiles.mid(0, 3) << defaultSettings;
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

    // An empty home imports what another exported as it was there: the same profiles in the same order,
    // written alike, and none of the exporting home's settings.
    void importsWhatAnotherHomeExported()
    {
        StoreSession other;
        ConfigManager& exporter = other.start();
        QVERIFY(exporter.addEntry("Lab <&>", {{"address", "10.0.0.0"},
                                              {"mask", "255.0.0.0"},
                                              {"dns", "10.0.0.53\n2001:db8::1"},
                                              {"search", "automatic"}}));
        QVERIFY(exporter.updateSetting("default_network_id", "42"));
        QFile file(other.mac.homeDir() + "/profiles.xml");
        QVERIFY(file.open(QIODevice::WriteOnly) && exporter.exportProfiles(file));
        file.close();
        StoreSession s;
        ConfigManager& store = s.start();
        QCOMPARE(store.importProfiles(file.fileName()).lines.join(u'|'),
                 "\"LA-Network\" is already there.|\"Intercom\" is already there.|\"Management\" is already there.|"
                 "\"APIPA-FIX\" is already there.|Added \"Lab <&>\".");
        QBuffer imported;
        QVERIFY(imported.open(QIODevice::WriteOnly) && store.exportProfiles(imported));
        QCOMPARE(imported.data(), StoreSession::read(file.fileName()));
        QVERIFY(!imported.data().contains("settings") && s.start().defaultHost() == 201);
    }

    void settlesATakenNameAsAsked_data()
    {
        using Policy = ConfigManager::OnConflict;
        QTest::addColumn<QByteArray>("stored");
        QTest::addColumn<Policy>("onConflict");
        QTest::addColumn<QString>("line");
        QTest::addColumn<QStringList>("profiles"); // after the import; empty when the file is left as it was
        const QByteArray other = profileXml("Lab", "10.0.0.0");
        const auto row = [](const char* name, const QByteArray& stored, Policy onConflict, const QString& line,
                            const QStringList& profiles) {
            QTest::newRow(name) << stored << onConflict << line << profiles;
        };
        row("same settings, an empty gateway being none",
            profileXml("Lab", "10.1.0.0", "<gateway/><dns>10.1.0.53</dns>"), Policy::Replace,
            "\"Lab\" is already there.", {});
        row("other DNS servers renamed", profileXml("Lab", "10.1.0.0", "<dns>10.1.0.54</dns>"), Policy::Rename,
            "Added \"Lab (2)\": \"Lab\" exists with other settings.",
            {"Lab 10.1.0.0 10.1.0.54", "Lab (2) 10.1.0.0 10.1.0.53"});
        row("renamed past a taken number", other + profileXml("Lab (2)", "10.2.0.0"), Policy::Rename,
            "Added \"Lab (3)\": \"Lab\" exists with other settings.",
            {"Lab 10.0.0.0 ", "Lab (2) 10.2.0.0 ", "Lab (3) 10.1.0.0 10.1.0.53"});
        row("found again as an earlier import's copy",
            other + profileXml("Lab (2)", "10.1.0.0", "<dns>10.1.0.53</dns>"), Policy::Rename,
            "\"Lab\" is already there as \"Lab (2)\".", {});
        row("replaced", other, Policy::Replace, "Replaced \"Lab\".", {"Lab 10.1.0.0 10.1.0.53"});
        row("skipped", other, Policy::Skip, "Kept the existing \"Lab\".", {});
    }

    // Only a profile whose name is taken by other settings is a conflict; the file is written only when the
    // import changes something, and kept as it was before a profile in it is replaced.
    void settlesATakenNameAsAsked()
    {
        QFETCH(QByteArray, stored);
        QFETCH(ConfigManager::OnConflict, onConflict);
        QFETCH(QString, line);
        QFETCH(QStringList, profiles);
        StoreSession s;
        s.write("<root>" + stored + "</root>");
        const QByteArray before = s.file();
        ConfigManager& store = s.start();
        const QStringList storedProfiles = profilesOf(store);
        QFile file(s.mac.homeDir() + "/profiles.xml");
        QVERIFY(file.open(QIODevice::WriteOnly) &&
                file.write("<root>" + profileXml("Lab", "10.1.0.0", "<dns>10.1.0.53</dns>") + "</root>") > 0);
        file.close();
        const ConfigManager::ImportResult result = store.importProfiles(file.fileName(), onConflict);
        QCOMPARE(result.lines, QStringList{line});
        const QStringList copies = QFileInfo(s.path).dir().entryList({"config.xml.before-import-*"});
        QCOMPARE(copies.size(), line.startsWith("Replaced") ? 1 : 0);
        QCOMPARE(StoreSession::read(store.lastKeptCopy()), copies.isEmpty() ? QByteArray() : before);
        QCOMPARE(profilesOf(s.start()), profiles.isEmpty() ? storedProfiles : profiles);
        QCOMPARE(s.file() == before, profiles.isEmpty());
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
