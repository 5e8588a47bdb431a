#include "dialogs/profiledialog.h"
#include "dialogs/settingsdialog.h"

#include "tests/common/boxanswerer.h"
#include "tests/common/fixturetable.h"
#include "tests/common/storesession.h"

#include <QLineEdit>
#include <QListWidget>
#include <QSpinBox>

namespace {

const QStringList fields{"lineEditName", "lineEditAddress", "lineEditMask", "lineEditGateway"};

// A dialog shown over the store as the window opens it, with a test's hands on its widgets. Its list may
// pick a first row when the dialog takes the focus, which must be over before a test acts.
template <typename Dialog> struct Opened : BoxAnswerer
{
    explicit Opened(ConfigManager& store) : dialog(store, nullptr)
    {
        dialog.show();
        if (!QTest::qWaitForWindowActive(&dialog))
            qFatal("dialog not active");
    }
    template <typename T = QWidget> T* child(const QString& name) { return dialog.template findChild<T*>(name); }
    void press(const char* button) { QTest::mouseClick(child<QAbstractButton>(button), Qt::LeftButton); }
    void type(const char* field, const QString& text) { QTest::keyClicks(child(field), text); }
    // The profile form as "name|address|mask|gateway"; filling replaces each field with the text typed.
    QString form()
    {
        QStringList values;
        for (const QString& name : fields)
            values.append(child<QLineEdit>(name)->text());
        return values.join(u'|');
    }
    void fill(const QString& typed)
    {
        for (int i = 0; i < fields.size(); ++i) {
            child<QLineEdit>(fields[i])->clear();
            QTest::keyClicks(child(fields[i]), typed.section(u'|', i, i));
        }
    }
    QStringList rows(const char* list)
    {
        QStringList texts;
        for (const QListWidgetItem* item : child<QListWidget>(list)->findItems("*", Qt::MatchWildcard))
            texts.append(item->text());
        return texts;
    }

    Dialog dialog;
};

} // namespace

class TestDialogs : public QObject
{
    Q_OBJECT

private slots:
    void editsProfilesThroughTheFile()
    {
        StoreSession s;
        Opened<ProfileDialog> d(s.start());
        QCOMPARE(d.form(), "LA-Network|192.168.1.0|255.255.255.0|192.168.1.1");
        // Values are saved trimmed; a new profile goes last and stays chosen.
        d.press("buttonAdd");
        QVERIFY(d.form() == "|||" && !d.child("buttonDelete")->isEnabled() && d.child("lineEditName")->hasFocus());
        d.fill("  Office | 10.0.0.0|255.0.0.0  | 10.0.0.1 ");
        d.press("buttonSave");
        QVERIFY(d.child<QListWidget>("listProfiles")->currentRow() == 4 && d.child("buttonDelete")->isEnabled());
        // Renamed in place; a blank gateway leaves no gateway element; a non-contiguous mask is allowed.
        d.child<QListWidget>("listProfiles")->setCurrentRow(1);
        QCOMPARE(d.form(), "Intercom|192.168.3.0|255.255.255.0|192.168.3.1");
        d.fill(" Studio |192.168.3.0|255.0.255.0|   ");
        d.press("buttonSave");
        // A refused name leaves the file alone and the form as typed, still a new profile, so it can be
        // fixed; only "DHCP" and "settings" are reserved, case and all.
        const QByteArray before = s.file();
        d.press("buttonAdd");
        d.fill("Studio|10.1.0.0|255.255.0.0|");
        d.press("buttonSave");
        QVERIFY(s.file() == before && d.form() == "Studio|10.1.0.0|255.255.0.0|");
        d.fill("dhcp|10.1.0.0|255.255.0.0|");
        d.press("buttonSave");
        d.child<QListWidget>("listProfiles")->setCurrentRow(0);
        d.fill("Studio|192.168.1.0|255.255.255.0|");
        d.press("buttonSave");
        // Deleting asks first; afterwards nothing is chosen and nothing can be edited.
        d.child<QListWidget>("listProfiles")->setCurrentRow(2);
        d.plan = {QMessageBox::No, QMessageBox::Yes};
        d.press("buttonDelete");
        QCOMPARE(d.form(), "Management|192.168.0.0|255.255.254.0|192.168.0.1");
        d.press("buttonDelete");
        QCOMPARE(d.form(), "|||");
        for (const char* name : {"lineEditName", "buttonSave", "buttonDelete"})
            QVERIFY2(!d.child(name)->isEnabled(), name);

        QCOMPARE(d.seen.join(u'\n'), FakeMac::fixture("dialogs/profile-notices.txt").trimmed());
        QCOMPARE(d.rows("listProfiles"), (QStringList{"LA-Network", "Studio", "APIPA-FIX", "Office", "dhcp"}));
        QCOMPARE(QString(s.file()), FakeMac::fixture("config/profiles-edited.saved"));
    }

