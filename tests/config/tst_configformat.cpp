#include "config/configmanager.h"
#include "tests/config/confighelpers.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTemporaryFile>
#include <QTest>

namespace {

const QString defaultModel =
    QStringLiteral("APIPA-FIX: address=169.254.0.0, mask=255.255.0.0"
                   " | Intercom: address=192.168.3.0, gateway=192.168.3.1, mask=255.255.255.0"
                   " | LA-Network: address=192.168.1.0, gateway=192.168.1.1, mask=255.255.255.0"
                   " | Management: address=192.168.0.0, gateway=192.168.0.1, mask=255.255.254.0"
                   " | settings: default_network_id=201, forbidden_interfaces=Thunderbolt Bridge, Pont Thunderbolt");

const QStringList defaultProfiles{QStringLiteral("LA-Network"), QStringLiteral("Intercom"),
                                  QStringLiteral("Management"), QStringLiteral("APIPA-FIX")};

const QByteArray declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

QByteArray defaultText()
{
    return fileBytes(defaultResource);
}

QByteArray nested(const QByteArray& tag, int depth)
{
    return ("<" + tag + ">").repeated(depth);
}

QByteArray closed(const QByteArray& tag, int depth)
{
    return ("</" + tag + ">").repeated(depth);
}

// One profile block exactly as the writer lays it out.
QByteArray profileBlock(const QByteArray& name, const QByteArray& address, const QByteArray& mask,
                        const QByteArray& gateway)
{
    QByteArray block = "   <config>\n      <name>" + name + "</name>\n      <address>" + address + "</address>\n" +
                       "      <mask>" + mask + "</mask>\n";
    if (!gateway.isNull())
        block += "      <gateway>" + gateway + "</gateway>\n";
    return block + "   </config>\n";
}

} // namespace

class TestConfigFormat : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void readsFileText_data();
    void readsFileText();
    void readingAddsToWhatIsHeld();
    void namelessFirstSectionLandsOnHeldProfile();
    void refusesEntityExpansionBombs_data();
    void refusesEntityExpansionBombs();
    void survivesDeeplyNestedElements_data();
    void survivesDeeplyNestedElements();
    void roundTripsHugeFiles_data();
    void roundTripsHugeFiles();

    void writesModel_data();
    void writesModel();
    void writtenSpecialTextReadsBackUnchanged();
    void defaultConfigurationReproducesItsOwnBytes();

private:
    QTemporaryDir home;
};

void TestConfigFormat::initTestCase()
{
    QVERIFY(home.isValid());
    qputenv("HOME", home.path().toUtf8());
}

