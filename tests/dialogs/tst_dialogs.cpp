#include "dialogs/profiledialog.h"
#include "dialogs/settingsdialog.h"

#include "tests/common/boxanswerer.h"
#include "tests/common/session.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QSpinBox>

namespace {

const QStringList fields{"lineEditName", "lineEditAddress", "lineEditMask", "lineEditGateway"};

// A dialog shown over the store as the window opens it, with a test's hands on its widgets. It is active
// before a test acts, so that keys reach the field they are meant for.
template <typename Dialog> struct Opened : BoxAnswerer
{
    explicit Opened(ConfigManager& store) : dialog(store, nullptr)
    {
        dialog.show();
        active = QTest::qWaitForWindowActive(&dialog);
    }
    template <typename T = QWidget> T* child(const QString& name) { return dialog.template findChild<T*>(name); }
    // The boxes seen, with the home folder shown as "~".
    QStringList notices(const QString& home) { return QStringList(seen).replaceInStrings(home, "~"); }
    // A button's name clicks it; "Return in <field>" presses Enter there.
    void press(const QString& what)
    {
        if (what.startsWith("Return in "))
            QTest::keyClick(child(what.section(' ', 2)), Qt::Key_Return);
        else
            QTest::mouseClick(child<QAbstractButton>(what), Qt::LeftButton);
    }
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
    // The settings as the dialog shows them: "host/name|name...".
    QString settings() { return child<QSpinBox>("spinBoxNetworkId")->text() + '/' + rows("listForbidden").join('|'); }
    QStringList rows(const char* list)
    {
        QStringList texts;
        for (const QListWidgetItem* item : child<QListWidget>(list)->findItems("*", Qt::MatchWildcard))
            texts.append(item->text());
        return texts;
    }

    Dialog dialog;
    bool active = false;
};

// The settings as the store holds them: "host/name|name...".
QString settingsShown(const ConfigManager& store)
{
    return QString::number(store.defaultHost()) + u'/' + store.getForbiddenInterfaces().join(u'|');
}

// What the profile form allows afterwards: nothing, editing the chosen profile, or entering a new one.
enum FormState { Idle, Editing, New };

} // namespace

