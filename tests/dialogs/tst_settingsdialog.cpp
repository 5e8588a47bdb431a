#include "dialogs/settingsdialog.h"

#include "config/configmanager.h"
#include "tests/common/fakemac.h"
#include "tests/dialogs/boxanswerer.h"

#include <QDir>
#include <QFile>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSpinBox>
#include <QTest>
#include <QXmlStreamReader>

#include <memory>

namespace {

const QString defaultResource = QStringLiteral(":/resources/resources/default-config.xml");
const QStringList defaultForbidden{"Thunderbolt Bridge", "Pont Thunderbolt"};

QString configPath()
{
    return QDir::homePath() + QStringLiteral("/Library/Tarnwick/config.xml");
}

QByteArray fileBytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The settings section as written in the file, read without the store.
QMap<QString, QString> settingsOnDisk()
{
    QMap<QString, QString> settings;
    QFile file(configPath());
    if (!file.open(QIODevice::ReadOnly))
        return settings;
    QXmlStreamReader reader(&file);
    reader.readNextStartElement();
    while (reader.readNextStartElement()) {
        if (reader.name() != QLatin1String("settings")) {
            reader.skipCurrentElement();
            continue;
        }
        while (reader.readNextStartElement()) {
            const QString key = reader.name().toString();
            settings.insert(key, reader.readElementText());
        }
    }
    return settings;
}

} // namespace

class TestSettingsDialog : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void repairsStoredNetworkIdOnDisplay_data();
    void repairsStoredNetworkIdOnDisplay();
    void splitsForbiddenListAtCommaBlank_data();
    void splitsForbiddenListAtCommaBlank();
    void addsTrimmedNames_data();
    void addsTrimmedNames();
    void removesOnlyTheCurrentRow();
    void savesBothSettingsAndCloses_data();
    void savesBothSettingsAndCloses();
    void skipsListWhenNetworkIdCannotBeSaved();
    void closeDropsEdits();
    void restoresDefaultsOnlyAfterYes_data();
    void restoresDefaultsOnlyAfterYes();

private:
    void open();
    template <typename T> T* child(const char* name) const;
    QSpinBox* spinBox() const { return child<QSpinBox>("spinBoxNetworkId"); }
    QListWidget* list() const { return child<QListWidget>("listForbidden"); }
    QLineEdit* nameField() const { return child<QLineEdit>("lineEditForbidden"); }
    void click(const char* button);
    void chooseRow(int row);
    void addName(const QString& text);
    QStringList rows() const;

    std::unique_ptr<FakeMac> fake;
    std::unique_ptr<BoxAnswerer> boxes;
    std::unique_ptr<ConfigManager> store;
    std::unique_ptr<SettingsDialog> dialog;
};

void TestSettingsDialog::init()
{
    fake = std::make_unique<FakeMac>();
    boxes = std::make_unique<BoxAnswerer>();
    store = std::make_unique<ConfigManager>(QStringLiteral("config.xml"), defaultResource);
}

void TestSettingsDialog::cleanup()
{
    BoxAnswerer::closeLeftovers();
    dialog.reset();
    store.reset();
    boxes.reset();
    fake.reset();
}

void TestSettingsDialog::open()
{
    dialog = std::make_unique<SettingsDialog>(*store, nullptr);
    dialog->show();
    QVERIFY(QTest::qWaitForWindowActive(dialog.get()));
}

template <typename T> T* TestSettingsDialog::child(const char* name) const
{
    T* widget = dialog->findChild<T*>(QLatin1String(name));
    if (!widget)
        qFatal("no widget %s", name);
    return widget;
}

void TestSettingsDialog::click(const char* button)
{
    QTest::mouseClick(child<QPushButton>(button), Qt::LeftButton);
}

void TestSettingsDialog::chooseRow(int row)
{
    const QRect rect = list()->visualItemRect(list()->item(row));
    QTest::mouseClick(list()->viewport(), Qt::LeftButton, Qt::NoModifier, rect.center());
}

void TestSettingsDialog::addName(const QString& text)
{
    QTest::keyClicks(nameField(), text);
    click("buttonAdd");
}

QStringList TestSettingsDialog::rows() const
{
    QStringList names;
    for (int row = 0; row < list()->count(); ++row)
        names.append(list()->item(row)->text());
    return names;
}

void TestSettingsDialog::repairsStoredNetworkIdOnDisplay_data()
{
    QTest::addColumn<QString>("stored");
    QTest::addColumn<int>("shown");

    QTest::newRow("zero") << "0" << 201;
    QTest::newRow("above range") << "255" << 201;
    QTest::newRow("negative") << "-7" << 201;
    QTest::newRow("not a number") << "abc" << 201;
    QTest::newRow("empty") << "" << 201;
    QTest::newRow("beyond int") << "4294967297" << 201;
    QTest::newRow("lowest") << "1" << 1;
    QTest::newRow("highest") << "254" << 254;
    QTest::newRow("ordinary") << "42" << 42;
}

