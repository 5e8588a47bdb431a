#include "dialogs/profiledialog.h"

#include "tests/dialogs/dialogtest.h"

#include <QLineEdit>

#include <sys/stat.h>
#include <unistd.h>

namespace {

const QStringList defaultNames = {"LA-Network", "Intercom", "Management", "APIPA-FIX"};
const QStringList fieldNames = {"lineEditName", "lineEditAddress", "lineEditMask", "lineEditGateway"};

ProfileEntry profile(const QString& address, const QString& mask, const QString& gateway = QString())
{
    ProfileEntry values{{"address", address}, {"mask", mask}};
    if (!gateway.isNull())
        values.insert(QStringLiteral("gateway"), gateway);
    return values;
}

const ProfileEntry intercom = profile("192.168.3.0", "255.255.255.0", "192.168.3.1");

QStringList namesOnDisk()
{
    QStringList names;
    for (const auto& entry : onDisk("config"))
        names.append(entry.value("name"));
    return names;
}

ProfileEntry profileOnDisk(const QString& name)
{
    for (ProfileEntry entry : onDisk("config"))
        if (entry.take("name") == name)
            return entry;
    return {};
}

QStringList form(const QString& name, const ProfileEntry& values)
{
    return {name, values.value("address"), values.value("mask"), values.value("gateway")};
}

QString box(const QString& icon, const QString& title, const QString& text, const QString& buttons = "Ok")
{
    return QStringList{icon, title, text, buttons}.join(QLatin1String("; "));
}

QString deleteQuestion(const QString& name)
{
    return box("Question", "Confirm Deletion", QString("Delete profile \"%1\"?").arg(name), "Yes|No");
}

} // namespace

class TestProfileDialog : public QObject, DialogFixture<ProfileDialog>
{
    Q_OBJECT

private slots:
    void init() { start(); }
    void cleanup() { stop(); }
    void followsUserThroughStates_data();
    void followsUserThroughStates();
    void savesTrimmedValues_data();
    void savesTrimmedValues();
    void refusesInvalidFieldsInOrder_data();
    void refusesInvalidFieldsInOrder();
    void refusedNameCanBeFixed_data();
    void refusedNameCanBeFixed();
    void keepsRenameWhenUpdateFails();
    void reportsStoreFailure_data();
    void reportsStoreFailure();

private:
    QListWidget* list() const { return child<QListWidget>("listProfiles"); }

    void type(const QString& name, const QString& text)
    {
        child<QLineEdit>(name)->clear();
        QTest::keyClicks(child(name), text);
    }

    void fillForm(const QStringList& texts)
    {
        for (int i = 0; i < fieldNames.size(); ++i)
            type(fieldNames[i], texts[i]);
    }

    QStringList formValues() const
    {
        QStringList values;
        for (const QString& name : fieldNames)
            values.append(child<QLineEdit>(name)->text());
        return values;
    }
};

void TestProfileDialog::followsUserThroughStates_data()
{
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<QString>("state");
    QTest::addColumn<int>("currentRow");
    QTest::addColumn<QString>("shown"); // the profile in the form, blank for none
    QTest::addColumn<bool>("rowSelected");
    QTest::addColumn<QStringList>("stored");

    const QStringList afterDelete{"LA-Network", "Management", "APIPA-FIX"};
    QTest::newRow("idle before it is shown") << QStringList{"hidden"} << "idle" << -1 << "" << false << defaultNames;
    // Like any item view, the list makes its first row current (without selecting it) when it first takes
    // the keyboard focus, so the shown dialog starts on the first profile.
    QTest::newRow("shown on the first profile")
        << QStringList{} << "editing" << 0 << "LA-Network" << false << defaultNames;
    QTest::newRow("idle when the store is empty")
        << QStringList{"empty store"} << "idle" << -1 << "" << false << QStringList{};
    QTest::newRow("editing the chosen row")
        << QStringList{"row 1"} << "editing" << 1 << "Intercom" << true << defaultNames;
    QTest::newRow("chosen row without gateway")
        << QStringList{"row 3"} << "editing" << 3 << "APIPA-FIX" << true << defaultNames;
    QTest::newRow("Add keeps the row current but deselected")
        << QStringList{"row 1", "add"} << "new" << 1 << "" << false << defaultNames;
    QTest::newRow("another row ends an unsaved Add")
        << QStringList{"row 2", "add", "row 1"} << "editing" << 1 << "Intercom" << true << defaultNames;
    QTest::newRow("idle after a delete") << QStringList{"row 1", "delete yes"} << "idle" << -1 << "" << false
                                         << afterDelete;
    QTest::newRow("still editing after declining the delete")
        << QStringList{"row 1", "delete no"} << "editing" << 1 << "Intercom" << true << defaultNames;
}