class TestDialogs : public QObject
{
    Q_OBJECT

private slots:
    void editsProfilesThroughTheFile_data()
    {
        QTest::addColumn<bool>("add");
        QTest::addColumn<int>("choose");        // a row of the list, chosen after "Add" when both are given
        QTest::addColumn<QStringList>("typed"); // name, address, mask, gateway, each field replaced
        QTest::addColumn<QString>("press");
        QTest::addColumn<QMessageBox::StandardButton>("answer");
        QTest::addColumn<bool>("writable");
        QTest::addColumn<QString>("form");
        QTest::addColumn<FormState>("state");
        QTest::addColumn<QString>("focus");
        QTest::addColumn<QString>("notice");
        QTest::addColumn<QStringList>("profiles");
        const QStringList stored{"LA-Network", "Intercom", "Management", "APIPA-FIX"};
        const auto row = [&](const char* name, bool add, int choose, const QStringList& typed, const QString& form,
                             FormState state, const QString& notice = {}, const QString& focus = {},
                             const QStringList& profiles = {}, const QString& press = "buttonSave",
                             QMessageBox::StandardButton answer = QMessageBox::Yes, bool writable = true) {
            QTest::newRow(name) << add << choose << typed << press << answer << writable << form << state << focus
                                << notice << (profiles.isEmpty() ? stored : profiles);
        };
        const QString invalid = "Warning; Validation Error; ";
        row("shown on the first profile", false, -1, {}, "LA-Network|192.168.1.0|255.255.255.0|192.168.1.1", Editing,
            {}, {}, {}, {});
        row("blank name before a bad address", true, -1, {"  ", "nonsense", "255.0.0.0", ""}, "  |nonsense|255.0.0.0|",
            New, invalid + "Profile name cannot be empty.", "lineEditName");
        row("bad gateway", true, -1, {"Lab", "10.0.0.0", "255.0.0.0", "10.0.0.1.1"},
            "Lab|10.0.0.0|255.0.0.0|10.0.0.1.1", New, invalid + "Invalid gateway address.", "lineEditGateway");
        row("new profile saved trimmed, last and chosen; lower-case dhcp is free", true, -1,
            {"  dhcp ", " 10.0.0.0", "255.0.0.0  ", " 10.0.0.1"}, "dhcp|10.0.0.0|255.0.0.0|10.0.0.1", Editing, {}, {},
            stored + QStringList{"dhcp"});
        row("a new profile under a taken name is refused and stays new", true, -1,
            {"Intercom", "10.1.0.0", "255.255.0.0", ""}, "Intercom|10.1.0.0|255.255.0.0|", New,
            "Warning; Error; Failed to add profile. A profile with this name may already exist.");
        row("choosing a row after Add edits that profile", true, 2, {"Management", "10.9.0.0", "255.255.0.0", ""},
            "Management|10.9.0.0|255.255.0.0|", Editing);
        row("a mask with a gap", false, 1, {"Intercom", "192.168.3.0", "255.0.255.0", ""},
            "Intercom|192.168.3.0|255.0.255.0|", Editing,
            invalid + "Invalid subnet mask: the one bits of 255.0.255.0 are not contiguous (as in 255.255.254.0).",
            "lineEditMask");
        row("renamed in place by Enter in the mask, blank gateway", false, 1,
            {" Studio ", "192.168.2.0", "255.255.254.0", " "}, "Studio|192.168.2.0|255.255.254.0|", Editing, {}, {},
            {"LA-Network", "Studio", "Management", "APIPA-FIX"}, "Return in lineEditMask");
        row("a new profile saved by Enter is the chosen row", true, -1, {"Lab", "10.0.0.0", "255.0.0.0", ""},
            "Lab|10.0.0.0|255.0.0.0|", Editing, {}, {}, stored + QStringList{"Lab"}, "Return in lineEditName");
        const QString unwritable = "\nCould not save ~/Library/Tarnwick/config.xml: Not a directory";
        row("a save that cannot be written says why", false, 1, {"Intercom", "192.168.9.0", "255.255.255.0", ""},
            "Intercom|192.168.9.0|255.255.255.0|", Editing, "Critical; Error; Failed to update profile." + unwritable,
            {}, {}, "buttonSave", QMessageBox::Yes, false);
        row("a new profile that cannot be written stays new and unlisted", true, -1,
            {"Lab", "10.0.0.0", "255.0.0.0", ""}, "Lab|10.0.0.0|255.0.0.0|", New,
            "Critical; Error; Failed to add profile." + unwritable, {}, {}, "Return in lineEditAddress",
            QMessageBox::Yes, false);
        row("a deletion that cannot be written keeps the profile", false, 2, {},
            "Management|192.168.0.0|255.255.254.0|192.168.0.1", Editing,
            "Question; Confirm Deletion; Delete profile \"Management\"? / Critical; Error; Failed to delete profile." +
                unwritable,
            {}, {}, "buttonDelete", QMessageBox::Yes, false);
        row("a deletion confirmed leaves nothing chosen", false, 2, {}, "|||", Idle,
            "Question; Confirm Deletion; Delete profile \"Management\"?", {}, {"LA-Network", "Intercom", "APIPA-FIX"},
            "buttonDelete");
    }