void TestConfigFormat::readsFileText_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QStringList>("profiles");
    QTest::addColumn<QString>("model");
    QTest::addColumn<bool>("incorrectFile");

    QTest::newRow("default configuration") << defaultText() << defaultProfiles << defaultModel << false;
    QTest::newRow("empty file") << QByteArray() << QStringList() << QString() << false;
    QTest::newRow("declaration and comment, no element") << declaration + "<!-- nothing yet -->\n"
                                                         << QStringList() << QString() << false;
    QTest::newRow("empty root") << declaration + "<root/>" << QStringList() << QString() << false;
    QTest::newRow("document element Root")
        << QByteArray("<Root><config><name>A</name></config></Root>") << QStringList() << QString() << true;
    QTest::newRow("document element config")
        << QByteArray("<config><name>A</name><address>1</address></config>") << QStringList() << QString() << true;
    QTest::newRow("not XML") << QByteArray("LA-Network 192.168.1.0 255.255.255.0\n") << QStringList() << QString()
                             << false;
    QTest::newRow("binary bytes") << QByteArray("\x00\xff\xfe\x01<\x80root\x9b>\x00\x00", 14) << QStringList()
                                  << QString() << false;
    QTest::newRow("UTF-8 byte order mark")
        << "\xef\xbb\xbf" + declaration + "<root><config><name>A</name><address>1</address></config></root>"
        << QStringList{"A"} << "A: address=1" << false;
    QTest::newRow("non-ASCII name and value")
        << QByteArray("<root><config><name>B\xc3\xbcro</name><address>\xe2\x82\xac</address></config></root>")
        << QStringList{QStringLiteral(u"B\u00fcro")} << QStringLiteral(u"B\u00fcro: address=\u20ac") << false;

    QTest::newRow("name last in its section")
        << QByteArray("<root><config><address>1</address><mask>2</mask><name>A</name></config></root>")
        << QStringList{"A"} << "A: address=1, mask=2" << false;
    QTest::newRow("section without name replaces the previous one")
        << QByteArray("<root><config><name>A</name><address>1</address><gateway>3</gateway></config>"
                      "<config><address>9</address></config></root>")
        << QStringList{"A"} << "A: address=9" << false;
    QTest::newRow("first section without name is dropped")
        << QByteArray("<root><config><address>9</address></config>"
                      "<config><name>A</name><address>1</address></config></root>")
        << QStringList{"A"} << "A: address=1" << false;
    QTest::newRow("section without name after settings replaces the settings")
        << QByteArray("<root><config><name>A</name></config><settings><default_network_id>201</default_network_id>"
                      "</settings><config><address>9</address></config></root>")
        << QStringList{"A"} << "A: | settings: address=9" << false;
    QTest::newRow("same name twice, the later section wins")
        << QByteArray("<root><config><name>A</name><address>1</address><mask>2</mask></config>"
                      "<config><name>B</name></config><config><name>A</name><address>5</address></config></root>")
        << QStringList{"A", "B", "A"} << "A: address=5 | B:" << false;
    QTest::newRow("two names in one section, filed under the last")
        << QByteArray("<root><config><name>A</name><name>B</name><address>1</address></config></root>")
        << QStringList{"A", "B"} << "B: address=1" << false;
    QTest::newRow("repeated value, the later one wins")
        << QByteArray("<root><config><name>A</name><address>1</address><address>2</address></config></root>")
        << QStringList{"A"} << "A: address=2" << false;
    QTest::newRow("settings before the profiles")
        << QByteArray("<root><settings><default_network_id>7</default_network_id></settings>"
                      "<config><name>A</name></config></root>")
        << QStringList{"A"} << "A: | settings: default_network_id=7" << false;
    QTest::newRow("second settings replaces the first")
        << QByteArray("<root><settings><default_network_id>7</default_network_id><x>1</x></settings>"
                      "<config><name>A</name></config>"
                      "<settings><forbidden_interfaces>Wi-Fi</forbidden_interfaces></settings></root>")
        << QStringList{"A"} << "A: | settings: forbidden_interfaces=Wi-Fi" << false;
    QTest::newRow("empty settings") << QByteArray("<root><settings/></root>") << QStringList() << "settings:" << false;
    QTest::newRow("unknown child of settings is kept")
        << QByteArray("<root><settings><theme>dark</theme><default_network_id>7</default_network_id></settings>"
                      "</root>")
        << QStringList() << "settings: default_network_id=7, theme=dark" << false;
    QTest::newRow("unknown child of a profile is kept")
        << QByteArray("<root><config><name>A</name><vlan>12</vlan></config></root>") << QStringList{"A"} << "A: vlan=12"
        << false;
    QTest::newRow("unknown element under root is skipped whole")
        << QByteArray("<root><group><config><name>Hidden</name></config><settings/></group>"
                      "<config><name>A</name></config></root>")
        << QStringList{"A"} << "A:" << false;
    QTest::newRow("Config is not a profile")
        << QByteArray("<root><Config><name>Hidden</name></Config><config><name>A</name></config></root>")
        << QStringList{"A"} << "A:" << false;
    QTest::newRow("Settings is not the settings")
        << QByteArray("<root><Settings><default_network_id>7</default_network_id></Settings></root>") << QStringList()
        << QString() << false;
    QTest::newRow("Name is an ordinary key") << QByteArray("<root><config><name>A</name><address>1</address></config>"
                                                           "<config><Name>B</Name><address>2</address></config></root>")
                                             << QStringList{"A"} << "A: Name=B, address=2" << false;
    QTest::newRow("empty gateway element") << QByteArray("<root><config><name>A</name><gateway/></config></root>")
                                           << QStringList{"A"} << "A: gateway=" << false;
    QTest::newRow("text kept verbatim")
        << QByteArray("<root><config><name> A </name><address>\n 1 \n</address></config></root>") << QStringList{" A "}
        << " A : address=\n 1 \n"
        << false;
    QTest::newRow("entities and character references")
        << QByteArray("<root><config><name>A&amp;B</name><address>&lt;&gt;&#65;&#x42;&apos;</address></config></root>")
        << QStringList{"A&B"} << "A&B: address=<>AB'" << false;
    QTest::newRow("CDATA")
        << QByteArray("<root><config><name><![CDATA[A<&>]]></name><address>1<![CDATA[<2>]]>3</address></config></root>")
        << QStringList{"A<&>"} << "A<&>: address=1<2>3" << false;
    QTest::newRow("comments between and inside values")
        << QByteArray("<!-- head --><root><!-- a --><config><!-- b --><name>A<!-- c --></name>"
                      "<address>1<!-- d -->2</address></config></root><!-- tail -->")
        << QStringList{"A"} << "A: address=12" << false;
    QTest::newRow("processing instructions between and inside values")
        << QByteArray("<?app one?><root><?app two?><config><name>A</name><address>1<?app three?>2</address>"
                      "</config></root>")
        << QStringList{"A"} << "A: address=12" << false;

    QTest::newRow("nested element inside a value stops reading")
        << QByteArray("<root><config><name>A</name><address>1<b>x</b>2</address><mask>3</mask></config>"
                      "<config><name>B</name></config></root>")
        << QStringList{"A"} << "A: address=1" << false;
    QTest::newRow("nested element inside a setting stops reading")
        << QByteArray("<root><config><name>A</name></config><settings><x>1</x><y><z/></y><w>2</w></settings>"
                      "<config><name>B</name></config></root>")
        << QStringList{"A"} << "A: | settings: x=1, y=" << false;
    QTest::newRow("truncated inside a section keeps what was read")
        << defaultText().left(defaultText().indexOf("<gateway>192.168.0.1")) << defaultProfiles.mid(0, 3)
        << "Intercom: address=192.168.3.0, gateway=192.168.3.1, mask=255.255.255.0"
           " | LA-Network: address=192.168.1.0, gateway=192.168.1.1, mask=255.255.255.0"
           " | Management: address=192.168.0.0, mask=255.255.254.0"
        << false;
    QTest::newRow("truncated inside a tag")
        << defaultText().left(defaultText().indexOf("<config>") + 4) << QStringList() << QString() << false;
    QTest::newRow("undefined entity stops reading")
        << QByteArray("<root><config><name>A</name><address>&nbsp;</address></config>"
                      "<config><name>B</name></config></root>")
        << QStringList{"A"} << "A: address=" << false;
}

