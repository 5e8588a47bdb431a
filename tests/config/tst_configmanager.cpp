#include "tests/config/confighelpers.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <optional>

namespace {

// Log lines as templates: $CONFIG is the configuration file, $DEFAULT the default it is copied from,
// $READERROR and $WRITEERROR QFile's reasons why the file cannot be opened.
const QString version = QStringLiteral("ConfigManager version: \"25.708-1047\"");
const QString checked = QStringLiteral("Configuration File: \"$CONFIG\"");
const QString copied = QStringLiteral(u"Fichier copi\u00e9 avec succ\u00e8s de \"$DEFAULT\" \u00e0 \"$CONFIG\"");
const QString copyFailed = QStringLiteral("Impossible de copier \"$DEFAULT\" vers \"$CONFIG\"");
const QString loading = QStringLiteral("Loading configuration file:  \"$CONFIG\"");

const QByteArray labText = "<root><config><name>Lab</name><address>10.0.0.0</address></config></root>";
const QString labModel = QStringLiteral("Lab: address=10.0.0.0");

bool writeFile(const QString& path, const QByteArray& bytes)
{
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
}

QString openError(const QString& path, QIODevice::OpenMode mode)
{
    QFile file(path);
    file.open(mode | QIODevice::Text);
    return file.errorString();
}

QStringList expanded(QStringList lines, const QString& path, const QString& defaultFile)
{
    for (QString& line : lines) {
        line.replace(QStringLiteral("$CONFIG"), path).replace(QStringLiteral("$DEFAULT"), defaultFile);
        if (line.contains(QStringLiteral("$READERROR")))
            line.replace(QStringLiteral("$READERROR"), openError(path, QIODevice::ReadOnly));
        if (line.contains(QStringLiteral("$WRITEERROR")))
            line.replace(QStringLiteral("$WRITEERROR"), openError(path, QIODevice::WriteOnly));
    }
    return lines;
}

// Runs one store operation named in a test table: the first argument is the name (or the old name,
// or the key), the rest are the new name, the value, or the profile's address, mask and gateway.
bool apply(ConfigManager& store, const QString& operation, const QStringList& arguments)
{
    const QString first = arguments.value(0);
    ProfileEntry entry{{QStringLiteral("address"), arguments.value(1)}, {QStringLiteral("mask"), arguments.value(2)}};
    if (arguments.size() > 3)
        entry.insert(QStringLiteral("gateway"), arguments.at(3));
    if (operation == QLatin1String("addEntry"))
        return store.addEntry(first, entry);
    if (operation == QLatin1String("updateEntry"))
        return store.updateEntry(first, entry);
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
    void init()
    {
        QVERIFY(home.emplace().isValid());
        qputenv("HOME", home->path().toUtf8());
    }
    void cleanup() { home.reset(); }

    void firstStartCopiesDefaultLaterStartOnlyLoads();
    void printsSectionsInNameOrder();
    void startFailureLeavesStoreEmpty_data();
    void startFailureLeavesStoreEmpty();
    void saveReplacesTheFile_data();
    void saveReplacesTheFile();
    void restoreDefault_data();
    void restoreDefault();
    void refusedOperationLeavesFileUntouched_data();
    void refusedOperationLeavesFileUntouched();
    void changeIsWrittenThrough_data();
    void changeIsWrittenThrough();

private:
    QString folder() const { return home->path() + QStringLiteral("/Library/Tarnwick"); }
    QString config() const { return folder() + QStringLiteral("/config.xml"); }
    void startWith(const QByteArray& text)
    {
        QVERIFY(QDir().mkpath(folder()));
        QVERIFY(writeFile(config(), text));
    }

    std::optional<QTemporaryDir> home;
};

void TestConfigManager::firstStartCopiesDefaultLaterStartOnlyLoads()
{
    QVERIFY(!QFileInfo::exists(home->path() + QStringLiteral("/Library")));
    {
        LogCapture log;
        ConfigManager store(QStringLiteral("config.xml"), defaultResource);
        QCOMPARE(log.lines, expanded({version, checked, copied, loading}, config(), defaultResource));
        QVERIFY(fileBytes(config()) == fileBytes(defaultResource));
        QCOMPARE(store.getProfileEntries(), defaultProfiles);
        QCOMPARE(store.getParameter(QStringLiteral("APIPA-FIX"), QStringLiteral("gateway")), QString());
        QCOMPARE(store.getParameter(QStringLiteral("Nowhere"), QStringLiteral("address")), QString());
        // Asking must not leave an empty section behind for the next save to write.
        QCOMPARE(modelDump(store), defaultModel);
    }
    QVERIFY(writeFile(config(), labText));
    LogCapture log;
    ConfigManager store(QStringLiteral("config.xml"), defaultResource);
    QCOMPARE(log.lines, expanded({version, checked, loading}, config(), defaultResource));
    QVERIFY(fileBytes(config()) == labText);
    QCOMPARE(modelDump(store), labModel);
}

void TestConfigManager::printsSectionsInNameOrder()
{
    ConfigManager store = emptyStore();
    readText(store, "<root><config><name>B</name><mask>2</mask><address>1</address></config>"
                    "<config><name>A</name></config><settings><k>v</k></settings></root>");
    LogCapture log;
    store.print();
    QCOMPARE(log.lines, (QStringList{"\"A:\"", "\"B:\"", "  - \"address\" : \"1\"", "  - \"mask\" : \"2\"",
                                     "\"settings:\"", "  - \"k\" : \"v\""}));
}

void TestConfigManager::startFailureLeavesStoreEmpty_data()
{
    QTest::addColumn<QString>("cause");
    QTest::addColumn<QString>("defaultFile");
    QTest::addColumn<QStringList>("log");
    QTest::addColumn<bool>("nextChangeSaved");

    QTest::newRow("folder cannot be created")
        << "home under a regular file" << defaultResource << QStringList{version, checked, copyFailed} << false;
    QTest::newRow("default cannot be copied")
        << "no default" << missingDefault << QStringList{version, checked, copyFailed} << true;
    QTest::newRow("file cannot be read") << "config.xml is a folder" << defaultResource
                                         << QStringList{version, checked, loading,
                                                        QStringLiteral("Cannot read file \"$READERROR\"")}
                                         << false;
}

// There is no retry after a failed start: the next change writes whatever the store holds.
void TestConfigManager::startFailureLeavesStoreEmpty()
{
    QFETCH(QString, cause);
    QFETCH(QString, defaultFile);
    QFETCH(QStringList, log);
    QFETCH(bool, nextChangeSaved);

    QString path = config();
    if (cause == QLatin1String("home under a regular file")) {
        // mkpath fails below a regular file even for root.
        QVERIFY(writeFile(home->filePath(QStringLiteral("plain")), "not a folder"));
        qputenv("HOME", home->filePath(QStringLiteral("plain/home")).toUtf8());
        path = home->filePath(QStringLiteral("plain/home/Library/Tarnwick/config.xml"));
    } else if (cause == QLatin1String("config.xml is a folder")) {
        QVERIFY(QDir().mkpath(config()));
    }

    LogCapture capture;
    ConfigManager store(QStringLiteral("config.xml"), defaultFile);
    QCOMPARE(capture.lines, expanded(log, path, defaultFile));
    QCOMPARE(store.getProfileEntries(), QStringList());
    QCOMPARE(modelDump(store), QString());

    QCOMPARE(apply(store, QStringLiteral("addEntry"), {"Lab", "10.0.0.0", "255.0.0.0"}), nextChangeSaved);
    ConfigManager reloaded = startStore(defaultFile);
    QCOMPARE(modelDump(reloaded),
             nextChangeSaved ? QStringLiteral("Lab: address=10.0.0.0, mask=255.0.0.0") : QString());
}

void TestConfigManager::saveReplacesTheFile_data()
{
    QTest::addColumn<QString>("cause");
    QTest::addColumn<bool>("saved");
    QTest::addColumn<QStringList>("log");

    // The copy of the compiled-in default keeps the resource's read-only permissions; saving must still
    // succeed, which it does by replacing the file instead of writing into it.
    QTest::newRow("read-only file in a writable folder") << "read-only file" << true << QStringList();
    QTest::newRow("file cannot be written")
        << "folder removed" << false << QStringList{QStringLiteral("Cannot write file \"$WRITEERROR\"")};
}

void TestConfigManager::saveReplacesTheFile()
{
    QFETCH(QString, cause);
    QFETCH(bool, saved);
    QFETCH(QStringList, log);

    ConfigManager store = startStore();
    QVERIFY(!(QFileInfo(config()).permissions() & QFile::WriteOwner));
    QVERIFY(QFile::setPermissions(config(), QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther));
    if (cause == QLatin1String("folder removed"))
        QVERIFY(QDir(folder()).removeRecursively());

    LogCapture capture;
    QCOMPARE(store.updateSetting(QStringLiteral("default_network_id"), QStringLiteral("42")), saved);
    QCOMPARE(capture.lines, expanded(log, config(), defaultResource));
    // A failed save keeps the change in memory.
    QCOMPARE(store.getParameter(QStringLiteral("settings"), QStringLiteral("default_network_id")),
             QStringLiteral("42"));
    QCOMPARE(fileBytes(config()).contains("<default_network_id>42</default_network_id>"), saved);
    QCOMPARE(bool(QFileInfo(config()).permissions() & QFile::WriteOwner), saved);
}

void TestConfigManager::restoreDefault_data()
{
    QTest::addColumn<QString>("cause");
    QTest::addColumn<QStringList>("log");
    QTest::addColumn<bool>("restored");
    QTest::addColumn<bool>("fileLeft");

    QTest::newRow("file and model replaced by the default")
        << QString() << QStringList{checked, copied, loading} << true << true;
    QTest::newRow("file cannot be removed") << "config.xml is a folder" << QStringList() << false << true;
    QTest::newRow("default cannot be copied") << "no default" << QStringList{checked, copyFailed} << false << false;
}

void TestConfigManager::restoreDefault()
{
    QFETCH(QString, cause);
    QFETCH(QStringList, log);
    QFETCH(bool, restored);
    QFETCH(bool, fileLeft);

    startWith(labText);
    const QString defaultFile = cause == QLatin1String("no default") ? missingDefault : defaultResource;
    ConfigManager store = startStore(defaultFile);
    if (cause == QLatin1String("config.xml is a folder")) {
        QVERIFY(QFile::remove(config()));
        QVERIFY(QDir().mkpath(config() + QStringLiteral("/inside")));
    }

    LogCapture capture;
    QCOMPARE(store.restoreDefault(), restored);
    QCOMPARE(capture.lines, expanded(log, config(), defaultFile));
    QCOMPARE(store.getProfileEntries(), restored ? defaultProfiles : QStringList{"Lab"});
    QCOMPARE(modelDump(store), restored ? defaultModel : labModel);
    QCOMPARE(QFileInfo::exists(config()), fileLeft);
    if (restored)
        QVERIFY(fileBytes(config()) == fileBytes(defaultResource));
}

void TestConfigManager::refusedOperationLeavesFileUntouched_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<bool>("result");

