#include "tests/config/confighelpers.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTemporaryFile>
#include <QTest>

namespace {

QByteArray defaultText()
{
    return fileBytes(defaultResource);
}

// One profile block exactly as the writer lays it out; a null gateway is left out.
QByteArray profileBlock(const QByteArray& name, const QByteArray& address, const QByteArray& mask,
                        const QByteArray& gateway = QByteArray())
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
    void initTestCase()
    {
        QVERIFY(home.isValid());
        qputenv("HOME", home.path().toUtf8());
    }
    void readsFileText_data();
    void readsFileText();
    void readingAddsToWhatIsHeld();
    void roundTripsHugeFile();
    void writesModel_data();
    void writesModel();
    void defaultConfigurationReproducesItsOwnBytes();

private:
    QTemporaryDir home;
};

void TestConfigFormat::readsFileText_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QStringList>("profiles");
    QTest::addColumn<QString>("model");
    QTest::addColumn<bool>("incorrectFile");

    QTest::newRow("default configuration") << defaultText() << defaultProfiles << defaultModel << false;
    QTest::newRow("empty file") << QByteArray() << QStringList() << QString() << false;
    QTest::newRow("empty root") << declaration + "<root/>" << QStringList() << QString() << false;
    QTest::newRow("document element Root")
        << QByteArray("<Root><config><name>A</name></config></Root>") << QStringList() << QString() << true;
    QTest::newRow("not XML") << QByteArray("LA-Network 192.168.1.0 255.255.255.0\n") << QStringList() << QString()
                             << false;
    QTest::newRow("binary bytes") << QByteArray("\x00\xff\xfe\x01<\x80root\x9b>\x00\x00", 14) << QStringList()
                                  << QString() << false;
    QTest::newRow("UTF-8 with byte order mark")
        << "\xef\xbb\xbf" + declaration +
               "<root><config><name>B\xc3\xbcro</name><address>\xe2\x82\xac</address>"
               "</config></root>"
        << QStringList{QStringLiteral(u"B\u00fcro")} << QStringLiteral(u"B\u00fcro: address=\u20ac") << false;

    QTest::newRow("name last in its section, text kept verbatim")
        << QByteArray("<root><config><address>\n 1 </address><mask>2</mask><name> A </name></config></root>")
        << QStringList{" A "} << " A : address=\n 1 , mask=2" << false;
    QTest::newRow("section without name: first dropped, others replace the one before, even settings")
        << QByteArray("<root><config><address>0</address></config><config><name>A</name><address>1</address>"
                      "<gateway>3</gateway></config><config><address>9</address></config>"
                      "<settings><x>7</x></settings><config><mask>8</mask></config></root>")
        << QStringList{"A"} << "A: address=9 | settings: mask=8" << false;
    QTest::newRow("same name or value twice, the later one wins")
        << QByteArray("<root><config><name>A</name><address>1</address><mask>2</mask></config>"
                      "<config><name>B</name></config><config><name>A</name><address>5</address>"
                      "<address>6</address></config></root>")
        << QStringList{"A", "B", "A"} << "A: address=6 | B:" << false;
    QTest::newRow("two names in one section, filed under the last")
        << QByteArray("<root><config><name>A</name><name>B</name><address>1</address></config></root>")
        << QStringList{"A", "B"} << "B: address=1" << false;
    QTest::newRow("second settings replaces the first")
        << QByteArray("<root><settings><default_network_id>7</default_network_id></settings>"
                      "<config><name>A</name></config>"
                      "<settings><forbidden_interfaces>Wi-Fi</forbidden_interfaces></settings></root>")
        << QStringList{"A"} << "A: | settings: forbidden_interfaces=Wi-Fi" << false;
    QTest::newRow("unknown keys and Name are kept as keys")
        << QByteArray("<root><config><name>A</name><Name>B</Name><vlan>12</vlan></config>"
                      "<settings><theme>dark</theme></settings></root>")
        << QStringList{"A"} << "A: Name=B, vlan=12 | settings: theme=dark" << false;
    QTest::newRow("unknown elements, Config and Settings under root are skipped whole")
        << QByteArray("<root><group><config><name>G</name></config><settings/></group>"
                      "<Config><name>C</name></Config><Settings><x>7</x></Settings>"
                      "<config><name>A</name></config></root>")
        << QStringList{"A"} << "A:" << false;
    QTest::newRow("empty gateway element") << QByteArray("<root><config><name>A</name><gateway/></config></root>")
                                           << QStringList{"A"} << "A: gateway=" << false;
    QTest::newRow("entities, character references and CDATA")
        << QByteArray("<root><config><name>A&amp;B</name><address>&lt;&gt;&#65;&#x42;&apos;&quot;</address>"
                      "<mask>1<![CDATA[<&>]]>2</mask></config></root>")
        << QStringList{"A&B"} << "A&B: address=<>AB'\", mask=1<&>2" << false;
    QTest::newRow("comments and processing instructions between and inside values")
        << QByteArray("<?app one?><!-- head --><root><!-- a --><config><?app two?><name>A<!-- c --></name>"
                      "<address>1<!-- d -->2<?app three?>3</address></config></root><!-- tail -->")
        << QStringList{"A"} << "A: address=123" << false;
    QTest::newRow("nested element inside a value stops reading, what was read is kept")
        << QByteArray("<root><config><name>A</name><address>1<b>x</b>2</address><mask>3</mask></config>"
                      "<config><name>B</name></config></root>")
        << QStringList{"A"} << "A: address=1" << false;
    QTest::newRow("truncated inside a section keeps what was read")
        << defaultText().left(defaultText().indexOf("<gateway>192.168.0.1")) << defaultProfiles.mid(0, 3)
        << "Intercom: address=192.168.3.0, gateway=192.168.3.1, mask=255.255.255.0"
           " | LA-Network: address=192.168.1.0, gateway=192.168.1.1, mask=255.255.255.0"
           " | Management: address=192.168.0.0, mask=255.255.254.0"
        << false;

    // Hostile files must be refused quickly, keeping what was read before.
    QByteArray laughs = "<!DOCTYPE root [<!ENTITY lol0 \"lol\">";
    for (int level = 1; level <= 9; ++level)
        laughs += "<!ENTITY lol" + QByteArray::number(level) + " \"" +
                  ("&lol" + QByteArray::number(level - 1) + ";").repeated(10) + "\">";
    QTest::newRow("entity expansion to a billion characters")
        << laughs + "]><root><config><name>A</name><address>&lol9;</address></config></root>" << QStringList{"A"}
        << "A: address=" << false;
    QTest::newRow("entity of a megabyte used a thousand times")
        << "<!DOCTYPE root [<!ENTITY big \"" + QByteArray(1 << 20, 'x') + "\">]><root><config><name>A</name><address>" +
               QByteArray("&big;").repeated(1000) + "</address></config></root>"
        << QStringList{"A"} << "A: address=" << false;
    const int depth = 100000;
    const QByteArray deep = QByteArray("<x>").repeated(depth) + QByteArray("</x>").repeated(depth);
    QTest::newRow("deeply nested unknown element, reading goes on after it")
        << "<root><config><name>A</name></config>" + deep + "<config><name>B</name></config></root>"
        << QStringList{"A", "B"} << "A: | B:" << false;
    QTest::newRow("deeply nested element inside a value stops reading")
        << "<root><config><name>A</name><address>" + deep + "</address></config><config><name>B</name></config></root>"
        << QStringList{"A"} << "A: address=" << false;
}