void TestProfileDialog::followsUserThroughStates()
{
    QFETCH(QStringList, steps);
    QFETCH(QString, state);
    QFETCH(int, currentRow);
    QFETCH(QString, shown);
    QFETCH(bool, rowSelected);
    QFETCH(QStringList, stored);

    if (steps.contains("empty store"))
        for (const QString& name : defaultNames)
            QVERIFY(store->removeEntry(name));
    open(!steps.contains("hidden"));
    for (const QString& step : steps) {
        if (step.startsWith("row "))
            chooseRow(list(), step.mid(4).toInt());
        if (step == "add")
            press("buttonAdd");
        if (step.startsWith("delete ")) {
            boxes->plan(step == "delete yes" ? QMessageBox::Yes : QMessageBox::No);
            press("buttonDelete");
            QCOMPARE(boxes->seen, QStringList{deleteQuestion("Intercom")});
        }
    }

    for (const QString& name : fieldNames + QStringList{"buttonSave"})
        QCOMPARE(child(name)->isEnabled(), state != "idle");
    QCOMPARE(child("buttonDelete")->isEnabled(), state == "editing");
    QVERIFY(child("buttonAdd")->isEnabled());
    QCOMPARE(formValues(), form(shown, profileOnDisk(shown)));
    QCOMPARE(list()->currentRow(), currentRow);
    QCOMPARE(!list()->selectedItems().isEmpty(), rowSelected);
    if (state == "new")
        QCOMPARE(dialog->focusWidget(), child("lineEditName"));
    QCOMPARE(rows(list()), stored);
    QCOMPARE(namesOnDisk(), stored);
}

void TestProfileDialog::savesTrimmedValues_data()
{
    QTest::addColumn<int>("row"); // -1: a new profile, added while the first row is chosen
    QTest::addColumn<QStringList>("typed");
    QTest::addColumn<ProfileEntry>("stored");

    QTest::newRow("new, blanks around every field")
        << -1 << QStringList{"  Office ", " 10.0.0.0", "255.0.0.0  ", " 10.0.0.1 "}
        << profile("10.0.0.0", "255.0.0.0", "10.0.0.1");
    QTest::newRow("new, blank gateway left out, non-contiguous mask")
        << -1 << QStringList{"Odd", "10.2.0.0", "255.0.255.0", "   "} << profile("10.2.0.0", "255.0.255.0");
    QTest::newRow("new, lower-case dhcp is not reserved")
        << -1 << QStringList{"dhcp", "10.3.0.0", "255.255.255.0", ""} << profile("10.3.0.0", "255.255.255.0");
    QTest::newRow("new, capitalised Settings is not reserved")
        << -1 << QStringList{"Settings", "10.4.0.0", "255.255.255.0", ""} << profile("10.4.0.0", "255.255.255.0");
    QTest::newRow("edit, new values") << 1 << QStringList{"Intercom", "10.9.0.0 ", "255.255.0.0", "10.9.0.254"}
                                      << profile("10.9.0.0", "255.255.0.0", "10.9.0.254");
    QTest::newRow("edit, gateway cleared")
        << 1 << QStringList{"Intercom", "192.168.3.0", "255.255.255.0", ""} << profile("192.168.3.0", "255.255.255.0");
    QTest::newRow("edit, renamed in place")
        << 1 << QStringList{" Studio ", "192.168.3.0", "255.255.255.128", "192.168.3.1"}
        << profile("192.168.3.0", "255.255.255.128", "192.168.3.1");
}