void TestConfigFormat::readsFileText()
{
    QFETCH(QByteArray, text);
    QFETCH(QStringList, profiles);
    QFETCH(QString, model);
    QFETCH(bool, incorrectFile);

    ConfigManager store = emptyStore();
    const QString error = readText(store, text);

    QCOMPARE(store.getProfileEntries(), profiles);
    QCOMPARE(modelDump(store), model);
    QCOMPARE(error == QLatin1String("Incorrect file"), incorrectFile);
}

void TestConfigFormat::readingAddsToWhatIsHeld()
{
    ConfigManager store = emptyStore();
    readText(store, "<root><config><name>A</name><address>1</address></config><settings><x>1</x></settings></root>");
    readText(store, "<root><config><name>B</name></config><config><name>A</name><mask>2</mask></config>"
                    "<settings><y>2</y></settings></root>");

    QCOMPARE(store.getProfileEntries(), (QStringList{"A", "B", "A"}));
    QCOMPARE(modelDump(store), QStringLiteral("A: mask=2 | B: | settings: y=2"));
    // "settings" now stands twice in the list of names; the section is still written once.
    QCOMPARE(writtenText(store).count("<settings>"), 1);
}

void TestConfigFormat::namelessFirstSectionLandsOnHeldProfile()
{
    ConfigManager store = emptyStore();
    readText(store, "<root><config><name>A</name><address>1</address></config></root>");
    readText(store, "<root><config><address>9</address></config></root>");

    QCOMPARE(store.getProfileEntries(), QStringList{"A"});
    QCOMPARE(modelDump(store), QStringLiteral("A: address=9"));
}

