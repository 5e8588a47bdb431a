#include "cli/confirm.h"
#include "core/history.h"
#include "tools/fakemac/fakemac.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

#include <csignal>
#include <unistd.h>

namespace {

const QString wifiLab = QStringLiteral("Wi-Fi now uses 192.168.1.201 mask 255.255.255.0, no router.\n");
const QString wifiIntercom = QStringLiteral("Wi-Fi now uses 192.168.3.201 mask 255.255.255.0, no router.\n");

// The built program as a user runs it: its status, and standard output followed by standard error.
QPair<int, QString> cli(const QStringList& arguments)
{
    QProcess process;
    process.start(QStringLiteral(TARNWICK_CLI_PATH), arguments);
    process.closeWriteChannel();
    process.waitForFinished();
    return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput() + process.readAllStandardError())};
}

// The machine, without the empty fields that older lines leave out.
QString machine(const FakeMac& mac)
{
    static const QRegularExpression emptyFields(QStringLiteral("\\|+$"), QRegularExpression::MultilineOption);
    return mac.services().remove(emptyFields);
}

} // namespace

class TestConfirm : public QObject
{
    Q_OBJECT

private slots:
    void keepsTenStatesPerServiceNewestFirst();
    void undoesOneChangeAtATime_data();
    void undoesOneChangeAtATime();
    void revertsUnlessKept_data();
    void revertsUnlessKept();
};

void TestConfirm::keepsTenStatesPerServiceNewestFirst()
{
    FakeMac mac;
    History history;
    ServiceState state;
    state.method = ServiceState::Method::Manual;
    state.mask = QHostAddress(QStringLiteral("255.255.255.0"));
    for (int i = 1; i <= 12; ++i) {
        state.name = i == 6 ? QStringLiteral("Ethernet") : QStringLiteral("Wi-Fi");
        state.address = QHostAddress(QStringLiteral("10.0.0.%1").arg(i));
        QVERIFY(history.record(state));
    }
    QStringList addresses;
    for (const QJsonValue entry : QJsonDocument::fromJson(cli({"history", "Wi-Fi", "--json"}).second.toUtf8()).array())
        addresses.append(entry[QLatin1String("address")].toString());
    QCOMPARE(addresses, QStringList({"10.0.0.12", "10.0.0.11", "10.0.0.10", "10.0.0.9", "10.0.0.8", "10.0.0.7",
                                     "10.0.0.5", "10.0.0.4", "10.0.0.3", "10.0.0.2"}));
    const QRegularExpression line(QStringLiteral("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d  10.0.0.6 mask "
                                                 "255.255.255.0, no router\n$"));
    QVERIFY(line.match(cli({"history", "Ethernet"}).second).hasMatch());
}

void TestConfirm::undoesOneChangeAtATime_data()
{
    // Each step: the simulated Mac's failure switch, the status, text found in what is printed (or nothing), arguments.
    QTest::addColumn<QList<QStringList>>("steps");
    QTest::newRow("undo twice goes two changes back")
        << QList<QStringList>{{"", "0", wifiLab, "apply", "Wi-Fi", "LA-Network"},
                              {"", "0", wifiIntercom, "apply", "Wi-Fi", "Intercom"},
                              {"", "0", wifiLab, "undo", "Wi-Fi"},
                              {"", "0", "Wi-Fi now uses DHCP.\n", "undo", "Wi-Fi"},
                              {"", "2", "tarnwick-cli: no change of \"Wi-Fi\" to undo\n", "undo", "Wi-Fi"}};
    QTest::newRow("a failed undo keeps its entry")
        << QList<QStringList>{{"", "0", wifiLab, "apply", "Wi-Fi", "LA-Network"},
                              {"admin", "1", "tarnwick-cli: refused: Wi-Fi now uses 192.168.1.201", "undo", "Wi-Fi"},
                              {"", "0", "Wi-Fi now uses DHCP.\n", "undo", "Wi-Fi"}};
    QTest::newRow("what does not fit changes nothing") << QList<QStringList>{
        {"", "2", "no service \"Thunderbolt Bridge\"; the services are", "undo", "Thunderbolt Bridge"},
        {"", "2", "--confirm \"0\" is not a whole number of seconds from 1 to 3600", "dhcp", "Wi-Fi", "--confirm", "0"},
        {"", "2", "--confirm \"1.5\" is not", "dhcp", "Wi-Fi", "--confirm", "1.5"},
        {"", "2", "--confirm \"3601\" is not", "dhcp", "Wi-Fi", "--confirm", "3601"},
        {"", "2", "--confirm goes with apply and dhcp", "undo", "Wi-Fi", "--confirm", "5"},
        {"", "2", "tarnwick-cli: no change of \"Wi-Fi\" waits to be kept\n", "keep", "Wi-Fi"},
        {"", "0", "", "history", "Wi-Fi"},
        {"", "0", "[]\n", "history", "Wi-Fi", "--json"}};
}