void TestProfileDialog::savesTrimmedValues()
{
    QFETCH(int, row);
    QFETCH(QStringList, typed);
    QFETCH(ProfileEntry, stored);

    open();
    chooseRow(list(), qMax(row, 0));
    if (row < 0)
        press("buttonAdd");
    fillForm(typed);
    press("buttonSave");

    const QString name = typed[0].trimmed();
    // A new profile goes to the end, a renamed one keeps its place.
    QStringList names = defaultNames;
    row < 0 ? names.append(name) : void(names[row] = name);
    QVERIFY(boxes->seen.isEmpty());
    QCOMPARE(namesOnDisk(), names);
    QCOMPARE(profileOnDisk(name), stored);
    QCOMPARE(profileOnDisk("LA-Network"), profile("192.168.1.0", "255.255.255.0", "192.168.1.1"));
    QCOMPARE(rows(list()), names);
    QCOMPARE(list()->currentRow(), names.indexOf(name));
    QVERIFY(list()->currentItem()->isSelected());
    QCOMPARE(formValues(), form(name, stored));

    // The dialog now edits the saved profile under its saved name.
    press("buttonDelete");
    QCOMPARE(boxes->seen, QStringList{deleteQuestion(name)});
}

void TestProfileDialog::refusesInvalidFieldsInOrder_data()
{
    QTest::addColumn<QStringList>("typed");
    QTest::addColumn<int>("focus"); // the field blamed, in form order
    QTest::addColumn<QString>("message");

    QTest::newRow("blank name before a bad address")
        << QStringList{"   ", "nonsense", "255.0.0.0", ""} << 0 << "Profile name cannot be empty.";
    QTest::newRow("DHCP before a bad address")
        << QStringList{"DHCP", "", "", ""} << 0 << "The name \"DHCP\" is reserved.";
    QTest::newRow("settings with blanks")
        << QStringList{" settings ", "10.0.0.0", "255.0.0.0", ""} << 0 << "The name \"settings\" is reserved.";
    QTest::newRow("bad address before a bad mask")
        << QStringList{"Lab", "10.0.0.256", "255.0", ""} << 1 << "Invalid IP address.";
    QTest::newRow("bad mask before a bad gateway")
        << QStringList{"Lab", "10.0.0.0", "255.255.255", "gw"} << 2 << "Invalid subnet mask.";
    QTest::newRow("bad gateway") << QStringList{"Lab", "10.0.0.0", "255.0.0.0", "10.0.0.1.1"} << 3
                                 << "Invalid gateway address.";
}

void TestProfileDialog::refusesInvalidFieldsInOrder()
{
    QFETCH(QStringList, typed);
    QFETCH(int, focus);
    QFETCH(QString, message);

    open();
    press("buttonAdd");
    fillForm(typed);
    press("buttonSave");

    QCOMPARE(boxes->seen, QStringList{box("Warning", "Validation Error", message)});
    QCOMPARE(dialog->focusWidget()->objectName(), fieldNames[focus]);
    QCOMPARE(fileBytes(), before);
    QCOMPARE(formValues(), typed);
    QVERIFY(!child("buttonDelete")->isEnabled());
    QCOMPARE(rows(list()), defaultNames);
}

void TestProfileDialog::refusedNameCanBeFixed_data()
{
    QTest::addColumn<bool>("adding");
    QTest::addColumn<QString>("warning");

    QTest::newRow("new profile") << true << "Failed to add profile. A profile with this name may already exist.";
    QTest::newRow("rename") << false << "Failed to rename profile. The name may already be in use.";
}