void TestConfigFormat::refusesEntityExpansionBombs_data()
{
    QTest::addColumn<QByteArray>("text");

    QByteArray laughs = "<?xml version=\"1.0\"?>\n<!DOCTYPE root [\n<!ENTITY lol0 \"lol\">\n";
    for (int level = 1; level <= 9; ++level) {
        const QByteArray previous = "&lol" + QByteArray::number(level - 1) + ";";
        laughs += "<!ENTITY lol" + QByteArray::number(level) + " \"" + previous.repeated(10) + "\">\n";
    }
    laughs += "]>\n<root><config><name>A</name><address>&lol9;</address></config></root>\n";
    QTest::newRow("nested expansion to a billion characters") << laughs;

    QTest::newRow("one entity of a megabyte, used a thousand times")
        << "<!DOCTYPE root [<!ENTITY big \"" + QByteArray(1 << 20, 'x') + "\">]><root><config><name>A</name><address>" +
               QByteArray("&big;").repeated(1000) + "</address></config></root>";
}

void TestConfigFormat::refusesEntityExpansionBombs()
{
    QFETCH(QByteArray, text);

    ConfigManager store = emptyStore();
    QElapsedTimer timer;
    timer.start();
    const QString error = readText(store, text);

    QVERIFY2(timer.elapsed() < 5000, qPrintable(QStringLiteral("took %1 ms").arg(timer.elapsed())));
    QVERIFY2(!error.isEmpty(), "the expansion was not refused");
    QCOMPARE(store.getProfileEntries(), QStringList{"A"});
    QVERIFY(store.getParameter(QStringLiteral("A"), QStringLiteral("address")).size() < (1 << 20));
}

void TestConfigFormat::survivesDeeplyNestedElements_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QStringList>("profiles");
    QTest::addColumn<bool>("incorrectFile");

    const int depth = 100000;
    const QByteArray a = "<config><name>A</name></config>";
    const QByteArray b = "<config><name>B</name></config>";
    QTest::newRow("unknown element, reading goes on after it")
        << "<root>" + a + nested("x", depth) + closed("x", depth) + b + "</root>" << QStringList{"A", "B"} << false;
    QTest::newRow("inside a value") << "<root>" + a + "<config><name>C</name><address>" + nested("x", depth) +
                                           closed("x", depth) + "</address></config>" + b + "</root>"
                                    << QStringList{"A", "C"} << false;
    QTest::newRow("sections inside sections")
        << "<root>" + nested("config", depth) + "<name>A</name>" + closed("config", depth) + "</root>" << QStringList()
        << false;
    QTest::newRow("wrong document element") << nested("x", depth) + closed("x", depth) << QStringList() << true;
}

void TestConfigFormat::survivesDeeplyNestedElements()
{
    QFETCH(QByteArray, text);
    QFETCH(QStringList, profiles);
    QFETCH(bool, incorrectFile);

    ConfigManager store = emptyStore();
    const QString error = readText(store, text);

    QCOMPARE(store.getProfileEntries(), profiles);
    QCOMPARE(error == QLatin1String("Incorrect file"), incorrectFile);
}

void TestConfigFormat::roundTripsHugeFiles_data()
{
    QTest::addColumn<int>("profileCount");
    QTest::addColumn<int>("valueSize");

    QTest::newRow("150000 profiles") << 150000 << 12;
    QTest::newRow("one value of 32 MB") << 1 << 32 * 1024 * 1024;
}