    void editsProfilesThroughTheFile()
    {
        QFETCH(bool, add);
        QFETCH(int, choose);
        QFETCH(QStringList, typed);
        QFETCH(QString, press);
        QFETCH(QMessageBox::StandardButton, answer);
        QFETCH(bool, writable);
        QFETCH(QString, form);
        QFETCH(FormState, state);
        StoreSession s;
        Opened<ProfileDialog> d(s.start());
        QVERIFY(d.active);
        if (add)
            d.press("buttonAdd");
        if (choose >= 0)
            d.child<QListWidget>("listProfiles")->setCurrentRow(choose);
        if (!typed.isEmpty())
            d.fill(typed.join(u'|'));
        // Where the folder was, a file: nothing can be written there, not even as root.
        const QString folder = QFileInfo(s.path).path();
        QVERIFY(writable || (QDir(folder).removeRecursively() && QFile(folder).open(QIODevice::WriteOnly)));
        d.plan = {answer};
        if (!press.isEmpty())
            d.press(press);
        QVERIFY(d.dialog.isVisible());
        QCOMPARE(d.form(), form);
        QCOMPARE(d.child("lineEditName")->isEnabled() && d.child("buttonSave")->isEnabled(), state != Idle);
        QCOMPARE(d.child("buttonDelete")->isEnabled(), state == Editing);
        QFETCH(QString, focus);
        QVERIFY(focus.isEmpty() || d.dialog.focusWidget()->objectName() == focus);
        QFETCH(QString, notice);
        QCOMPARE(d.notices(s.mac.homeDir()).join(" / "), notice);
        // The list shows what the store holds, saved or not, and the profile edited is its chosen row.
        QFETCH(QStringList, profiles);
        QCOMPARE(d.rows("listProfiles"), profiles);
        QCOMPARE(s.store->getProfileEntries(), profiles);
        const QList<QListWidgetItem*> chosen = d.child<QListWidget>("listProfiles")->selectedItems();
        QVERIFY(state == Editing || chosen.isEmpty());
        QVERIFY(state != Editing || !notice.isEmpty() ||
                (chosen.size() == 1 && chosen.first()->text() == form.section(u'|', 0, 0)));
        // The file holds what the dialog shows after a save, and a profile without a router has no gateway.
        if (!writable)
            return;
        const ConfigManager file(QStringLiteral("config.xml"), StoreSession::defaultConfig);
        QCOMPARE(file.getProfileEntries(), profiles);
        const QString name = form.section(u'|', 0, 0);
        const QStringList values{name, file.getParameter(name, "address"), file.getParameter(name, "mask"),
                                 file.getParameter(name, "gateway")};
        QVERIFY(state != Editing || !notice.isEmpty() || values.join(u'|') == form);
        QVERIFY(!s.file().contains("<gateway></gateway>"));
    }

    void asksBeforeDroppingEdits_data()
    {
        QTest::addColumn<bool>("add");
        QTest::addColumn<QString>("typed"); // name|address|mask|gateway, each field replaced; empty types nothing
        QTest::addColumn<bool>("escape");   // Escape rather than Close
        QTest::addColumn<QList<QMessageBox::StandardButton>>("answers");
        QTest::addColumn<QString>("notices");
        QTest::addColumn<bool>("closed");
        QTest::addColumn<bool>("saved");
        const QString asked = "Question; Unsaved Changes; Save changes to \"LA-Network\"?";
        const QString edited = "LA-Network|192.168.7.0|255.255.255.0|";
        using Answers = QList<QMessageBox::StandardButton>;
        QTest::newRow("nothing edited") << false << "" << false << Answers{} << "" << true << false;
        QTest::newRow("edits saved") << false << edited << false << Answers{QMessageBox::Save} << asked << true << true;
        QTest::newRow("edits discarded") << false << edited << false << Answers{QMessageBox::Discard} << asked << true
                                         << false;
        QTest::newRow("Escape asks too, Cancel keeps the dialog and the edits")
            << false << edited << true << Answers{QMessageBox::Cancel} << asked << false << false;
        QTest::newRow("a new profile saved") << true << "Lab|10.0.0.0|255.0.0.0|" << false << Answers{QMessageBox::Save}
                                             << "Question; Unsaved Changes; Save changes to \"Lab\"?" << true << true;
        QTest::newRow("invalid edits stay to be fixed")
            << false << "LA-Network|192.168.1.0|255.0.255.0|" << false << Answers{QMessageBox::Save}
            << asked + " / Warning; Validation Error; Invalid subnet mask: the one bits of 255.0.255.0 are not "
                       "contiguous (as in 255.255.254.0)."
            << false << false;
    }

    // Leaving the profile manager never drops typed values without a word, and Save is the default answer.
    void asksBeforeDroppingEdits()
    {
        QFETCH(bool, add);
        QFETCH(QString, typed);
        QFETCH(bool, escape);
        QFETCH(QList<QMessageBox::StandardButton>, answers);
        QFETCH(QString, notices);
        QFETCH(bool, closed);
        QFETCH(bool, saved);
        StoreSession s;
        Opened<ProfileDialog> d(s.start());
        QVERIFY(d.active);
        const QByteArray before = s.file();
        if (add)
            d.press("buttonAdd");
        if (!typed.isEmpty())
            d.fill(typed);
        d.plan = answers;
        if (escape)
            QTest::keyClick(&d.dialog, Qt::Key_Escape);
        else
            d.press("buttonClose");
        QCOMPARE(d.seen.join(" / "), notices);
        QVERIFY(d.defaults.isEmpty() || d.defaults.first() == QMessageBox::Save);
        QCOMPARE(d.dialog.isVisible(), !closed);
        QVERIFY(closed || d.form() == typed);
        QCOMPARE(s.file() != before, saved);
    }

