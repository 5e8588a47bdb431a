#include "config/configmanager.h"
#include "tests/config/confighelpers.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <unistd.h>

namespace {

const QString missingDefault = QStringLiteral(":/resources/resources/missing-config.xml");

const QString defaultModel =
    QStringLiteral("APIPA-FIX: address=169.254.0.0, mask=255.255.0.0"
                   " | Intercom: address=192.168.3.0, gateway=192.168.3.1, mask=255.255.255.0"
                   " | LA-Network: address=192.168.1.0, gateway=192.168.1.1, mask=255.255.255.0"
                   " | Management: address=192.168.0.0, gateway=192.168.0.1, mask=255.255.254.0"
                   " | settings: default_network_id=201, forbidden_interfaces=Thunderbolt Bridge, Pont Thunderbolt");

const QStringList defaultProfiles{QStringLiteral("LA-Network"), QStringLiteral("Intercom"),
                                  QStringLiteral("Management"), QStringLiteral("APIPA-FIX")};

const QByteArray untouchedMarker = "<!-- not written since -->\n";

QString quoted(const QString& text)
{
    return QLatin1Char('"') + text + QLatin1Char('"');
}

bool writeFile(const QString& path, const QByteArray& bytes)
{
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
}

// The error text QFile gives for the same open the store attempts.
QString openError(const QString& path, QIODevice::OpenMode mode)
{
    QFile file(path);
    file.open(mode | QIODevice::Text);
    return file.errorString();
}

ProfileEntry profile(const QStringList& values)
{
    ProfileEntry entry;
    entry.insert(QStringLiteral("address"), values.value(0));
    entry.insert(QStringLiteral("mask"), values.value(1));
    if (values.size() > 2)
        entry.insert(QStringLiteral("gateway"), values.at(2));
    return entry;
}

// Runs one store operation named in a test table: the first argument is the name (or the old name,
// or the key), the rest are the new name, the value, or the profile's address, mask and gateway.
bool apply(ConfigManager& store, const QString& operation, const QStringList& arguments)
{
    const QString first = arguments.value(0);
    if (operation == QLatin1String("addEntry"))
        return store.addEntry(first, profile(arguments.mid(1)));
    if (operation == QLatin1String("updateEntry"))
        return store.updateEntry(first, profile(arguments.mid(1)));
    if (operation == QLatin1String("removeEntry"))
        return store.removeEntry(first);
    if (operation == QLatin1String("renameEntry"))
        return store.renameEntry(first, arguments.value(1));
    if (operation == QLatin1String("updateSetting"))
        return store.updateSetting(first, arguments.value(1));
    qFatal("unknown operation %s", qPrintable(operation));
}

} // namespace

class TestConfigManager : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void firstStartCreatesFolderAndCopiesDefault();
    void laterStartLoadsWithoutCopying();
    void printsSectionsInNameOrder();
    void readOnlyFileIsReplacedBySave();

    void startFailureLeavesStoreEmpty_data();
    void startFailureLeavesStoreEmpty();
    void emptyStoreWritesItsModelOnNextChange();
    void saveFailureKeepsChangeInMemory_data();
    void saveFailureKeepsChangeInMemory();
    void restoreDefaultReplacesEverything();
    void restoreDefaultFailureKeepsModel_data();
    void restoreDefaultFailureKeepsModel();

    void refusedOperationLeavesFileUntouched_data();
    void refusedOperationLeavesFileUntouched();
    void changeIsWrittenThrough_data();
    void changeIsWrittenThrough();
    void newSettingsAreWrittenAfterAllProfiles();

private:
    ConfigManager start(const QString& defaultFile = defaultResource);
    QString folder() const { return home->path() + QStringLiteral("/Library/Tarnwick"); }
    QString config() const { return configPath(home->path()); }

    std::unique_ptr<QTemporaryDir> home;
};

void TestConfigManager::init()
{
    home = std::make_unique<QTemporaryDir>();
    QVERIFY(home->isValid());
    qputenv("HOME", home->path().toUtf8());
}