    // Rows follow each operation's checks in order; "to itself" rows prove a check comes before the
    // same-name shortcut.
    const QStringList lab{"10.0.0.0", "255.0.0.0"};
    QTest::newRow("add empty name") << "addEntry" << QStringList{""} + lab << false;
    QTest::newRow("add existing name") << "addEntry" << QStringList{"Intercom"} + lab << false;
    QTest::newRow("add settings") << "addEntry" << QStringList{"settings"} + lab << false;
    QTest::newRow("remove unknown, names are case-sensitive") << "removeEntry" << QStringList{"intercom"} << false;
    QTest::newRow("remove settings") << "removeEntry" << QStringList{"settings"} << false;
    QTest::newRow("update unknown") << "updateEntry" << QStringList{"Lab"} + lab << false;
    QTest::newRow("update settings") << "updateEntry" << QStringList{"settings"} + lab << false;
    QTest::newRow("rename unknown to itself") << "renameEntry" << QStringList{"Lab", "Lab"} << false;
    QTest::newRow("rename settings to itself") << "renameEntry" << QStringList{"settings", "settings"} << false;
    QTest::newRow("rename to settings") << "renameEntry" << QStringList{"Intercom", "settings"} << false;
    QTest::newRow("rename to empty name") << "renameEntry" << QStringList{"Intercom", ""} << false;
    QTest::newRow("rename to same name") << "renameEntry" << QStringList{"Intercom", "Intercom"} << true;
    QTest::newRow("rename to existing name") << "renameEntry" << QStringList{"Intercom", "LA-Network"} << false;
}