    void takesDnsAsTyped_data()
    {
        QTest::addColumn<QString>("servers"); // typed; "automatic" ticks the box instead
        QTest::addColumn<QString>("domains");
        QTest::addColumn<QString>("problems"); // shown under the servers, then the domains
        QTest::addColumn<QString>("stored");   // the profile's dns, then search; empty when Save is off
        const auto row = [](const char* name, const QString& servers, const QString& domains, const QString& problems,
                            const QString& stored) { QTest::newRow(name) << servers << domains << problems << stored; };
        row("lists in the order typed, commas or blanks", " 10.0.0.53,2001:db8::53  10.0.0.54,",
            "lab.example.com, example.com", "|", "10.0.0.53\n2001:db8::53\n10.0.0.54|lab.example.com\nexample.com");
        row("automatic, whatever the field holds", "automatic", "automatic", "|", "automatic|automatic");
        row("empty leaves the service's DNS alone", "", "", "|", "|");
        row("a bad server or domain turns Save off", "10.0.0.53 fe80::1%en0", "lab.example.com -lab.example.com",
            "\"fe80::1%en0\" is not an IPv4 or IPv6 address.|\"-lab.example.com\" is not a domain name: labels of "
            "letters, digits and hyphens between dots, none starting or ending with a hyphen, up to 63 characters each "
            "and 253 in all.",
            "");
    }

    // The stored form is what the switching core applies; the profile shows it again, the items joined by commas.
    void takesDnsAsTyped()
    {
        QFETCH(QString, servers);
        QFETCH(QString, domains);
        QFETCH(QString, stored);
        StoreSession s;
        auto d = std::make_unique<Opened<ProfileDialog>>(s.start());
        QVERIFY(d->active);
        for (const auto& [field, box, text] : {std::tuple{"lineEditDns", "checkBoxDnsAutomatic", servers},
                                               {"lineEditSearch", "checkBoxSearchAutomatic", domains}}) {
            d->type(field, text == "automatic" ? "not valid!" : text);
            if (text == "automatic")
                d->press(box);
        }
        const QString problems =
            d->child<QLabel>("labelDnsProblem")->text() + '|' + d->child<QLabel>("labelSearchProblem")->text();
        QTEST(problems, "problems");
        QCOMPARE(d->child("buttonSave")->isEnabled(), !stored.isEmpty());
        if (stored.isEmpty())
            return;
        d->press("buttonSave");
        QCOMPARE(s.store->getParameter("LA-Network", "dns") + '|' + s.store->getParameter("LA-Network", "search"),
                 stored);
        d.reset();
        d = std::make_unique<Opened<ProfileDialog>>(s.start());
        const auto shown = [&](const char* field, const char* box) {
            return d->child<QCheckBox>(box)->isChecked() ? QString("automatic") : d->child<QLineEdit>(field)->text();
        };
        QCOMPARE(shown("lineEditDns", "checkBoxDnsAutomatic") + '|' +
                     shown("lineEditSearch", "checkBoxSearchAutomatic"),
                 QString(stored).replace("\n", ", "));
        // Nothing to save as shown.
        d->press("buttonClose");
        QVERIFY(d->seen.isEmpty() && !d->dialog.isVisible());
    }