void TestConfirm::undoesOneChangeAtATime()
{
    QFETCH(QList<QStringList>, steps);
    FakeMac mac;
    QCOMPARE(cli({"status"}).first, 0); // the machine as it starts
    for (const QStringList& step : steps) {
        mac.setFailure(step.at(0));
        const QString before = machine(mac);
        const auto [status, output] = cli(step.mid(3));
        QVERIFY2(step.at(2).isEmpty() ? output.isEmpty() : output.contains(step.at(2)), qPrintable(output));
        QCOMPARE(status, step.at(1).toInt());
        if (status == 2)
            QCOMPARE(machine(mac), before);
    }
}

void TestConfirm::revertsUnlessKept_data()
{
    QTest::addColumn<QString>("ending"); // what is typed, or what happens instead
    QTest::addColumn<int>("status");     // -1: a signal ended it
    QTest::addColumn<QString>("out");    // after the question
    QTest::addColumn<bool>("reverted");
    const QString kept = QStringLiteral("Kept the change of \"Wi-Fi\".\n");
    QTest::newRow("y keeps") << "y\n" << 0 << kept << false;
    QTest::newRow("an empty line keeps") << "\n" << 0 << kept << false;
    QTest::newRow("keep from another shell keeps") << "keep" << 0 << kept << false;
    QTest::newRow("n reverts at once") << "n\n" << 1 << wifiIntercom << true;
    QTest::newRow("another answer asks again")
        << "later\nn\n"
        << 1 << "Answer y to keep it, or n to revert it now.\n" + wifiIntercom << true;
    QTest::newRow("end of input reverts at the deadline")
        << "" << 1 << "No answer within 2 s: the change is reverted.\n" + wifiIntercom << true;
    QTest::newRow("a hang-up of the terminal still reverts") << "SIGHUP" << -1 << "" << true;
    QTest::newRow("a killed command still reverts") << "SIGKILL" << -1 << "" << true;
}

void TestConfirm::revertsUnlessKept()
{
    QFETCH(QString, ending);
    QFETCH(int, status);
    QFETCH(QString, out);
    QFETCH(bool, reverted);

    FakeMac mac;
    // An older change too: a revert made twice would go back to it.
    QCOMPARE(cli({"apply", "Wi-Fi", "Intercom"}).first, 0);
    const QString before = machine(mac);
    QProcess process;
    // Its own job, as a shell starts it: a hang-up reaches every process of the job.
    process.setChildProcessModifier([] { ::setpgid(0, 0); });
    process.start(QStringLiteral(TARNWICK_CLI_PATH), {"apply", "Wi-Fi", "LA-Network", "--confirm", "2"});
    const QString asked = wifiLab + "Keep this setting? It is reverted in 2 s unless you answer y.\n";
    QString output;
    QTRY_VERIFY_WITH_TIMEOUT((output += QString::fromUtf8(process.readAllStandardOutput())) == asked, 10000);
    const QString after = machine(mac);
    QVERIFY(after != before);

    if (ending.startsWith(QLatin1String("SIG")))
        ::kill(ending == QLatin1String("SIGHUP") ? -process.processId() : process.processId(),
               ending == QLatin1String("SIGHUP") ? SIGHUP : SIGKILL);
    else if (ending == QLatin1String("keep"))
        QCOMPARE(cli({"keep", "Wi-Fi"}), qMakePair(0, QStringLiteral("Kept the change of \"Wi-Fi\".\n")));
    else
        process.write(ending.toUtf8());
    if (ending != QLatin1String("keep"))
        process.closeWriteChannel();
    QVERIFY(process.waitForFinished(10000));
    output += QString::fromUtf8(process.readAllStandardOutput() + process.readAllStandardError());
    QCOMPARE(process.exitStatus(), status < 0 ? QProcess::CrashExit : QProcess::NormalExit);
    if (status >= 0) {
        QCOMPARE(output, asked + out);
        QCOMPARE(process.exitCode(), status);
    }
    // Without the command, only the record and the machine tell that the revert landed.
    QTRY_VERIFY_WITH_TIMEOUT(!Cli::waitsForAnswer(History::defaultPath(), QStringLiteral("Wi-Fi")), 10000);
    QCOMPARE(machine(mac), reverted ? before : after);
    // What is left of the record reverts nothing, now or later.
    QCOMPARE(cli({"revert-pending", Cli::pendingFile(History::defaultPath(), QStringLiteral("Wi-Fi"))}).first, 0);
    QCOMPARE(machine(mac), reverted ? before : after);
}

QTEST_GUILESS_MAIN(TestConfirm)
#include "tst_confirm.moc"
