#include "dialogs/profiledialog.h"
#include "dialogs/settingsdialog.h"

#include "tests/common/boxanswerer.h"
#include "tests/common/session.h"

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
        for (const QStringList& step : fixtureTable("dialogs/profile-steps.txt")) {
            if (step[1] == "add")
                d.press("buttonAdd");
            else if (step[1] != "-")
                d.child<QListWidget>("listProfiles")->setCurrentRow(step[1].toInt());
            if (step[2] != "-")
                d.fill(step[2]);
            d.plan = {step[3].endsWith("No") ? QMessageBox::No : QMessageBox::Yes};
            if (step[3] != "-")
                d.press(qPrintable(step[3].section(' ', 0, 0)));
            QVERIFY2(d.form() == step[4], qPrintable(step[0] + ": " + d.form()));
            QVERIFY2(step[5].isEmpty() || d.dialog.focusWidget()->objectName() == step[5], qPrintable(step[0]));
        }
        for (const char* name : {"lineEditName", "buttonSave", "buttonDelete"})
            QVERIFY2(!d.child(name)->isEnabled(), name);
        QCOMPARE(d.seen.join(u'\n'), FakeMac::fixture("dialogs/profile-notices.txt").trimmed());
        QCOMPARE(d.rows("listProfiles"), (QStringList{"LA-Network", "Studio", "APIPA-FIX", "Office", "dhcp"}));
        QCOMPARE(QString(s.file()), FakeMac::fixture("config/profiles-edited.saved"));
    }

    void savesSettingsOnlyOnSave()
    {
        StoreSession s;
        ConfigManager& store = s.start();
        // Shown as stored: the list splits only at ", ", blank names dropped and the others trimmed.
        store.updateSetting("default_network_id", "1");
        store.updateSetting("forbidden_interfaces", "  Thunderbolt Bridge ,   Pont Thunderbolt  , , Wi-Fi,Ethernet");
        const QByteArray before = s.file();
        auto d = std::make_unique<Opened<SettingsDialog>>(store);
        QCOMPARE(d->child<QSpinBox>("spinBoxNetworkId")->text() + '/' + d->rows("listForbidden").join('|'),
                 "1/Thunderbolt Bridge|Pont Thunderbolt|Wi-Fi,Ethernet");
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
                                 "Thunderbolt Bridge, Wi-Fi,Ethernet, USB LAN, Pont Thunderbolt</forbidden_interfaces>";
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
        // An id out of range is shown as the usual host number.
        QVERIFY(store.updateSetting("default_network_id", "0") && store.updateSetting("forbidden_interfaces", "Wi-Fi"));
        const QByteArray before = s.file();
        Opened<SettingsDialog> d(store);
        d.plan = {QMessageBox::No, QMessageBox::Yes};
        d.press("buttonRestore");
        QVERIFY(s.file() == before &&
                d.child<QSpinBox>("spinBoxNetworkId")->text() + '/' + d.rows("listForbidden").join('|') == "201/Wi-Fi");
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