void TestConfigManager::cleanup()
{
    // Folders a test made read-only must be writable again for the temporary folder to go.
    QFile::setPermissions(folder(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    home.reset();
}

ConfigManager TestConfigManager::start(const QString& defaultFile)
{
    LogCapture quiet;
    return ConfigManager(QStringLiteral("config.xml"), defaultFile);
}

void TestConfigManager::firstStartCreatesFolderAndCopiesDefault()
{
    QVERIFY(!QFileInfo::exists(home->path() + QStringLiteral("/Library")));

    LogCapture log;
    ConfigManager store(QStringLiteral("config.xml"), defaultResource);

    const QStringList expected{
        QStringLiteral("ConfigManager version: \"25.708-1047\""),
        QStringLiteral("Configuration File: ") + quoted(config()),
        QStringLiteral("Fichier copi\u00e9 avec succ\u00e8s de ") + quoted(defaultResource) +
            QStringLiteral(" \u00e0 ") + quoted(config()),
        QStringLiteral("Loading configuration file:  ") + quoted(config()),
    };
    QCOMPARE(log.lines, expected);
    QVERIFY(fileBytes(config()) == fileBytes(defaultResource));
    QCOMPARE(store.getProfileEntries(), defaultProfiles);
    QCOMPARE(store.getParameter(QStringLiteral("APIPA-FIX"), QStringLiteral("gateway")), QString());
    QCOMPARE(store.getParameter(QStringLiteral("Nowhere"), QStringLiteral("address")), QString());
    // Asking must not leave an empty section behind for the next save to write.
    QCOMPARE(modelDump(store), defaultModel);
}

void TestConfigManager::laterStartLoadsWithoutCopying()
{
    start();
    const QByteArray own = "<root><config><name>Home</name><address>10.0.0.0</address></config></root>\n";
    QVERIFY(writeFile(config(), own));

    LogCapture log;
    ConfigManager store(QStringLiteral("config.xml"), defaultResource);

    const QStringList expected{
        QStringLiteral("ConfigManager version: \"25.708-1047\""),
        QStringLiteral("Configuration File: ") + quoted(config()),
        QStringLiteral("Loading configuration file:  ") + quoted(config()),
    };
    QCOMPARE(log.lines, expected);
    QVERIFY(fileBytes(config()) == own);
    QCOMPARE(modelDump(store), QStringLiteral("Home: address=10.0.0.0"));
}

void TestConfigManager::printsSectionsInNameOrder()
{
    ConfigManager store = start();

    LogCapture log;
    store.print();

    const QStringList expected{
        QStringLiteral("\"APIPA-FIX:\""),
        QStringLiteral("  - \"address\" : \"169.254.0.0\""),
        QStringLiteral("  - \"mask\" : \"255.255.0.0\""),
        QStringLiteral("\"Intercom:\""),
        QStringLiteral("  - \"address\" : \"192.168.3.0\""),
        QStringLiteral("  - \"gateway\" : \"192.168.3.1\""),
        QStringLiteral("  - \"mask\" : \"255.255.255.0\""),
        QStringLiteral("\"LA-Network:\""),
        QStringLiteral("  - \"address\" : \"192.168.1.0\""),
        QStringLiteral("  - \"gateway\" : \"192.168.1.1\""),
        QStringLiteral("  - \"mask\" : \"255.255.255.0\""),
        QStringLiteral("\"Management:\""),
        QStringLiteral("  - \"address\" : \"192.168.0.0\""),
        QStringLiteral("  - \"gateway\" : \"192.168.0.1\""),
        QStringLiteral("  - \"mask\" : \"255.255.254.0\""),
        QStringLiteral("\"settings:\""),
        QStringLiteral("  - \"default_network_id\" : \"201\""),
        QStringLiteral("  - \"forbidden_interfaces\" : \"Thunderbolt Bridge, Pont Thunderbolt\""),
    };
    QCOMPARE(log.lines, expected);
}

// The copy of the compiled-in default keeps the resource's read-only permissions; saving must still
// succeed, which it does by replacing the file instead of writing into it.
void TestConfigManager::readOnlyFileIsReplacedBySave()
{
    ConfigManager store = start();
    QVERIFY(!(QFileInfo(config()).permissions() & QFile::WriteOwner));
    QVERIFY(QFile::setPermissions(config(), QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther));

    QVERIFY(store.updateSetting(QStringLiteral("default_network_id"), QStringLiteral("42")));

    QVERIFY(fileBytes(config()).contains("<default_network_id>42</default_network_id>"));
    QVERIFY(QFileInfo(config()).permissions() & QFile::WriteOwner);
}

void TestConfigManager::startFailureLeavesStoreEmpty_data()
{
    QTest::addColumn<QString>("cause");
    QTest::addColumn<QString>("defaultFile");
    QTest::addColumn<QStringList>("log");

    // $CONFIG stands for the configuration file's path, $DEFAULT for the default's, $READERROR for
    // QFile's reason why the file cannot be opened.
    const QString version = QStringLiteral("ConfigManager version: \"25.708-1047\"");
    const QString checked = QStringLiteral("Configuration File: \"$CONFIG\"");
    const QString copyFailed = QStringLiteral("Impossible de copier \"$DEFAULT\" vers \"$CONFIG\"");

    QTest::newRow("folder cannot be created")
        << "home under a regular file" << defaultResource << QStringList{version, checked, copyFailed};
    QTest::newRow("default cannot be copied")
        << "no default" << missingDefault << QStringList{version, checked, copyFailed};
    QTest::newRow("file cannot be read") << "config.xml is a folder" << defaultResource
                                         << QStringList{version, checked,
                                                        QStringLiteral("Loading configuration file:  \"$CONFIG\""),
                                                        QStringLiteral("Cannot read file \"$READERROR\"")};
}

void TestConfigManager::startFailureLeavesStoreEmpty()
{
    QFETCH(QString, cause);
    QFETCH(QString, defaultFile);
    QFETCH(QStringList, log);

    QString path = config();
    if (cause == QLatin1String("home under a regular file")) {
        // mkpath fails below a regular file even for root.
        const QString plain = home->filePath(QStringLiteral("plain"));
        QVERIFY(writeFile(plain, "not a folder"));
        qputenv("HOME", (plain + QStringLiteral("/home")).toUtf8());
        path = configPath(plain + QStringLiteral("/home"));
    } else if (cause == QLatin1String("config.xml is a folder")) {
        QVERIFY(QDir().mkpath(config()));
    }

    LogCapture capture;
    ConfigManager store(QStringLiteral("config.xml"), defaultFile);

    log.replaceInStrings(QStringLiteral("$CONFIG"), path);
    log.replaceInStrings(QStringLiteral("$DEFAULT"), defaultFile);
    log.replaceInStrings(QStringLiteral("$READERROR"), openError(path, QIODevice::ReadOnly));
    QCOMPARE(capture.lines, log);
    QCOMPARE(store.getProfileEntries(), QStringList());
    QCOMPARE(modelDump(store), QString());
}

// There is no retry after a failed start: the next change writes whatever the store holds.
void TestConfigManager::emptyStoreWritesItsModelOnNextChange()
{
    ConfigManager store = start(missingDefault);
    QVERIFY(QFileInfo(folder()).isDir());
    QVERIFY(!QFileInfo::exists(config()));

    QVERIFY(store.addEntry(QStringLiteral("Lab"), profile({"10.0.0.0", "255.0.0.0"})));

    QCOMPARE(QString::fromUtf8(fileBytes(config())),
             QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<root>\n   <config>\n      <name>Lab</name>\n"
                            "      <address>10.0.0.0</address>\n      <mask>255.0.0.0</mask>\n   </config>\n"
                            "</root>\n"));
}

void TestConfigManager::saveFailureKeepsChangeInMemory_data()
{
    QTest::addColumn<QString>("cause");

    QTest::newRow("folder missing") << "folder removed";
    QTest::newRow("folder replaced by a file") << "folder is a file";
    QTest::newRow("config.xml replaced by a folder") << "config.xml is a folder";
    QTest::newRow("folder not writable") << "read-only folder";
}

void TestConfigManager::saveFailureKeepsChangeInMemory()
{
    QFETCH(QString, cause);

    ConfigManager store = start();
    if (cause == QLatin1String("folder removed")) {
        QVERIFY(QDir(folder()).removeRecursively());
    } else if (cause == QLatin1String("folder is a file")) {
        QVERIFY(QDir(folder()).removeRecursively());
        QVERIFY(writeFile(folder(), "in the way"));
    } else if (cause == QLatin1String("config.xml is a folder")) {
        QVERIFY(QFile::remove(config()));
        QVERIFY(QDir().mkpath(config() + QStringLiteral("/inside")));
    } else {
        if (geteuid() == 0)
            QSKIP("permissions do not stop root from writing");
        QVERIFY(QFile::setPermissions(folder(), QFile::ReadOwner | QFile::ExeOwner));
    }

    LogCapture log;
    QVERIFY(!store.updateSetting(QStringLiteral("default_network_id"), QStringLiteral("10")));

    QCOMPARE(log.lines,
             QStringList{QStringLiteral("Cannot write file ") + quoted(openError(config(), QIODevice::WriteOnly))});
    QCOMPARE(store.getParameter(QStringLiteral("settings"), QStringLiteral("default_network_id")),
             QStringLiteral("10"));
}

void TestConfigManager::restoreDefaultReplacesEverything()
{
    ConfigManager store = start();
    QVERIFY(store.addEntry(QStringLiteral("Lab"), profile({"10.0.0.0", "255.0.0.0"})));
    QVERIFY(store.removeEntry(QStringLiteral("Intercom")));
    QVERIFY(store.renameEntry(QStringLiteral("Management"), QStringLiteral("Admin")));
    QVERIFY(store.updateSetting(QStringLiteral("default_network_id"), QStringLiteral("7")));
    QVERIFY(store.updateSetting(QStringLiteral("extra"), QStringLiteral("x")));

    LogCapture log;
    QVERIFY(store.restoreDefault());

    const QStringList expected{
        QStringLiteral("Configuration File: ") + quoted(config()),
        QStringLiteral("Fichier copi\u00e9 avec succ\u00e8s de ") + quoted(defaultResource) +
            QStringLiteral(" \u00e0 ") + quoted(config()),
        QStringLiteral("Loading configuration file:  ") + quoted(config()),
    };
    QCOMPARE(log.lines, expected);
    QCOMPARE(store.getProfileEntries(), defaultProfiles);
    QCOMPARE(modelDump(store), defaultModel);
    QVERIFY(fileBytes(config()) == fileBytes(defaultResource));
}

void TestConfigManager::restoreDefaultFailureKeepsModel_data()
{
    QTest::addColumn<QString>("cause");
    QTest::addColumn<QStringList>("log");
    QTest::addColumn<bool>("fileLeft");

    QTest::newRow("file already gone") << "file removed" << QStringList() << false;
    QTest::newRow("file cannot be removed") << "config.xml is a folder" << QStringList() << true;
    QTest::newRow("default cannot be copied")
        << "no default"
        << QStringList{QStringLiteral("Configuration File: \"$CONFIG\""),
                       QStringLiteral("Impossible de copier \"$DEFAULT\" vers \"$CONFIG\"")}
        << false;
}

void TestConfigManager::restoreDefaultFailureKeepsModel()
{
    QFETCH(QString, cause);
    QFETCH(QStringList, log);
    QFETCH(bool, fileLeft);

    const bool noDefault = cause == QLatin1String("no default");
    start();
    QVERIFY(writeFile(config(), "<root><config><name>Lab</name><address>10.0.0.0</address></config></root>"));
    ConfigManager store = start(noDefault ? missingDefault : defaultResource);
    if (cause == QLatin1String("file removed")) {
        QVERIFY(QFile::remove(config()));
    } else if (cause == QLatin1String("config.xml is a folder")) {
        QVERIFY(QFile::remove(config()));
        QVERIFY(QDir().mkpath(config() + QStringLiteral("/inside")));
    }

    LogCapture capture;
    QVERIFY(!store.restoreDefault());

    log.replaceInStrings(QStringLiteral("$CONFIG"), config());
    log.replaceInStrings(QStringLiteral("$DEFAULT"), missingDefault);
    QCOMPARE(capture.lines, log);
    QCOMPARE(modelDump(store), QStringLiteral("Lab: address=10.0.0.0"));
    QCOMPARE(QFileInfo::exists(config()), fileLeft);
}

void TestConfigManager::refusedOperationLeavesFileUntouched_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<bool>("result");

    const QStringList lab{"10.0.0.0", "255.0.0.0"};
    QTest::newRow("add settings") << "addEntry" << QStringList{"settings"} + lab << false;
    QTest::newRow("add empty name") << "addEntry" << QStringList{""} + lab << false;
    QTest::newRow("add existing name") << "addEntry" << QStringList{"Intercom"} + lab << false;
    QTest::newRow("remove settings") << "removeEntry" << QStringList{"settings"} << false;
    QTest::newRow("remove unknown") << "removeEntry" << QStringList{"Lab"} << false;
    QTest::newRow("remove name in other case") << "removeEntry" << QStringList{"intercom"} << false;
    QTest::newRow("update settings") << "updateEntry" << QStringList{"settings"} + lab << false;
    QTest::newRow("update unknown") << "updateEntry" << QStringList{"Lab"} + lab << false;
    QTest::newRow("rename unknown") << "renameEntry" << QStringList{"Lab", "Other"} << false;
    QTest::newRow("rename unknown to itself") << "renameEntry" << QStringList{"Lab", "Lab"} << false;
    QTest::newRow("rename settings") << "renameEntry" << QStringList{"settings", "Other"} << false;
    QTest::newRow("rename settings to itself") << "renameEntry" << QStringList{"settings", "settings"} << false;
    QTest::newRow("rename to settings") << "renameEntry" << QStringList{"Intercom", "settings"} << false;
    QTest::newRow("rename to empty name") << "renameEntry" << QStringList{"Intercom", ""} << false;
    QTest::newRow("rename to existing name") << "renameEntry" << QStringList{"Intercom", "LA-Network"} << false;
    QTest::newRow("rename to same name") << "renameEntry" << QStringList{"Intercom", "Intercom"} << true;
}