void TestConfigFormat::readsFileText()
{
    QFETCH(QByteArray, text);
    QFETCH(QStringList, profiles);
    QFETCH(QString, model);
    QFETCH(bool, incorrectFile);

    ConfigManager store = emptyStore();
    QElapsedTimer timer;
    timer.start();
    const QString error = readText(store, text);

    QVERIFY2(timer.elapsed() < 5000, qPrintable(QStringLiteral("took %1 ms").arg(timer.elapsed())));
    QCOMPARE(store.getProfileEntries(), profiles);
    QCOMPARE(modelDump(store), model);
    QCOMPARE(error == QLatin1String("Incorrect file"), incorrectFile);
}

void TestConfigFormat::readingAddsToWhatIsHeld()
{
    ConfigManager store = emptyStore();
    readText(store, "<root><settings><x>1</x></settings><config><name>A</name><address>1</address></config></root>");
    // The nameless first section lands on the profile already held.
    readText(store, "<root><config><address>9</address></config><config><name>B</name></config>"
                    "<settings><y>2</y></settings></root>");

    QCOMPARE(store.getProfileEntries(), (QStringList{"A", "B"}));
    QCOMPARE(modelDump(store), QStringLiteral("A: address=9 | B: | settings: y=2"));
    // "settings" now stands twice in the list of names; the section is still written once.
    QCOMPARE(writtenText(store).count("<settings>"), 1);
}