void TestSettingsDialog::repairsStoredNetworkIdOnDisplay()
{
    QFETCH(QString, stored);
    QFETCH(int, shown);

    QVERIFY(store->updateSetting("default_network_id", stored));
    const QByteArray before = fileBytes(configPath());
    open();
    QCOMPARE(spinBox()->value(), shown);
    // Repaired on display only.
    QCOMPARE(fileBytes(configPath()), before);
}

void TestSettingsDialog::splitsForbiddenListAtCommaBlank_data()
{
    QTest::addColumn<QString>("stored");
    QTest::addColumn<QStringList>("shown");

    QTest::newRow("default") << "Thunderbolt Bridge, Pont Thunderbolt" << defaultForbidden;
    QTest::newRow("empty") << "" << QStringList();
    QTest::newRow("single name") << "Wi-Fi" << QStringList{"Wi-Fi"};
    QTest::newRow("bare commas stay one name") << "Wi-Fi,Ethernet,USB" << QStringList{"Wi-Fi,Ethernet,USB"};
    QTest::newRow("empty part dropped") << "Wi-Fi, , Ethernet" << QStringList{"Wi-Fi", "Ethernet"};
    QTest::newRow("adjacent separators") << "Wi-Fi, , , Ethernet" << QStringList{"Wi-Fi", "Ethernet"};
    QTest::newRow("separator at both ends") << ", Wi-Fi, " << QStringList{"Wi-Fi"};
    QTest::newRow("blanks around names") << "  Wi-Fi ,   Ethernet  " << QStringList{"Wi-Fi", "Ethernet"};
    QTest::newRow("only separators") << ", , " << QStringList();
}

void TestSettingsDialog::splitsForbiddenListAtCommaBlank()
{
    QFETCH(QString, stored);
    QFETCH(QStringList, shown);

    QVERIFY(store->updateSetting("forbidden_interfaces", stored));
    open();
    QCOMPARE(rows(), shown);
}

void TestSettingsDialog::addsTrimmedNames_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QStringList>("shown");
    QTest::addColumn<QString>("left");

    QTest::newRow("plain") << "Wi-Fi" << defaultForbidden + QStringList{"Wi-Fi"} << "";
    QTest::newRow("blanks around") << "  USB LAN " << defaultForbidden + QStringList{"USB LAN"} << "";
    QTest::newRow("duplicate allowed") << "Pont Thunderbolt" << defaultForbidden + QStringList{"Pont Thunderbolt"}
                                       << "";
    QTest::newRow("blanks only") << "   " << defaultForbidden << "   ";
    QTest::newRow("nothing typed") << "" << defaultForbidden << "";
}

void TestSettingsDialog::addsTrimmedNames()
{
    QFETCH(QString, typed);
    QFETCH(QStringList, shown);
    QFETCH(QString, left);

    open();
    const QByteArray before = fileBytes(configPath());
    addName(typed);
    QCOMPARE(rows(), shown);
    QCOMPARE(nameField()->text(), left);
    QCOMPARE(fileBytes(configPath()), before);
}

void TestSettingsDialog::removesOnlyTheCurrentRow()
{
    QVERIFY(store->updateSetting("forbidden_interfaces", "Wi-Fi, Ethernet, USB"));
    open();
    QCOMPARE(list()->currentRow(), -1);
    click("buttonRemove");
    QCOMPARE(rows(), (QStringList{"Wi-Fi", "Ethernet", "USB"}));

    chooseRow(1);
    click("buttonRemove");
    QCOMPARE(rows(), (QStringList{"Wi-Fi", "USB"}));
    QVERIFY(boxes->seen.isEmpty());
}

void TestSettingsDialog::savesBothSettingsAndCloses_data()
{
    QTest::addColumn<QString>("storedId");
    QTest::addColumn<QString>("stored");
    QTest::addColumn<QString>("typedId");
    QTest::addColumn<int>("removeRow");
    QTest::addColumn<QString>("added");
    QTest::addColumn<QString>("savedId");
    QTest::addColumn<QString>("savedList");

    QTest::newRow("edited") << "201"
                            << "Thunderbolt Bridge, Pont Thunderbolt"
                            << "42" << 1 << "Wi-Fi"
                            << "42"
                            << "Thunderbolt Bridge, Wi-Fi";
    QTest::newRow("unchanged") << "201"
                               << "Thunderbolt Bridge, Pont Thunderbolt"
                               << "" << -1 << ""
                               << "201"
                               << "Thunderbolt Bridge, Pont Thunderbolt";
    QTest::newRow("last row removed gives empty value") << "201"
                                                        << "Wi-Fi"
                                                        << "" << 0 << ""
                                                        << "201"
                                                        << "";
    QTest::newRow("blank parts dropped") << "201"
                                         << "Wi-Fi, , Ethernet, "
                                         << "7" << -1 << ""
                                         << "7"
                                         << "Wi-Fi, Ethernet";
    QTest::newRow("repaired network id") << "999"
                                         << ""
                                         << "" << -1 << ""
                                         << "201"
                                         << "";
}