void TestConfigManager::refusedOperationLeavesFileUntouched()
{
    QFETCH(QString, operation);
    QFETCH(QStringList, arguments);
    QFETCH(bool, result);

    ConfigManager store = startStore();
    // Any save would rewrite the file without this trailing comment.
    const QByteArray marked = fileBytes(config()) + "<!-- not written since -->\n";
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
    QTest::addColumn<QString>("model");

    const QByteArray two = "<root><config><name>A</name><address>1</address><gateway>3</gateway></config>"
                           "<config><name>B</name></config><settings><k>v</k></settings></root>";
    QTest::newRow("add Settings as an ordinary profile")
        << two << "addEntry" << QStringList{"Settings", "4", "5", "6"} << QStringList{"A", "B", "Settings"}
        << "A: address=1, gateway=3 | B: | Settings: address=4, gateway=6, mask=5 | settings: k=v";
    QTest::newRow("remove every occurrence of a repeated name")
        << QByteArray("<root><config><name>A</name></config><config><name>B</name></config>"
                      "<config><name>A</name></config></root>")
        << "removeEntry" << QStringList{"A"} << QStringList{"B"} << "B:";
    QTest::newRow("update replaces the whole profile, gateway included")
        << two << "updateEntry" << QStringList{"A", "4", "5"} << QStringList{"A", "B"}
        << "A: address=4, mask=5 | B: | settings: k=v";
    QTest::newRow("rename keeps the position") << two << "renameEntry" << QStringList{"A", "C"} << QStringList{"C", "B"}
                                               << "B: | C: address=1, gateway=3 | settings: k=v";
    QTest::newRow("new setting joins the others")
        << two << "updateSetting" << QStringList{"j", "w"} << QStringList{"A", "B"}
        << "A: address=1, gateway=3 | B: | settings: j=w, k=v";
    QTest::newRow("first setting creates the settings")
        << QByteArray("<root><config><name>A</name></config></root>") << "updateSetting" << QStringList{"k", "v"}
        << QStringList{"A"} << "A: | settings: k=v";
}

void TestConfigManager::changeIsWrittenThrough()
{
    QFETCH(QByteArray, startText);
    QFETCH(QString, operation);
    QFETCH(QStringList, arguments);
    QFETCH(QStringList, profiles);
    QFETCH(QString, model);

    startWith(startText);
    ConfigManager store = startStore();
    QVERIFY(apply(store, operation, arguments));
    QCOMPARE(store.getProfileEntries(), profiles);
    QCOMPARE(modelDump(store), model);
    // What is on disk is the model in memory.
    ConfigManager reloaded = startStore();
    QCOMPARE(reloaded.getProfileEntries(), profiles);
    QCOMPARE(modelDump(reloaded), model);
}

QTEST_GUILESS_MAIN(TestConfigManager)
#include "tst_configmanager.moc"