// A large file written in the writer's own layout must come back byte for byte.
void TestConfigFormat::roundTripsHugeFile()
{
    const int count = 50000;
    const int valueSize = 8 << 20;
    QByteArray text = declaration + "<root>\n";
    for (int i = 0; i < count; ++i)
        text += profileBlock("P" + QByteArray::number(i), i ? "10.0.0.0" : QByteArray(valueSize, 'a'), "255.255.255.0",
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
    QCOMPARE(profiles.size(), count);
    QCOMPARE(profiles.last(), QStringLiteral("P%1").arg(count - 1));
    QCOMPARE(store.getParameter(QStringLiteral("P0"), QStringLiteral("address")).size(), valueSize);
    QVERIFY(writtenText(store) == text);
}

void TestConfigFormat::writesModel_data()
{
    QTest::addColumn<QByteArray>("model");
    QTest::addColumn<QByteArray>("body"); // what is written between the declaration's <root> and </root>

    QTest::newRow("empty model, empty root") << QByteArray() << QByteArray();
    QTest::newRow("known values in fixed order after the name, extra keys dropped")
        << QByteArray("<root><config><gateway>3</gateway><vlan>12</vlan><mask>2</mask><Name>x</Name>"
                      "<address>1</address><name>A</name></config></root>")
        << profileBlock("A", "1", "2", "3");
    QTest::newRow("profiles in list order, missing values left out")
        << QByteArray("<root><config><name>b</name><mask>2</mask></config><config><name>a</name></config></root>")
        << QByteArray("   <config>\n      <name>b</name>\n      <mask>2</mask>\n   </config>\n"
                      "   <config>\n      <name>a</name>\n   </config>\n");
    QTest::newRow("empty values as start and end tag")
        << QByteArray("<root><config><name>A</name><address/><mask></mask><gateway/></config></root>")
        << profileBlock("A", "", "", "");
    QTest::newRow("escaping of ampersand and angle brackets")
        << QByteArray("<root><config><name>R&amp;D &lt;lab&gt;</name><address>a&amp;b</address>"
                      "<mask>&lt;m&gt;</mask></config><settings><note>x &gt; y &amp;&amp; \"y\" &lt; 'z'</note>"
                      "</settings></root>")
        << profileBlock("R&amp;D &lt;lab&gt;", "a&amp;b", "&lt;m&gt;") +
               "   <settings>\n      <note>x &gt; y &amp;&amp; &quot;y&quot; &lt; 'z'</note>\n   </settings>\n";
    QTest::newRow("settings after all profiles, every key kept in key order")
        << QByteArray("<root><settings><zone>z</zone><Upper>u</Upper><default_network_id>201</default_network_id>"
                      "</settings><config><name>A</name><mask>1</mask></config></root>")
        << QByteArray("   <config>\n      <name>A</name>\n      <mask>1</mask>\n   </config>\n   <settings>\n"
                      "      <Upper>u</Upper>\n      <default_network_id>201</default_network_id>\n"
                      "      <zone>z</zone>\n   </settings>\n");
    QTest::newRow("empty settings") << QByteArray("<root><settings/></root>") << QByteArray("   <settings/>\n");
    QTest::newRow("duplicate name written twice with the later entry")
        << QByteArray("<root><config><name>A</name><address>1</address><mask>1</mask></config>"
                      "<config><name>A</name><address>2</address><mask>2</mask></config></root>")
        << profileBlock("A", "2", "2").repeated(2);
}

void TestConfigFormat::writesModel()
{
    QFETCH(QByteArray, model);
    QFETCH(QByteArray, body);

    ConfigManager store = emptyStore();
    readText(store, model);

    const QByteArray expected = declaration + (body.isEmpty() ? "<root/>\n" : "<root>\n" + body + "</root>\n");
    QCOMPARE(QString::fromUtf8(writtenText(store)), QString::fromUtf8(expected));
}

void TestConfigFormat::defaultConfigurationReproducesItsOwnBytes()
{
    const QByteArray reference = fileBytes(QStringLiteral(TARNWICK_CONFIG_REFERENCE));
    QCOMPARE(reference.size(), 828);
    ConfigManager store = emptyStore();
    readText(store, defaultText());

    // The writer's output lands in the build folder for inspection when it differs.
    QFile output(QStringLiteral(TARNWICK_CONFIG_OUTPUT_DIR "/written-default-config.xml"));
    QVERIFY2(output.open(QIODevice::WriteOnly | QIODevice::Truncate), qPrintable(output.fileName()));
    output.write(writtenText(store));
    output.close();
    QCOMPARE(fileBytes(output.fileName()), reference);
}

QTEST_GUILESS_MAIN(TestConfigFormat)
#include "tst_configformat.moc"