void TestConfigManager::refusedOperationLeavesFileUntouched()
{
    QFETCH(QString, operation);
    QFETCH(QStringList, arguments);
    QFETCH(bool, result);

    ConfigManager store = start();
    // Any save would rewrite the file without this trailing comment.
    const QByteArray marked = fileBytes(config()) + untouchedMarker;
    QVERIFY(writeFile(config(), marked));

    LogCapture log;
    QCOMPARE(apply(store, operation, arguments), result);

    QCOMPARE(log.lines, QStringList());
    QVERIFY(fileBytes(config()) == marked);
    QCOMPARE(store.getProfileEntries(), defaultProfiles);
    QCOMPARE(modelDump(store), defaultModel);
}

void TestConfigManager::changeIsWrittenThrough_data()
{
    QTest::addColumn<QByteArray>("startText");
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QStringList>("profiles");
    QTest::addColumn<QByteArray>("written");
    QTest::addColumn<QByteArray>("gone");

    const QByteArray defaults; // start from the copied default
    QTest::newRow("add Settings as an ordinary profile")
        << defaults << "addEntry" << QStringList{"Settings", "10.1.0.0", "255.255.0.0"}
        << defaultProfiles + QStringList{"Settings"}
        << QByteArray("      <mask>255.255.0.0</mask>\n   </config>\n   <config>\n      <name>Settings</name>\n"
                      "      <address>10.1.0.0</address>\n      <mask>255.255.0.0</mask>\n   </config>\n"
                      "   <settings>\n")
        << QByteArray();
    QTest::newRow("add name of blanks")
        << defaults << "addEntry" << QStringList{"  ", "10.1.0.0", "255.255.0.0", "10.1.0.1"}
        << defaultProfiles + QStringList{"  "}
        << QByteArray("<name>  </name>\n      <address>10.1.0.0</address>\n      <mask>255.255.0.0</mask>\n"
                      "      <gateway>10.1.0.1</gateway>\n")
        << QByteArray();
    QTest::newRow("remove profile") << defaults << "removeEntry" << QStringList{"Intercom"}
                                    << QStringList{"LA-Network", "Management", "APIPA-FIX"}
                                    << QByteArray("<name>LA-Network</name>") << QByteArray("Intercom");
    QTest::newRow("remove every occurrence of a repeated name")
        << QByteArray("<root><config><name>A</name></config><config><name>B</name></config>"
                      "<config><name>A</name></config></root>")
        << "removeEntry" << QStringList{"A"} << QStringList{"B"} << QByteArray("<name>B</name>")
        << QByteArray("<name>A</name>");
    QTest::newRow("update without gateway removes it")
        << defaults << "updateEntry" << QStringList{"Intercom", "10.0.0.0", "255.0.0.0"} << defaultProfiles
        << QByteArray("<name>Intercom</name>\n      <address>10.0.0.0</address>\n      <mask>255.0.0.0</mask>\n"
                      "   </config>\n")
        << QByteArray("192.168.3.1");
    QTest::newRow("update with empty gateway")
        << defaults << "updateEntry" << QStringList{"APIPA-FIX", "169.254.0.0", "255.255.0.0", ""} << defaultProfiles
        << QByteArray("<mask>255.255.0.0</mask>\n      <gateway></gateway>\n   </config>\n   <settings>")
        << QByteArray();
    QTest::newRow("rename keeps the position")
        << defaults << "renameEntry" << QStringList{"Intercom", "Lab"}
        << QStringList{"LA-Network", "Lab", "Management", "APIPA-FIX"}
        << QByteArray("<gateway>192.168.1.1</gateway>\n   </config>\n   <config>\n      <name>Lab</name>\n"
                      "      <address>192.168.3.0</address>\n")
        << QByteArray("Intercom");
    QTest::newRow("rename replaces the first of a repeated name")
        << QByteArray("<root><config><name>A</name><address>1</address></config><config><name>B</name></config>"
                      "<config><name>A</name><address>2</address></config></root>")
        << "renameEntry" << QStringList{"A", "C"} << QStringList{"C", "B", "A"}
        << QByteArray("<name>C</name>\n      <address>2</address>\n   </config>\n   <config>\n      <name>B</name>\n"
                      "   </config>\n   <config>\n      <name>A</name>\n   </config>\n")
        << QByteArray();
    QTest::newRow("update a setting") << defaults << "updateSetting" << QStringList{"default_network_id", "10"}
                                      << defaultProfiles << QByteArray("<default_network_id>10</default_network_id>")
                                      << QByteArray("201");
    QTest::newRow("add an unknown setting")
        << defaults << "updateSetting" << QStringList{"aaa", "x"} << defaultProfiles
        << QByteArray("<settings>\n      <aaa>x</aaa>\n      <default_network_id>201</default_network_id>\n")
        << QByteArray();
}