void TestProfileDialog::refusedNameCanBeFixed()
{
    QFETCH(bool, adding);
    QFETCH(QString, warning);

    open();
    chooseRow(list(), 0);
    if (adding)
        press("buttonAdd");
    const QStringList typed{"Intercom", "10.0.0.0", "255.0.0.0", ""};
    fillForm(typed);
    press("buttonSave");

    QCOMPARE(boxes->seen, QStringList{box("Warning", "Error", warning)});
    // Nothing was written, not even the values after a refused rename.
    QCOMPARE(fileBytes(), before);
    QCOMPARE(formValues(), typed);
    QCOMPARE(list()->currentRow(), 0);

    // Still the same new or stored profile: after a refused rename that is the old one, not the typed name.
    type("lineEditName", "Office");
    press("buttonSave");
    QCOMPARE(boxes->seen.size(), 1);
    QStringList names = defaultNames;
    adding ? names.append("Office") : void(names[0] = "Office");
    QCOMPARE(namesOnDisk(), names);
    QCOMPARE(profileOnDisk("Office"), profile("10.0.0.0", "255.0.0.0"));
    QCOMPARE(profileOnDisk("Intercom"), intercom);
}

void TestProfileDialog::keepsRenameWhenUpdateFails()
{
    // Root writes even to read-only files, so the second save could not be made to fail.
    if (geteuid() == 0)
        QSKIP("file permissions are not enforced for root");
    open();
    chooseRow(list(), 1);
    fillForm({"Studio", "10.5.0.0", "255.255.0.0", "10.5.0.1"});

    // Only the second save may fail. The file becomes a dangling link out of a read-only folder: the
    // rename's save creates the link's target read-only, the update's save can then neither replace
    // nor overwrite it.
    const QString folder = QFileInfo(configPath()).path();
    QVERIFY(QDir().mkpath(QDir::homePath() + "/elsewhere"));
    QVERIFY(QFile::remove(configPath()));
    QVERIFY(QFile::link(QDir::homePath() + "/elsewhere/config.xml", configPath()));
    QVERIFY(QFile::setPermissions(folder, QFile::ReadOwner | QFile::ExeOwner));
    const mode_t previousMask = umask(0222);
    press("buttonSave");
    umask(previousMask);
    QVERIFY(QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));

    QCOMPARE(boxes->seen, QStringList{box("Critical", "Error", "Failed to update profile.")});
    // The rename reached the file and stays; the values did not.
    QCOMPARE(namesOnDisk(), (QStringList{"LA-Network", "Studio", "Management", "APIPA-FIX"}));
    QCOMPARE(profileOnDisk("Studio"), intercom);
    QCOMPARE(formValues(), (QStringList{"Studio", "10.5.0.0", "255.255.0.0", "10.5.0.1"}));
    QCOMPARE(rows(list()), defaultNames);
}

void TestProfileDialog::reportsStoreFailure_data()
{
    QTest::addColumn<bool>("deleting");
    QTest::addColumn<QStringList>("seen");

    QTest::newRow("update") << false << QStringList{box("Critical", "Error", "Failed to update profile.")};
    QTest::newRow("delete") << true
                            << QStringList{deleteQuestion("Intercom"),
                                           box("Critical", "Error", "Failed to delete profile.")};
}

void TestProfileDialog::reportsStoreFailure()
{
    QFETCH(bool, deleting);
    QFETCH(QStringList, seen);

    open();
    chooseRow(list(), 1);
    // A folder in the file's place makes every save fail, also for root.
    QVERIFY(QFile::remove(configPath()));
    QVERIFY(QDir().mkpath(configPath()));
    boxes->plan(QMessageBox::Yes);
    if (!deleting)
        type("lineEditMask", "255.255.0.0");
    press(deleting ? "buttonDelete" : "buttonSave");

    QCOMPARE(boxes->seen, seen);
    QCOMPARE(formValues(),
             form("Intercom", deleting ? intercom : profile("192.168.3.0", "255.255.0.0", "192.168.3.1")));
    QCOMPARE(rows(list()), defaultNames);
    QCOMPARE(list()->currentRow(), 1);
    QVERIFY(child("buttonDelete")->isEnabled());
}

QTEST_MAIN(TestProfileDialog)
#include "tst_profiledialog.moc"
