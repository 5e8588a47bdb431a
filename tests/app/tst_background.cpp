#include "network/system.h"
#include "windowsession.h"

#include <QDir>
#include <QElapsedTimer>

// The five-second refresh reads the machine off the GUI thread: these run it against a slow or hung
// simulated Mac and watch what the user would see.
class TestBackground : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { closeModals(); }
    void handlesInputWhileTheRefreshReads();
    void dropsAReadingOvertakenByAnApply();
    void appliesFromAFocusedSpinBoxUnderABusyCursor();
    void quitsAtOnceDuringAHungReading();
};

namespace {

// Starts the refresh now instead of in five seconds and waits until its first command runs.
void startRefresh(Session& s)
{
    QTimer* refresh = s.refreshTimer();
    s.fake.clearCalls();
    refresh->start(1);
    QTRY_VERIFY(!s.fake.calls().isEmpty());
    refresh->start(5000);
}

// Answers every notice with Ok, keeping its title and text.
struct Answerer : QTimer
{
    Answerer()
    {
        connect(this, &QTimer::timeout, this, [this] {
            if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
                notices.append(box->windowTitle() + ": " + box->text());
                box->accept();
            }
        });
        start(10);
    }
    QStringList notices;
};

} // namespace

void TestBackground::handlesInputWhileTheRefreshReads()
{
    Session s;
    s.fake.setServices("1|Ethernet|Ethernet|en0|1|manual|192.168.1.77|255.255.255.0|192.168.1.1\n"
                       "2|Wi-Fi|Wi-Fi|en1|1|dhcp|10.0.0.23|255.255.255.0|10.0.0.1\n");
    s.fake.setDelay(0.5);
    startRefresh(s);

    s.choose("comboBoxProfil", "Intercom");
    QTest::keyClick(s.child<QComboBox>("comboBoxProfil"), Qt::Key_Down);
    QCOMPARE(s.spinBoxes("addr"), QString("192.168.0.201"));
    QVERIFY2(!s.fake.calls().contains(QStringList{"ifconfig"}), "the input waited for the reading");
    QCOMPARE(s.fields(), QString("192.168.1.201 255.255.255.0 192.168.1.1"));

    QTRY_COMPARE_WITH_TIMEOUT(s.fields(), QString("192.168.1.77 255.255.255.0 192.168.1.1"), 10000);
}

void TestBackground::dropsAReadingOvertakenByAnApply()
{
    Session s;
    s.fake.setDelay(0.5);
    startRefresh(s);
    // The reading sees Ethernet at 192.168.1.201, then waits on the next service long after the Apply.
    QTRY_VERIFY(s.fake.calls().contains(QStringList{"networksetup", "-getinfo", "Ethernet"}));
    s.fake.setDelay(2.5);
    QTRY_VERIFY(s.fake.calls().contains(QStringList{"networksetup", "-getinfo", "Wi-Fi"}));
    s.fake.setDelay(0);

    Answerer answerer;
    s.choose("comboBoxProfil", "Intercom");
    clickOn(s.child<QPushButton>("execButton"));
    QCOMPARE(answerer.notices, QStringList{"Success: It's done!"});
    QCOMPARE(s.fields(), QString("192.168.3.201 255.255.255.0 ..."));

    QTRY_COMPARE_WITH_TIMEOUT(s.fake.calls().count(QStringList{"ifconfig"}), 2, 10000);
    QTest::qWait(300);
    QCOMPARE(s.fields(), QString("192.168.3.201 255.255.255.0 ..."));
}

void TestBackground::appliesFromAFocusedSpinBoxUnderABusyCursor()
{
    Session s;
    s.choose("comboBoxProfil", "LA-Network");
    auto* host = s.child<QSpinBox>("sb_addr_4");
    host->setValue(42);
    host->setFocus();
    // Stands in for the X11 keyboard scheme, where a spin box claims Ctrl+E as "end of line".
    struct EndOfLine : QObject
    {
        bool eventFilter(QObject*, QEvent* event) override
        {
            if (event->type() == QEvent::ShortcutOverride &&
                static_cast<QKeyEvent*>(event)->keyCombination() == QKeyCombination(Qt::CTRL | Qt::Key_E))
                event->accept();
            return false;
        }
    } endOfLine;
    host->installEventFilter(&endOfLine);
    s.fake.setDelay(0.2);
    s.fake.clearCalls();

    Answerer answerer;
    bool busyCursor = false;
    QTimer probe;
    connect(&probe, &QTimer::timeout, this, [&] {
        const QCursor* cursor = QApplication::overrideCursor();
        busyCursor |= System::isBusy() && cursor && cursor->shape() == Qt::WaitCursor;
    });
    probe.start(20);
    QTest::keyClick(host, Qt::Key_E, Qt::ControlModifier);
    QTRY_COMPARE(answerer.notices, QStringList{"Success: It's done!"});
    QTRY_VERIFY(!System::isBusy());

    QCOMPARE(s.changes(),
             (QList<QStringList>{{"networksetup", "-setdhcp", "Ethernet"},
                                 {"networksetup", "-setmanual", "Ethernet", "192.168.1.42", "255.255.255.0", ""}}));
    QVERIFY(busyCursor);
    QCOMPARE(QApplication::overrideCursor(), nullptr);
}

void TestBackground::quitsAtOnceDuringAHungReading()
{
    // A delay no other process on the machine would sleep, to find what the hung command left.
    const QString hang = "987.654";
    const auto sleepersLeft = [&hang] {
        int found = 0;
        for (const QString& pid : QDir("/proc").entryList({"[0-9]*"}, QDir::Dirs)) {
            QFile cmdline("/proc/" + pid + "/cmdline");
            found += cmdline.open(QIODevice::ReadOnly) && cmdline.readAll().contains(hang.toUtf8() + '\0');
        }
        return found;
    };
    auto s = std::make_unique<Session>();
    s->fake.setDelay(hang.toDouble());
    startRefresh(*s);
    if (QDir("/proc/self").exists())
        QTRY_COMPARE(sleepersLeft(), 1);

    QElapsedTimer clock;
    clock.start();
    s.reset();
    QVERIFY2(clock.elapsed() < 1000, qPrintable(QString::number(clock.elapsed()) + " ms"));
    QTRY_COMPARE(sleepersLeft(), 0);
}

QTEST_MAIN(TestBackground)
#include "tst_background.moc"