void TestConfigManager::changeIsWrittenThrough()
{
    QFETCH(QByteArray, startText);
    QFETCH(QString, operation);
    QFETCH(QStringList, arguments);
    QFETCH(QStringList, profiles);
    QFETCH(QByteArray, written);
    QFETCH(QByteArray, gone);

    if (!startText.isEmpty()) {
        QVERIFY(QDir().mkpath(folder()));
        QVERIFY(writeFile(config(), startText));
    }
    ConfigManager store = start();

    QVERIFY(apply(store, operation, arguments));

    QCOMPARE(store.getProfileEntries(), profiles);
    const QByteArray file = fileBytes(config());
    QVERIFY2(file.contains(written), file.constData());
    if (!gone.isEmpty())
        QVERIFY2(!file.contains(gone), file.constData());
    // What is on disk is the model in memory.
    ConfigManager reloaded = start();
    QCOMPARE(reloaded.getProfileEntries(), profiles);
    QCOMPARE(modelDump(reloaded), modelDump(store));
}

void TestConfigManager::newSettingsAreWrittenAfterAllProfiles()
{
    QVERIFY(QDir().mkpath(folder()));
    QVERIFY(writeFile(config(), "<root><config><name>A</name><address>1</address></config>"
                                "<config><name>B</name><mask>2</mask></config></root>"));
    ConfigManager store = start();

    QVERIFY(store.updateSetting(QStringLiteral("default_network_id"), QStringLiteral("10")));
    // The profile added later stands after "settings" in the list but is still written before it.
    QVERIFY(store.addEntry(QStringLiteral("C"), profile({"3", "4"})));

    QCOMPARE(store.getProfileEntries(), (QStringList{"A", "B", "C"}));
    QCOMPARE(QString::fromUtf8(fileBytes(config())),
             QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<root>\n"
                            "   <config>\n      <name>A</name>\n      <address>1</address>\n   </config>\n"
                            "   <config>\n      <name>B</name>\n      <mask>2</mask>\n   </config>\n"
                            "   <config>\n      <name>C</name>\n      <address>3</address>\n      <mask>4</mask>\n"
                            "   </config>\n"
                            "   <settings>\n      <default_network_id>10</default_network_id>\n   </settings>\n"
                            "</root>\n"));
}

QTEST_GUILESS_MAIN(TestConfigManager)
#include "tst_configmanager.moc"