    void savesSettingsOnlyOnSave()
    {
        StoreSession s;
        ConfigManager& store = s.start();
        // An older joined list splits only at ", ", blank names dropped and the others trimmed.
        store.updateSetting("default_network_id", "1");
        store.updateSetting("forbidden_interfaces", "  Thunderbolt Bridge ,   Pont Thunderbolt  , , Wi-Fi,Ethernet");
        const QByteArray before = s.file();
        auto d = std::make_unique<Opened<SettingsDialog>>(store);
        QVERIFY(d->active);
        QCOMPARE(d->settings(), "1/Thunderbolt Bridge|Pont Thunderbolt|Wi-Fi,Ethernet");
        d->child<QSpinBox>("spinBoxNetworkId")->selectAll();
        d->type("spinBoxNetworkId", "255");
        d->child<QListWidget>("listForbidden")->setCurrentRow(1);
        d->press("buttonRemove");
        // A typed name goes to the list once, whole, and leaves the field; a blank one is not added and stays.
        for (const char* typed : {"  USB LAN ", "Dock, left", "Pont Thunderbolt", "Wi-Fi,Ethernet", "   "}) {
            d->type("lineEditForbidden", typed);
            d->press("buttonAdd");
        }
        QVERIFY(d->child<QLineEdit>("lineEditForbidden")->text() == "   " && s.file() == before);
        d->press("buttonSave");
        QVERIFY(!d->dialog.isVisible() && !s.file().contains("dns_on_dhcp"));
        const QString shown = "255/Thunderbolt Bridge|Wi-Fi,Ethernet|USB LAN|Dock, left|Pont Thunderbolt";
        QVERIFY(s.file().contains("<default_network_id>255</default_network_id>") &&
                s.file().contains("<interface>Dock, left</interface>"));
        // Close drops the edits; the next opening shows what was saved, each name whole.
        d = std::make_unique<Opened<SettingsDialog>>(store);
        QCOMPARE(d->settings(), shown);
        d->child<QSpinBox>("spinBoxNetworkId")->setValue(0);
        d->press("buttonClose");
        QCOMPARE(settingsShown(store), shown);
        // Keeping the DNS that is set is the default, written only once changed.
        d = std::make_unique<Opened<SettingsDialog>>(store);
        QCOMPARE(d->child<QComboBox>("comboBoxDnsOnDhcp")->currentText(), "Keep what is set");
        d->child<QComboBox>("comboBoxDnsOnDhcp")->setCurrentText("Automatic");
        d->press("buttonSave");
        QVERIFY(store.dnsOnDhcp() == "automatic" && s.file().contains("<dns_on_dhcp>automatic</dns_on_dhcp>"));

        // A save that cannot be written says why and leaves the dialog open with its edits.
        const QString folder = QFileInfo(s.path).path();
        QVERIFY(QDir(folder).removeRecursively() && QFile(folder).open(QIODevice::WriteOnly));
        d = std::make_unique<Opened<SettingsDialog>>(store);
        d->child<QSpinBox>("spinBoxNetworkId")->setValue(0);
        d->press("buttonSave");
        QCOMPARE(d->notices(s.mac.homeDir()), QStringList{"Critical; Error; The settings were not saved.\nCould not "
                                                          "save ~/Library/Tarnwick/config.xml: Not a directory"});
        QVERIFY(d->dialog.isVisible() && d->child<QSpinBox>("spinBoxNetworkId")->value() == 0);
        QCOMPARE(settingsShown(store), shown);
    }

    void restoresDefaultsOnlyWhenConfirmed()
    {
        StoreSession s;
        ConfigManager& store = s.start();
        QVERIFY(store.addEntry("Lab", {{"address", "10.0.0.0"}, {"mask", "255.0.0.0"}}));
        QVERIFY(store.updateSetting("default_network_id", "0") && store.setForbiddenInterfaces({"Wi-Fi"}));
        const QByteArray before = s.file();
        Opened<SettingsDialog> d(store);
        QVERIFY(d.active);
        d.plan = {QMessageBox::Cancel, QMessageBox::RestoreDefaults};
        d.press("buttonRestore");
        QVERIFY(s.file() == before && d.settings() == "0/Wi-Fi");
        d.press("buttonRestore");
        const QString question = "Question; Confirm Restore; Restore the default configuration?\nThis replaces all "
                                 "profiles and settings. A copy of the current file is kept beside it, in ~/Library/"
                                 "Tarnwick, as \"config.xml.before-restore-<time>\".";
        const QString kept = d.seen.value(2).section(" kept in ", 1);
        QCOMPARE(d.notices(s.mac.homeDir()),
                 (QStringList{question, question,
                              "Information; Success; Default configuration restored. Your previous profiles are kept "
                              "in " +
                                  QString(kept).replace(s.mac.homeDir(), "~")}));
        // Cancel is the default: Enter or a slip of the hand keeps the profiles.
        QCOMPARE(d.defaults.mid(0, 2), (QList<QMessageBox::StandardButton>{QMessageBox::Cancel, QMessageBox::Cancel}));
        QVERIFY2(kept.startsWith(s.path + ".before-restore-"), qPrintable(kept));
        QCOMPARE(StoreSession::read(kept), before);
        QVERIFY(d.dialog.isVisible());
        QCOMPARE(s.file(), StoreSession::read(StoreSession::defaultConfig));
        QCOMPARE(d.settings(), "201/Thunderbolt Bridge|Pont Thunderbolt");
    }
};

QTEST_MAIN(TestDialogs)
#include "tst_dialogs.moc"