void TestSettingsDialog::savesBothSettingsAndCloses()
{
    QFETCH(QString, storedId);
    QFETCH(QString, stored);
    QFETCH(QString, typedId);
    QFETCH(int, removeRow);
    QFETCH(QString, added);
    QFETCH(QString, savedId);
    QFETCH(QString, savedList);

    QVERIFY(store->updateSetting("default_network_id", storedId));
    QVERIFY(store->updateSetting("forbidden_interfaces", stored));
    open();
    if (!typedId.isEmpty()) {
        spinBox()->selectAll();
        QTest::keyClicks(spinBox(), typedId);
    }
    if (removeRow >= 0) {
        chooseRow(removeRow);
        click("buttonRemove");
    }
    if (!added.isEmpty())
        addName(added);
    click("buttonSave");

    QVERIFY(boxes->seen.isEmpty());
    QVERIFY(!dialog->isVisible());
    const QMap<QString, QString> settings = settingsOnDisk();
    QCOMPARE(settings.value("default_network_id"), savedId);
    QVERIFY(settings.contains("forbidden_interfaces"));
    QCOMPARE(settings.value("forbidden_interfaces"), savedList);
}

void TestSettingsDialog::skipsListWhenNetworkIdCannotBeSaved()
{
    open();
    spinBox()->selectAll();
    QTest::keyClicks(spinBox(), "42");
    addName("Wi-Fi");

    // A folder in the file's place makes every save fail, whatever this process may write.
    QVERIFY(QFile::remove(configPath()));
    QVERIFY(QDir().mkpath(configPath()));
    click("buttonSave");

    QVERIFY(boxes->seen.isEmpty());
    QVERIFY(!dialog->isVisible());
    QCOMPARE(store->getParameter("settings", "forbidden_interfaces"),
             QStringLiteral("Thunderbolt Bridge, Pont Thunderbolt"));
}

void TestSettingsDialog::closeDropsEdits()
{
    open();
    const QByteArray before = fileBytes(configPath());
    spinBox()->selectAll();
    QTest::keyClicks(spinBox(), "42");
    addName("Wi-Fi");
    click("buttonClose");

    QVERIFY(!dialog->isVisible());
    QVERIFY(boxes->seen.isEmpty());
    QCOMPARE(fileBytes(configPath()), before);
}

void TestSettingsDialog::restoresDefaultsOnlyAfterYes_data()
{
    QTest::addColumn<bool>("yes");

    QTest::newRow("yes") << true;
    QTest::newRow("no") << false;
}

void TestSettingsDialog::restoresDefaultsOnlyAfterYes()
{
    QFETCH(bool, yes);

    QVERIFY(store->addEntry("Lab", {{"address", "10.0.0.0"}, {"mask", "255.0.0.0"}}));
    QVERIFY(store->updateSetting("default_network_id", "42"));
    QVERIFY(store->updateSetting("forbidden_interfaces", "Wi-Fi"));
    open();
    addName("USB LAN");
    const QByteArray before = fileBytes(configPath());

    boxes->plan(yes ? QMessageBox::Yes : QMessageBox::No);
    click("buttonRestore");

    QCOMPARE(boxes->seen.size(), 1);
    const SeenBox box = boxes->seen.first();
    QCOMPARE(box.title, QStringLiteral("Confirm Restore"));
    QCOMPARE(box.text, QStringLiteral("Restore default configuration?\nThis will reset all profiles and settings."));
    QCOMPARE(box.icon, QMessageBox::Question);
    QCOMPARE(box.buttons, QMessageBox::Yes | QMessageBox::No);
    QVERIFY(!box.hasDefaultButton);
    QVERIFY(dialog->isVisible());

    if (yes) {
        QCOMPARE(fileBytes(configPath()), fileBytes(defaultResource));
        QCOMPARE(store->getProfileEntries(), (QList<QString>{"LA-Network", "Intercom", "Management", "APIPA-FIX"}));
        QCOMPARE(spinBox()->value(), 201);
        QCOMPARE(rows(), defaultForbidden);
    } else {
        QCOMPARE(fileBytes(configPath()), before);
        QCOMPARE(spinBox()->value(), 42);
        QCOMPARE(rows(), (QStringList{"Wi-Fi", "USB LAN"}));
    }
}

QTEST_MAIN(TestSettingsDialog)
#include "tst_settingsdialog.moc"
