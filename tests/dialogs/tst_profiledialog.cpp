#include "dialogs/profiledialog.h"

#include "config/configmanager.h"
#include "tests/common/fakemac.h"
#include "tests/dialogs/boxanswerer.h"

#include <QDir>
#include <QFile>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTest>
#include <QXmlStreamReader>

#include <memory>
#include <sys/stat.h>

namespace {

const QString defaultResource = QStringLiteral(":/resources/resources/default-config.xml");
const QStringList defaultNames = {"LA-Network", "Intercom", "Management", "APIPA-FIX"};

QString configDir()
{
    return QDir::homePath() + QStringLiteral("/Library/Tarnwick");
}

QString configPath()
{
    return configDir() + QStringLiteral("/config.xml");
}

QByteArray configBytes()
{
    QFile file(configPath());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The profiles as written in the file, read without the store so that a mistake there cannot hide one here.
struct OnDisk
{
    QStringList names;
    QMap<QString, QMap<QString, QString>> profiles;
};

OnDisk readConfigFile()
{
    OnDisk result;
    QFile file(configPath());
    if (!file.open(QIODevice::ReadOnly))
        return result;
    QXmlStreamReader reader(&file);
    reader.readNextStartElement();
    while (reader.readNextStartElement()) {
        if (reader.name() != QLatin1String("config")) {
            reader.skipCurrentElement();
            continue;
        }
        QString name;
        QMap<QString, QString> values;
        while (reader.readNextStartElement()) {
            const QString key = reader.name().toString();
            const QString text = reader.readElementText();
            if (key == QLatin1String("name"))
                name = text;
            else
                values.insert(key, text);
        }
        result.names.append(name);
        result.profiles.insert(name, values);
    }
    return result;
}

QMap<QString, QString> profile(const QString& address, const QString& mask, const QString& gateway = QString())
{
    QMap<QString, QString> values{{"address", address}, {"mask", mask}};
    if (!gateway.isNull())
        values.insert(QStringLiteral("gateway"), gateway);
    return values;
}

// True when this process can write to a file nobody may write to, as root can: then a store whose folder
// and file are read-only still saves.
bool permissionsIgnored()
{
    const QString probe = QDir::homePath() + QStringLiteral("/probe");
    QFile file(probe);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.close();
    QFile::setPermissions(probe, QFile::ReadOwner);
    const bool writable = file.open(QIODevice::WriteOnly);
    QFile::setPermissions(probe, QFile::ReadOwner | QFile::WriteOwner);
    QFile::remove(probe);
    return writable;
}

} // namespace

class TestProfileDialog : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void startsIdle();
    void followsUserThroughStates_data();
    void followsUserThroughStates();
    void showsStoredValuesOfChosenRow_data();
    void showsStoredValuesOfChosenRow();
    void savesNewProfileTrimmed_data();
    void savesNewProfileTrimmed();
    void refusesInvalidFieldsInOrder_data();
    void refusesInvalidFieldsInOrder();
    void warnsWhenNewNameExists();
    void editsStoredProfile_data();
    void editsStoredProfile();
    void renamesInPlace();
    void keepsOldNameWhenRenameRefused();
    void keepsRenameWhenUpdateFails();
    void reportsFailedUpdate();
    void deletesOnlyAfterYes_data();
    void deletesOnlyAfterYes();
    void reportsFailedDelete();
    void emptyStoreOffersOnlyAdd();

private:
    void construct();
    void open();
    template <typename T> T* child(const char* name) const;
    QLineEdit* field(const char* name) const { return child<QLineEdit>(name); }
    QListWidget* list() const { return child<QListWidget>("listProfiles"); }
    void click(const char* button);
    void chooseRow(int row);
    void type(const char* name, const QString& text);
    void fillForm(const QString& name, const QString& address, const QString& mask, const QString& gateway);
    QStringList listed() const;
    QStringList formValues() const;
    // Makes every later save fail, also for root: the file's place is taken by a folder.
    void breakConfigFile();