// Large files written in the writer's own layout must come back byte for byte.
void TestConfigFormat::roundTripsHugeFiles()
{
    QFETCH(int, profileCount);
    QFETCH(int, valueSize);

    QByteArray text = declaration + "<root>\n";
    const QByteArray address(valueSize, 'a');
    for (int i = 0; i < profileCount; ++i)
        text += profileBlock("P" + QByteArray::number(i), address, "255.255.255.0",
                             i % 2 ? QByteArray("10.0.0.1") : QByteArray());
    text += "   <settings>\n      <default_network_id>201</default_network_id>\n   </settings>\n</root>\n";
    QVERIFY(text.size() > 10 * 1000 * 1000);

    QTemporaryFile file;
    QVERIFY(file.open());
    QCOMPARE(file.write(text), text.size());
    file.close();

    ConfigManager store = emptyStore();
    {
        LogCapture quiet;
        QVERIFY(store.load(file.fileName()));
    }
    const QStringList profiles = store.getProfileEntries();
    QCOMPARE(profiles.size(), profileCount);
    const QString last = QStringLiteral("P%1").arg(profileCount - 1);
    QCOMPARE(profiles.last(), last);
    QCOMPARE(store.getParameter(last, QStringLiteral("address")).size(), valueSize);
    QCOMPARE(store.getParameter(QStringLiteral("settings"), QStringLiteral("default_network_id")),
             QStringLiteral("201"));

    const QByteArray written = writtenText(store);
    QCOMPARE(written.size(), text.size());
    QVERIFY(written == text);
}

void TestConfigFormat::writesModel_data()
{
    QTest::addColumn<QByteArray>("model");
    QTest::addColumn<QByteArray>("expected");

    QTest::newRow("empty model") << QByteArray() << declaration + "<root/>\n";
    QTest::newRow("values in fixed order after the name")
        << QByteArray("<root><config><gateway>3</gateway><mask>2</mask><address>1</address><name>A</name></config>"
                      "</root>")
        << declaration + "<root>\n" + profileBlock("A", "1", "2", "3") + "</root>\n";
    QTest::newRow("missing values are left out")
        << QByteArray("<root><config><name>A</name><mask>2</mask></config><config><name>B</name></config></root>")
        << declaration + "<root>\n   <config>\n      <name>A</name>\n      <mask>2</mask>\n   </config>\n"
                         "   <config>\n      <name>B</name>\n   </config>\n</root>\n";
    QTest::newRow("empty values as start and end tag")
        << QByteArray("<root><config><name>A</name><address/><mask></mask><gateway/></config></root>")
        << declaration + "<root>\n" + profileBlock("A", "", "", "") + "</root>\n";
    QTest::newRow("escaping of ampersand and angle brackets")
        << QByteArray("<root><config><name>R&amp;D &lt;lab&gt;</name><address>a&amp;b</address>"
                      "<mask>&lt;m&gt;</mask></config><settings><note>x &gt; y &amp;&amp; y &lt; z</note>"
                      "</settings></root>")
        << declaration + "<root>\n" + profileBlock("R&amp;D &lt;lab&gt;", "a&amp;b", "&lt;m&gt;", QByteArray()) +
               "   <settings>\n      <note>x &gt; y &amp;&amp; y &lt; z</note>\n   </settings>\n</root>\n";
    QTest::newRow("extra profile keys are dropped")
        << QByteArray("<root><config><name>A</name><vlan>12</vlan><address>1</address><Name>x</Name>"
                      "<mask>2</mask></config></root>")
        << declaration + "<root>\n" + profileBlock("A", "1", "2", QByteArray()) + "</root>\n";
    QTest::newRow("settings keys all kept, in key order")
        << QByteArray("<root><settings><zone>z</zone><forbidden_interfaces>Wi-Fi</forbidden_interfaces>"
                      "<Upper>u</Upper><default_network_id>201</default_network_id></settings></root>")
        << declaration +
               "<root>\n   <settings>\n      <Upper>u</Upper>\n      <default_network_id>201</default_network_id>\n"
               "      <forbidden_interfaces>Wi-Fi</forbidden_interfaces>\n      <zone>z</zone>\n"
               "   </settings>\n</root>\n";
    QTest::newRow("empty settings") << QByteArray("<root><settings/></root>")
                                    << declaration + "<root>\n   <settings/>\n</root>\n";
    QTest::newRow("settings written after all profiles")
        << QByteArray("<root><settings><k>v</k></settings><config><name>A</name><address>1</address></config>"
                      "</root>")
        << declaration + "<root>\n   <config>\n      <name>A</name>\n      <address>1</address>\n   </config>\n"
                         "   <settings>\n      <k>v</k>\n   </settings>\n</root>\n";
    QTest::newRow("profiles in list order, not name order")
        << QByteArray("<root><config><name>b</name></config><config><name>C</name></config>"
                      "<config><name>a</name></config></root>")
        << declaration + "<root>\n   <config>\n      <name>b</name>\n   </config>\n   <config>\n      <name>C</name>\n"
                         "   </config>\n   <config>\n      <name>a</name>\n   </config>\n</root>\n";
    QTest::newRow("duplicate name written twice with the later entry")
        << QByteArray("<root><config><name>A</name><address>1</address></config>"
                      "<config><name>A</name><address>2</address></config></root>")
        << declaration + "<root>\n   <config>\n      <name>A</name>\n      <address>2</address>\n   </config>\n"
                         "   <config>\n      <name>A</name>\n      <address>2</address>\n   </config>\n</root>\n";
    QTest::newRow("name without an entry written bare")
        << QByteArray("<root><config><name>A</name><name>B</name><address>1</address></config></root>")
        << declaration + "<root>\n   <config>\n      <name>A</name>\n   </config>\n"
                         "   <config>\n      <name>B</name>\n      <address>1</address>\n   </config>\n</root>\n";
}