    void refusesProfileFieldsInOrder_data()
    {
        addFixtureRows("dialogs/validation.txt", {"typed", "blamed", "message"});
    }

    void refusesProfileFieldsInOrder()
    {
        QFETCH(QString, typed);
        QFETCH(QString, blamed);
        QFETCH(QString, message);
        StoreSession s;
        Opened<ProfileDialog> d(s.start());
        d.press("buttonAdd");
        d.fill(typed);
        d.press("buttonSave");
        QCOMPARE(d.seen, QStringList{"Warning; Validation Error; " + message});
        QCOMPARE(d.dialog.focusWidget()->objectName(), blamed);
        QCOMPARE(d.form(), typed);
        QCOMPARE(s.file(), StoreSession::read(StoreSession::defaultConfig));
    }

    void showsStoredSettings_data() { addFixtureRows("dialogs/settings.txt", {"storedId", "storedList", "shown"}); }

    void showsStoredSettings()
    {
        QFETCH(QString, storedId);
        QFETCH(QString, storedList);
        QFETCH(QString, shown);
        StoreSession s;
        ConfigManager& store = s.start();
        QVERIFY(store.updateSetting("default_network_id", storedId) &&
                store.updateSetting("forbidden_interfaces", storedList));
        Opened<SettingsDialog> d(store);
        QCOMPARE(d.child<QSpinBox>("spinBoxNetworkId")->text() + u'/' + d.rows("listForbidden").join(u'|'), shown);
    }

    void savesSettingsOnlyOnSave()
    {
        StoreSession s;
        ConfigManager& store = s.start();
        const QByteArray before = s.file();
        auto d = std::make_unique<Opened<SettingsDialog>>(store);
        d->child<QSpinBox>("spinBoxNetworkId")->selectAll();
        d->type("spinBoxNetworkId", "42");
        d->child<QListWidget>("listForbidden")->setCurrentRow(1);
        d->press("buttonRemove");
        // A typed name goes to the list and leaves the field; a blank one is not added and stays typed.
        for (const char* typed : {"  USB LAN ", "Pont Thunderbolt", "   "}) {
            d->type("lineEditForbidden", typed);
            d->press("buttonAdd");
        }
        QVERIFY(d->child<QLineEdit>("lineEditForbidden")->text() == "   " && s.file() == before);
        d->press("buttonSave");
        QVERIFY(!d->dialog.isVisible());
        const QByteArray saved = "<default_network_id>42</default_network_id>\n      <forbidden_interfaces>"
                                 "Thunderbolt Bridge, USB LAN, Pont Thunderbolt</forbidden_interfaces>";
        QVERIFY(s.file().contains(saved));
        // Close drops the edits.
        d = std::make_unique<Opened<SettingsDialog>>(store);
        d->child<QSpinBox>("spinBoxNetworkId")->setValue(7);
        d->press("buttonClose");
        QVERIFY(s.file().contains(saved));
    }

    void restoresDefaultsOnlyAfterYes()
    {
        StoreSession s;
        ConfigManager& store = s.start();
        QVERIFY(store.addEntry("Lab", {{"address", "10.0.0.0"}, {"mask", "255.0.0.0"}}));
        QVERIFY(store.updateSetting("default_network_id", "42") &&
                store.updateSetting("forbidden_interfaces", "Wi-Fi"));
        const QByteArray before = s.file();
        Opened<SettingsDialog> d(store);
        d.plan = {QMessageBox::No, QMessageBox::Yes};
        d.press("buttonRestore");
        QVERIFY(s.file() == before && d.child<QSpinBox>("spinBoxNetworkId")->value() == 42);
        d.press("buttonRestore");
        QCOMPARE(d.seen, QStringList(2, "Question; Confirm Restore; Restore default configuration?\nThis will reset "
                                        "all profiles and settings."));
        QVERIFY(d.dialog.isVisible());
        QCOMPARE(s.file(), StoreSession::read(StoreSession::defaultConfig));
        QCOMPARE(d.child<QSpinBox>("spinBoxNetworkId")->text() + u'/' + d.rows("listForbidden").join(u'|'),
                 "201/Thunderbolt Bridge|Pont Thunderbolt");
    }
};

QTEST_MAIN(TestDialogs)
#include "tst_dialogs.moc"
