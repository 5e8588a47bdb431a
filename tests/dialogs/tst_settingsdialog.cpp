#include "dialogs/settingsdialog.h"

#include "tests/dialogs/dialogtest.h"

#include <QLineEdit>
#include <QSpinBox>

namespace {
const QString defaultList = QStringLiteral("Thunderbolt Bridge, Pont Thunderbolt");
} // namespace

class TestSettingsDialog : public QObject, DialogFixture<SettingsDialog>
{
    Q_OBJECT

private slots:
    void init() { start(); }
    void cleanup() { stop(); }
    void showsStoredSettings_data();
    void showsStoredSettings();
    void editsAndSaves_data();
    void editsAndSaves();
    void skipsListWhenNetworkIdCannotBeSaved();
    void restoresDefaultsOnlyAfterYes_data();
    void restoresDefaultsOnlyAfterYes();

private:
    QSpinBox* spinBox() const { return child<QSpinBox>("spinBoxNetworkId"); }
    QListWidget* list() const { return child<QListWidget>("listForbidden"); }
    QLineEdit* nameField() const { return child<QLineEdit>("lineEditForbidden"); }

    void openWith(const QString& networkId, const QString& forbidden)
    {
        QVERIFY(store->updateSetting("default_network_id", networkId));
        QVERIFY(store->updateSetting("forbidden_interfaces", forbidden));
        open();
    }

    void typeNetworkId(const QString& text)
    {
        spinBox()->selectAll();
        QTest::keyClicks(spinBox(), text);
    }

    void addName(const QString& text)
    {
        QTest::keyClicks(nameField(), text);
        press("buttonAdd");
    }
};

void TestSettingsDialog::showsStoredSettings_data()
{
    QTest::addColumn<QString>("storedId");
    QTest::addColumn<int>("shownId");
    QTest::addColumn<QString>("storedList");
    QTest::addColumn<QStringList>("shownList");

    // A missing or broken id shows the usual host number; the list splits only at ", ".
    QTest::newRow("id 0, one name") << "0" << 201 << "Wi-Fi" << QStringList{"Wi-Fi"};
    QTest::newRow("id 255, bare commas stay one name")
        << "255" << 201 << "Wi-Fi,Ethernet,USB" << QStringList{"Wi-Fi,Ethernet,USB"};
    QTest::newRow("id not a number, blank parts dropped")
        << "abc" << 201 << ", Wi-Fi, , , Ethernet, " << QStringList{"Wi-Fi", "Ethernet"};
    QTest::newRow("both empty") << "" << 201 << "" << QStringList{};
    QTest::newRow("lowest id, blanks around names")
        << "1" << 1 << "  Wi-Fi ,   Ethernet  " << QStringList{"Wi-Fi", "Ethernet"};
    QTest::newRow("highest id, only separators") << "254" << 254 << ", , " << QStringList{};
}

void TestSettingsDialog::showsStoredSettings()
{
    QFETCH(QString, storedId);
    QFETCH(int, shownId);
    QFETCH(QString, storedList);
    QFETCH(QStringList, shownList);

    openWith(storedId, storedList);
    QCOMPARE(spinBox()->value(), shownId);
    QCOMPARE(rows(list()), shownList);
    // Repaired on display only.
    QCOMPARE(fileBytes(), before);
}

void TestSettingsDialog::editsAndSaves_data()
{
    QTest::addColumn<QStringList>("stored"); // network id, forbidden list
    QTest::addColumn<int>("removeRow");      // -1: Remove with no row chosen
    QTest::addColumn<QStringList>("typed");  // network id (blank: untouched), name to add
    QTest::addColumn<bool>("save");          // else Close
    QTest::addColumn<QStringList>("saved");  // network id, forbidden list

    const QStringList defaults{"201", defaultList};
    QTest::newRow("edited") << defaults << 1 << QStringList{"42", "  USB LAN "} << true
                            << QStringList{"42", "Thunderbolt Bridge, USB LAN"};
    QTest::newRow("duplicate name allowed") << defaults << -1 << QStringList{"", "Pont Thunderbolt"} << true
                                            << QStringList{"201", defaultList + ", Pont Thunderbolt"};
    QTest::newRow("blank name not added") << defaults << -1 << QStringList{"", "   "} << true << defaults;
    QTest::newRow("repaired id, last row removed leaves an empty value")
        << QStringList{"999", "Wi-Fi"} << 0 << QStringList{"", ""} << true << QStringList{"201", ""};
    QTest::newRow("Close drops the edits") << defaults << 1 << QStringList{"42", "Wi-Fi"} << false << defaults;
}

void TestSettingsDialog::editsAndSaves()
{
    QFETCH(QStringList, stored);
    QFETCH(int, removeRow);
    QFETCH(QStringList, typed);
    QFETCH(bool, save);
    QFETCH(QStringList, saved);

    openWith(stored[0], stored[1]);
    if (!typed[0].isEmpty())
        typeNetworkId(typed[0]);
    if (removeRow >= 0)
        chooseRow(list(), removeRow);
    press("buttonRemove");
    addName(typed[1]);
    // A name that is only blanks stays typed; any other goes to the list.
    QCOMPARE(nameField()->text(), typed[1].trimmed().isEmpty() ? typed[1] : QString());
    // Edits reach the file only through Save.
    QCOMPARE(fileBytes(), before);
    press(save ? "buttonSave" : "buttonClose");

    QVERIFY(boxes->seen.isEmpty());
    QVERIFY(!dialog->isVisible());
    const QMap<QString, QString> settings = onDisk("settings").value(0);
    QCOMPARE(settings.value("default_network_id"), saved[0]);
    QVERIFY(settings.contains("forbidden_interfaces"));
    QCOMPARE(settings.value("forbidden_interfaces"), saved[1]);
}

void TestSettingsDialog::skipsListWhenNetworkIdCannotBeSaved()
{
    openWith("201", defaultList);
    typeNetworkId("42");
    addName("Wi-Fi");
    // A folder in the file's place makes every save fail, whatever this process may write.
    QVERIFY(QFile::remove(configPath()));
    QVERIFY(QDir().mkpath(configPath()));
    press("buttonSave");

    QVERIFY(boxes->seen.isEmpty());
    QVERIFY(!dialog->isVisible());
    QCOMPARE(store->getParameter("settings", "forbidden_interfaces"), defaultList);
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
    openWith("42", "Wi-Fi");
    addName("USB LAN");
    boxes->plan(yes ? QMessageBox::Yes : QMessageBox::No);
    press("buttonRestore");

    QCOMPARE(boxes->seen, QStringList{"Question; Confirm Restore; Restore default configuration?\nThis will reset all "
                                      "profiles and settings.; Yes|No"});
    QVERIFY(dialog->isVisible());
    QCOMPARE(fileBytes(), yes ? fileBytes(defaultResource) : before);
    QCOMPARE(spinBox()->value(), yes ? 201 : 42);
    QCOMPARE(rows(list()), yes ? defaultList.split(", ") : QStringList({"Wi-Fi", "USB LAN"}));
}

QTEST_MAIN(TestSettingsDialog)
#include "tst_settingsdialog.moc"