void TestConfigFormat::writesModel()
{
    QFETCH(QByteArray, model);
    QFETCH(QByteArray, expected);

    ConfigManager store = emptyStore();
    readText(store, model);

    QCOMPARE(QString::fromUtf8(writtenText(store)), QString::fromUtf8(expected));
}

void TestConfigFormat::writtenSpecialTextReadsBackUnchanged()
{
    ConfigManager store = emptyStore();
    readText(store, "<root><config><name>A&amp;&lt;B&gt;</name><address>1&amp;2</address>"
                    "<mask>&lt;&gt;</mask><gateway/></config><settings><q>\"'</q></settings></root>");
    const QString before = modelDump(store);

    ConfigManager copy = emptyStore();
    readText(copy, writtenText(store));

    QCOMPARE(copy.getProfileEntries(), store.getProfileEntries());
    QCOMPARE(modelDump(copy), before);
    QCOMPARE(copy.getParameter(QStringLiteral("A&<B>"), QStringLiteral("gateway")), QString(""));
}

void TestConfigFormat::defaultConfigurationReproducesItsOwnBytes()
{
    const QByteArray reference = fileBytes(QStringLiteral(TARNWICK_CONFIG_REFERENCE));
    QCOMPARE(reference.size(), 828);

    ConfigManager store = emptyStore();
    readText(store, defaultText());
    const QByteArray produced = writtenText(store);

    const QString outputPath = QStringLiteral(TARNWICK_CONFIG_OUTPUT_DIR "/written-default-config.xml");
    QFile output(outputPath);
    QVERIFY2(output.open(QIODevice::WriteOnly | QIODevice::Truncate), qPrintable(outputPath));
    output.write(produced);
    output.close();

    QCOMPARE(QString::fromUtf8(fileBytes(outputPath)), QString::fromUtf8(reference));
    QVERIFY(fileBytes(outputPath) == reference);
}

QTEST_GUILESS_MAIN(TestConfigFormat)
#include "tst_configformat.moc"