    std::unique_ptr<FakeMac> fake;
    std::unique_ptr<BoxAnswerer> boxes;
    std::unique_ptr<ConfigManager> store;
    std::unique_ptr<ProfileDialog> dialog;
};

void TestProfileDialog::init()
{
    fake = std::make_unique<FakeMac>();
    boxes = std::make_unique<BoxAnswerer>();
}

void TestProfileDialog::cleanup()
{
    BoxAnswerer::closeLeftovers();
    dialog.reset();
    store.reset();
    boxes.reset();
    // A failed check may leave the folder read-only, and the temporary home could not be removed.
    if (fake)
        QFile::setPermissions(configDir(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    fake.reset();
}

void TestProfileDialog::construct()
{
    store = std::make_unique<ConfigManager>(QStringLiteral("config.xml"), defaultResource);
    dialog = std::make_unique<ProfileDialog>(*store, nullptr);
}

void TestProfileDialog::open()
{
    construct();
    dialog->show();
    // The list picks its first row when the window gets the focus; that must be over before a test acts.
    QVERIFY(QTest::qWaitForWindowActive(dialog.get()));
}

template <typename T> T* TestProfileDialog::child(const char* name) const
{
    T* widget = dialog->findChild<T*>(QLatin1String(name));
    if (!widget)
        qFatal("no widget %s", name);
    return widget;
}

void TestProfileDialog::click(const char* button)
{
    QTest::mouseClick(child<QPushButton>(button), Qt::LeftButton);
}

void TestProfileDialog::chooseRow(int row)
{
    QListWidget* profiles = list();
    const QRect rect = profiles->visualItemRect(profiles->item(row));
    QTest::mouseClick(profiles->viewport(), Qt::LeftButton, Qt::NoModifier, rect.center());
}

void TestProfileDialog::type(const char* name, const QString& text)
{
    QLineEdit* edit = field(name);
    edit->selectAll();
    QTest::keyClick(edit, Qt::Key_Backspace);
    QTest::keyClicks(edit, text);
}

void TestProfileDialog::fillForm(const QString& name, const QString& address, const QString& mask,
                                 const QString& gateway)
{
    type("lineEditName", name);
    type("lineEditAddress", address);
    type("lineEditMask", mask);
    type("lineEditGateway", gateway);
}

QStringList TestProfileDialog::listed() const
{
    QStringList names;
    for (int row = 0; row < list()->count(); ++row)
        names.append(list()->item(row)->text());
    return names;
}

QStringList TestProfileDialog::formValues() const
{
    return {field("lineEditName")->text(), field("lineEditAddress")->text(), field("lineEditMask")->text(),
            field("lineEditGateway")->text()};
}

void TestProfileDialog::breakConfigFile()
{
    QVERIFY(QFile::remove(configPath()));
    QVERIFY(QDir().mkpath(configPath()));
}

void TestProfileDialog::startsIdle()
{
    construct();
    QCOMPARE(listed(), defaultNames);
    QCOMPARE(list()->currentRow(), -1);
    QCOMPARE(formValues(), (QStringList{"", "", "", ""}));
    for (const char* name : {"lineEditName", "lineEditAddress", "lineEditMask", "lineEditGateway"})
        QVERIFY(!field(name)->isEnabled());
    QVERIFY(!child<QPushButton>("buttonSave")->isEnabled());
    QVERIFY(!child<QPushButton>("buttonDelete")->isEnabled());

    // Like any item view, the list makes its first row current (without selecting it) when it first
    // takes the keyboard focus, so the shown dialog starts on the first profile.
    dialog->show();
    QVERIFY(QTest::qWaitForWindowActive(dialog.get()));
    QTRY_COMPARE(list()->currentRow(), 0);
    QVERIFY(list()->selectedItems().isEmpty());
    QCOMPARE(formValues(), (QStringList{"LA-Network", "192.168.1.0", "255.255.255.0", "192.168.1.1"}));
    QVERIFY(child<QPushButton>("buttonDelete")->isEnabled());
}

void TestProfileDialog::followsUserThroughStates_data()
{
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<bool>("formEnabled");
    QTest::addColumn<bool>("deleteEnabled");
    QTest::addColumn<QStringList>("shown");
    QTest::addColumn<int>("currentRow");
    QTest::addColumn<bool>("rowSelected");

    const QStringList blank{"", "", "", ""};
    const QStringList intercom{"Intercom", "192.168.3.0", "255.255.255.0", "192.168.3.1"};
    QTest::newRow("editing the chosen row") << QStringList{"row 1"} << true << true << intercom << 1 << true;
    QTest::newRow("new profile after Add") << QStringList{"add"} << true << false << blank << 0 << false;
    QTest::newRow("Add keeps the row current but deselected")
        << QStringList{"row 1", "add"} << true << false << blank << 1 << false;
    QTest::newRow("another row ends an unsaved Add")
        << QStringList{"row 2", "add", "row 1"} << true << true << intercom << 1 << true;
    QTest::newRow("idle after a delete") << QStringList{"row 1", "delete yes"} << false << false << blank << -1
                                         << false;
    QTest::newRow("still editing after declining the delete")
        << QStringList{"row 1", "delete no"} << true << true << intercom << 1 << true;
}

void TestProfileDialog::followsUserThroughStates()
{
    QFETCH(QStringList, steps);
    QFETCH(bool, formEnabled);
    QFETCH(bool, deleteEnabled);
    QFETCH(QStringList, shown);
    QFETCH(int, currentRow);
    QFETCH(bool, rowSelected);

    open();
    for (const QString& step : steps) {
        if (step.startsWith(QLatin1String("row ")))
            chooseRow(step.mid(4).toInt());
        else if (step == QLatin1String("add"))
            click("buttonAdd");
        else if (step.startsWith(QLatin1String("delete "))) {
            boxes->plan(step.endsWith(QLatin1String("yes")) ? QMessageBox::Yes : QMessageBox::No);
            click("buttonDelete");
        }
    }

    for (const char* name : {"lineEditName", "lineEditAddress", "lineEditMask", "lineEditGateway"})
        QCOMPARE(field(name)->isEnabled(), formEnabled);
    QCOMPARE(child<QPushButton>("buttonSave")->isEnabled(), formEnabled);
    QCOMPARE(child<QPushButton>("buttonDelete")->isEnabled(), deleteEnabled);
    QVERIFY(child<QPushButton>("buttonAdd")->isEnabled());
    QCOMPARE(formValues(), shown);
    QCOMPARE(list()->currentRow(), currentRow);
    QCOMPARE(!list()->selectedItems().isEmpty(), rowSelected);
    if (steps.value(steps.size() - 1) == QLatin1String("add"))
        QCOMPARE(dialog->focusWidget(), field("lineEditName"));
}

void TestProfileDialog::showsStoredValuesOfChosenRow_data()
{
    QTest::addColumn<int>("row");
    QTest::addColumn<QStringList>("shown");

    QTest::newRow("with gateway") << 2 << QStringList{"Management", "192.168.0.0", "255.255.254.0", "192.168.0.1"};
    QTest::newRow("without gateway") << 3 << QStringList{"APIPA-FIX", "169.254.0.0", "255.255.0.0", ""};
}

void TestProfileDialog::showsStoredValuesOfChosenRow()
{
    QFETCH(int, row);
    QFETCH(QStringList, shown);

    open();
    QCOMPARE(listed(), defaultNames);
    chooseRow(row);
    QCOMPARE(formValues(), shown);
}

void TestProfileDialog::savesNewProfileTrimmed_data()
{
    QTest::addColumn<QStringList>("typed");
    QTest::addColumn<QString>("name");
    QTest::addColumn<ProfileEntry>("stored");

    QTest::newRow("blanks around every field") << QStringList{"  Office ", " 10.0.0.0", "255.0.0.0  ", " 10.0.0.1 "}
                                               << "Office" << profile("10.0.0.0", "255.0.0.0", "10.0.0.1");
    QTest::newRow("empty gateway is left out")
        << QStringList{"Lab", "10.1.0.0", "255.255.0.0", ""} << "Lab" << profile("10.1.0.0", "255.255.0.0");
    QTest::newRow("blank gateway is left out")
        << QStringList{"Lab", "10.1.0.0", "255.255.0.0", "   "} << "Lab" << profile("10.1.0.0", "255.255.0.0");
    QTest::newRow("non-contiguous mask") << QStringList{"Odd", "10.2.0.0", "255.0.255.0", ""} << "Odd"
                                         << profile("10.2.0.0", "255.0.255.0");
    QTest::newRow("lower-case dhcp is not reserved")
        << QStringList{"dhcp", "10.3.0.0", "255.255.255.0", ""} << "dhcp" << profile("10.3.0.0", "255.255.255.0");
    QTest::newRow("capitalised Settings is not reserved") << QStringList{"Settings", "10.4.0.0", "255.255.255.0", ""}
                                                          << "Settings" << profile("10.4.0.0", "255.255.255.0");
}

void TestProfileDialog::savesNewProfileTrimmed()
{
    QFETCH(QStringList, typed);
    QFETCH(QString, name);
    QFETCH(ProfileEntry, stored);

    open();
    chooseRow(0);
    click("buttonAdd");
    fillForm(typed[0], typed[1], typed[2], typed[3]);
    click("buttonSave");

    QVERIFY(boxes->seen.isEmpty());
    const OnDisk disk = readConfigFile();
    QCOMPARE(disk.names, defaultNames + QStringList{name});
    QCOMPARE(disk.profiles.value(name), stored);

    QCOMPARE(listed(), disk.names);
    QCOMPARE(list()->currentRow(), 4);
    QVERIFY(list()->currentItem()->isSelected());
    QCOMPARE(formValues(), (QStringList{name, stored["address"], stored["mask"], stored.value("gateway")}));
    QVERIFY(child<QPushButton>("buttonDelete")->isEnabled());
}

void TestProfileDialog::refusesInvalidFieldsInOrder_data()
{
    QTest::addColumn<QStringList>("typed");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("focus");

    const QString name = QStringLiteral("lineEditName");
    QTest::newRow("empty name") << QStringList{"", "10.0.0.0", "255.0.0.0", ""} << "Profile name cannot be empty."
                                << name;
    QTest::newRow("blank name before a bad address")
        << QStringList{"   ", "nonsense", "255.0.0.0", ""} << "Profile name cannot be empty." << name;
    QTest::newRow("DHCP") << QStringList{"DHCP", "10.0.0.0", "255.0.0.0", ""} << "The name \"DHCP\" is reserved."
                          << name;
    QTest::newRow("settings with blanks")
        << QStringList{" settings ", "10.0.0.0", "255.0.0.0", ""} << "The name \"settings\" is reserved." << name;
    QTest::newRow("reserved name before a bad address")
        << QStringList{"DHCP", "", "", ""} << "The name \"DHCP\" is reserved." << name;
    QTest::newRow("empty address") << QStringList{"Lab", "", "255.0.0.0", ""} << "Invalid IP address."
                                   << "lineEditAddress";
    QTest::newRow("octet out of range") << QStringList{"Lab", "10.0.0.256", "255.0.0.0", ""} << "Invalid IP address."
                                        << "lineEditAddress";
    QTest::newRow("bad address before a bad mask") << QStringList{"Lab", "10.0.0", "255.0", ""} << "Invalid IP address."
                                                   << "lineEditAddress";
    QTest::newRow("bad mask") << QStringList{"Lab", "10.0.0.0", "255.255.255", ""} << "Invalid subnet mask."
                              << "lineEditMask";
    QTest::newRow("bad mask before a bad gateway")
        << QStringList{"Lab", "10.0.0.0", "mask", "gw"} << "Invalid subnet mask."
        << "lineEditMask";
    QTest::newRow("bad gateway") << QStringList{"Lab", "10.0.0.0", "255.0.0.0", "10.0.0.1.1"}
                                 << "Invalid gateway address."
                                 << "lineEditGateway";
}

void TestProfileDialog::refusesInvalidFieldsInOrder()
{
    QFETCH(QStringList, typed);
    QFETCH(QString, message);
    QFETCH(QString, focus);

    open();
    const QByteArray before = configBytes();
    click("buttonAdd");
    fillForm(typed[0], typed[1], typed[2], typed[3]);
    click("buttonSave");

    QCOMPARE(boxes->seen.size(), 1);
    const SeenBox box = boxes->seen.first();
    QCOMPARE(box.title, QStringLiteral("Validation Error"));
    QCOMPARE(box.text, message);
    QCOMPARE(box.icon, QMessageBox::Warning);
    QCOMPARE(box.buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
    QCOMPARE(dialog->focusWidget()->objectName(), focus);

    QCOMPARE(configBytes(), before);
    QCOMPARE(formValues(), typed);
    QVERIFY(field("lineEditName")->isEnabled());
    QVERIFY(!child<QPushButton>("buttonDelete")->isEnabled());
    QCOMPARE(listed(), defaultNames);
}

void TestProfileDialog::warnsWhenNewNameExists()
{
    open();
    const QByteArray before = configBytes();
    click("buttonAdd");
    fillForm("Intercom", "10.0.0.0", "255.0.0.0", "");
    click("buttonSave");

    QCOMPARE(boxes->seen.size(), 1);
    QCOMPARE(boxes->seen[0].title, QStringLiteral("Error"));
    QCOMPARE(boxes->seen[0].text, QStringLiteral("Failed to add profile. A profile with this name may already exist."));
    QCOMPARE(boxes->seen[0].icon, QMessageBox::Warning);
    QCOMPARE(configBytes(), before);

    // Still entering the new profile: fixing the name is enough.
    QCOMPARE(formValues(), (QStringList{"Intercom", "10.0.0.0", "255.0.0.0", ""}));
    type("lineEditName", "Intercom 2");
    click("buttonSave");
    QCOMPARE(boxes->seen.size(), 1);
    QCOMPARE(readConfigFile().profiles.value("Intercom 2"), profile("10.0.0.0", "255.0.0.0"));
    QCOMPARE(readConfigFile().profiles.value("Intercom"), profile("192.168.3.0", "255.255.255.0", "192.168.3.1"));
}

void TestProfileDialog::editsStoredProfile_data()
{
    QTest::addColumn<QStringList>("typed");
    QTest::addColumn<ProfileEntry>("stored");

    QTest::newRow("new values") << QStringList{"Intercom", "10.9.0.0 ", "255.255.0.0", "10.9.0.254"}
                                << profile("10.9.0.0", "255.255.0.0", "10.9.0.254");
    QTest::newRow("gateway cleared") << QStringList{"Intercom", "192.168.3.0", "255.255.255.0", ""}
                                     << profile("192.168.3.0", "255.255.255.0");
}

void TestProfileDialog::editsStoredProfile()
{
    QFETCH(QStringList, typed);
    QFETCH(ProfileEntry, stored);

    open();
    chooseRow(1);
    fillForm(typed[0], typed[1], typed[2], typed[3]);
    click("buttonSave");

    QVERIFY(boxes->seen.isEmpty());
    const OnDisk disk = readConfigFile();
    QCOMPARE(disk.names, defaultNames);
    QCOMPARE(disk.profiles.value("Intercom"), stored);
    QCOMPARE(disk.profiles.value("LA-Network"), profile("192.168.1.0", "255.255.255.0", "192.168.1.1"));
    QCOMPARE(list()->currentRow(), 1);
    QCOMPARE(field("lineEditAddress")->text(), stored["address"]);
}

void TestProfileDialog::renamesInPlace()
{
    open();
    chooseRow(1);
    fillForm(" Studio ", "192.168.3.0", "255.255.255.128", "192.168.3.1");
    click("buttonSave");

    QVERIFY(boxes->seen.isEmpty());
    const OnDisk disk = readConfigFile();
    QCOMPARE(disk.names, (QStringList{"LA-Network", "Studio", "Management", "APIPA-FIX"}));
    QCOMPARE(disk.profiles.value("Studio"), profile("192.168.3.0", "255.255.255.128", "192.168.3.1"));
    QCOMPARE(listed(), disk.names);
    QCOMPARE(list()->currentItem()->text(), QStringLiteral("Studio"));
    QCOMPARE(field("lineEditName")->text(), QStringLiteral("Studio"));

    // The dialog now edits the profile under its new name.
    boxes->plan(QMessageBox::No);
    click("buttonDelete");
    QCOMPARE(boxes->seen.size(), 1);
    QCOMPARE(boxes->seen[0].text, QStringLiteral("Delete profile \"Studio\"?"));
}

void TestProfileDialog::keepsOldNameWhenRenameRefused()
{
    open();
    const QByteArray before = configBytes();
    chooseRow(0);
    fillForm("Intercom", "10.0.0.0", "255.0.0.0", "");
    click("buttonSave");

    QCOMPARE(boxes->seen.size(), 1);
    QCOMPARE(boxes->seen[0].title, QStringLiteral("Error"));
    QCOMPARE(boxes->seen[0].text, QStringLiteral("Failed to rename profile. The name may already be in use."));
    QCOMPARE(boxes->seen[0].icon, QMessageBox::Warning);
    // No update followed the refused rename.
    QCOMPARE(configBytes(), before);
    QCOMPARE(formValues(), (QStringList{"Intercom", "10.0.0.0", "255.0.0.0", ""}));
    QCOMPARE(list()->currentRow(), 0);

    // The form shows the typed name, but the profile being edited is still the old one.
    boxes->plan(QMessageBox::No);
    click("buttonDelete");
    QCOMPARE(boxes->seen.size(), 2);
    QCOMPARE(boxes->seen[1].text, QStringLiteral("Delete profile \"LA-Network\"?"));

    type("lineEditName", "Office");
    click("buttonSave");
    QCOMPARE(boxes->seen.size(), 2);
    const OnDisk disk = readConfigFile();
    QCOMPARE(disk.names, (QStringList{"Office", "Intercom", "Management", "APIPA-FIX"}));
    QCOMPARE(disk.profiles.value("Office"), profile("10.0.0.0", "255.0.0.0"));
}

void TestProfileDialog::keepsRenameWhenUpdateFails()
{
    open();
    if (permissionsIgnored())
        QSKIP("file permissions are not enforced for this user (root), so the second save cannot be made to fail");

    chooseRow(1);
    fillForm("Studio", "10.5.0.0", "255.255.0.0", "10.5.0.1");

    // Only the second save may fail. The file becomes a dangling link out of a read-only folder: the
    // rename's save creates the link's target read-only, the update's save can then neither replace
    // nor overwrite it.
    const QString target = QDir::homePath() + QStringLiteral("/elsewhere/config.xml");
    QVERIFY(QDir().mkpath(QDir::homePath() + QStringLiteral("/elsewhere")));
    QVERIFY(QFile::remove(configPath()));
    QVERIFY(QFile::link(target, configPath()));
    QVERIFY(QFile::setPermissions(configDir(), QFile::ReadOwner | QFile::ExeOwner));
    const mode_t previousMask = umask(0222);
    click("buttonSave");
    umask(previousMask);
    QVERIFY(QFile::setPermissions(configDir(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));

    QCOMPARE(boxes->seen.size(), 1);
    QCOMPARE(boxes->seen[0].title, QStringLiteral("Error"));
    QCOMPARE(boxes->seen[0].text, QStringLiteral("Failed to update profile."));
    QCOMPARE(boxes->seen[0].icon, QMessageBox::Critical);
    QCOMPARE(boxes->seen[0].buttons, QMessageBox::StandardButtons(QMessageBox::Ok));

    // The rename reached the file and stays; the values did not.
    const OnDisk disk = readConfigFile();
    QCOMPARE(disk.names, (QStringList{"LA-Network", "Studio", "Management", "APIPA-FIX"}));
    QCOMPARE(disk.profiles.value("Studio"), profile("192.168.3.0", "255.255.255.0", "192.168.3.1"));
    QCOMPARE(formValues(), (QStringList{"Studio", "10.5.0.0", "255.255.0.0", "10.5.0.1"}));
    QCOMPARE(listed(), defaultNames);
}

void TestProfileDialog::reportsFailedUpdate()
{
    open();
    chooseRow(1);
    type("lineEditMask", "255.255.0.0");
    breakConfigFile();
    click("buttonSave");

    QCOMPARE(boxes->seen.size(), 1);
    QCOMPARE(boxes->seen[0].title, QStringLiteral("Error"));
    QCOMPARE(boxes->seen[0].text, QStringLiteral("Failed to update profile."));
    QCOMPARE(boxes->seen[0].icon, QMessageBox::Critical);
    QCOMPARE(formValues(), (QStringList{"Intercom", "192.168.3.0", "255.255.0.0", "192.168.3.1"}));
    QCOMPARE(list()->currentRow(), 1);
    QVERIFY(child<QPushButton>("buttonDelete")->isEnabled());
}

void TestProfileDialog::deletesOnlyAfterYes_data()
{
    QTest::addColumn<bool>("yes");

    QTest::newRow("yes") << true;
    QTest::newRow("no") << false;
}

void TestProfileDialog::deletesOnlyAfterYes()
{
    QFETCH(bool, yes);

    open();
    const QByteArray before = configBytes();
    chooseRow(2);
    boxes->plan(yes ? QMessageBox::Yes : QMessageBox::No);
    click("buttonDelete");

    QCOMPARE(boxes->seen.size(), 1);
    const SeenBox box = boxes->seen.first();
    QCOMPARE(box.title, QStringLiteral("Confirm Deletion"));
    QCOMPARE(box.text, QStringLiteral("Delete profile \"Management\"?"));
    QCOMPARE(box.icon, QMessageBox::Question);
    QCOMPARE(box.buttons, QMessageBox::Yes | QMessageBox::No);
    QVERIFY(!box.hasDefaultButton);

    if (yes) {
        const QStringList remaining{"LA-Network", "Intercom", "APIPA-FIX"};
        QCOMPARE(readConfigFile().names, remaining);
        QCOMPARE(listed(), remaining);
        QCOMPARE(formValues(), (QStringList{"", "", "", ""}));
    } else {
        QCOMPARE(configBytes(), before);
        QCOMPARE(listed(), defaultNames);
        QCOMPARE(field("lineEditName")->text(), QStringLiteral("Management"));
    }
}

void TestProfileDialog::reportsFailedDelete()
{
    open();
    chooseRow(0);
    breakConfigFile();
    boxes->plan(QMessageBox::Yes);
    click("buttonDelete");

    QCOMPARE(boxes->seen.size(), 2);
    QCOMPARE(boxes->seen[1].title, QStringLiteral("Error"));
    QCOMPARE(boxes->seen[1].text, QStringLiteral("Failed to delete profile."));
    QCOMPARE(boxes->seen[1].icon, QMessageBox::Critical);
    QCOMPARE(listed(), defaultNames);
    QCOMPARE(list()->currentRow(), 0);
    QCOMPARE(field("lineEditName")->text(), QStringLiteral("LA-Network"));
    QVERIFY(child<QPushButton>("buttonDelete")->isEnabled());
}

void TestProfileDialog::emptyStoreOffersOnlyAdd()
{
    QVERIFY(QDir().mkpath(configDir()));
    QFile file(configPath());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("<?xml version=\"1.0\"?>\n<root>\n<settings><default_network_id>201</default_network_id></settings>\n"
               "</root>\n");
    file.close();

    open();
    QCOMPARE(list()->count(), 0);
    QVERIFY(!field("lineEditName")->isEnabled());
    QVERIFY(!child<QPushButton>("buttonSave")->isEnabled());
    QVERIFY(!child<QPushButton>("buttonDelete")->isEnabled());

    click("buttonAdd");
    fillForm("First", "10.0.0.0", "255.0.0.0", "");
    click("buttonSave");
    QVERIFY(boxes->seen.isEmpty());
    QCOMPARE(readConfigFile().names, QStringList{"First"});
    QCOMPARE(listed(), QStringList{"First"});
    QCOMPARE(list()->currentRow(), 0);
}

QTEST_MAIN(TestProfileDialog)
#include "tst_profiledialog.moc"
