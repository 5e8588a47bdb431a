#include "tools/fakemac/fakemac.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QTest>

namespace {

QString readText(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// Inside a test a broken control fails that test alone; a benchmark has no test to fail and stops.
void require(bool ok, const QString& what)
{
    if (ok)
        return;
    const QByteArray message = "simulated Mac: cannot " + what.toLocal8Bit();
    if (QTest::currentTestFunction())
        QTest::qFail(message.constData(), __FILE__, __LINE__);
    else
        qFatal("%s", message.constData());
}

// The commands started from here find the stand-ins before any real networksetup or ifconfig.
void useStandIns(const QString& state)
{
    qputenv("FAKEMAC_STATE", state.toUtf8());
    const QByteArray fakeDir = TARNWICK_FAKEMAC_DIR;
    const QByteArray path = qgetenv("PATH");
    if (!path.startsWith(fakeDir + ':'))
        qputenv("PATH", fakeDir + ':' + path);
}

} // namespace

FakeMac::FakeMac() : ownHome(std::make_unique<QTemporaryDir>()), ownState(std::make_unique<QTemporaryDir>())
{
    require(ownHome->isValid() && ownState->isValid(), QStringLiteral("create the temporary folders"));
    home = ownHome->path();
    state = ownState->path();
    qputenv("HOME", home.toUtf8());
    useStandIns(state);
}

FakeMac::FakeMac(const QString& stateDir) : home(qEnvironmentVariable("HOME")), state(stateDir)
{
    require(!state.isEmpty() && QDir().mkpath(state), QStringLiteral("use the state folder \"%1\"").arg(state));
    useStandIns(state);
}

FakeMac::~FakeMac() = default;

void FakeMac::writeControl(const QString& name, const QByteArray& content, bool on)
{
    const QString path = QDir(state).filePath(name);
    if (!on) {
        require(QFile::remove(path) || !QFileInfo::exists(path), QStringLiteral("remove ") + path);
        return;
    }
    // Replaced in one step: a stand-in running meanwhile reads the old content or the new, never a
    // missing or half-written file (a hold briefly gone would let the held call through).
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile file(path);
    require(file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.commit(),
            QStringLiteral("write ") + path);
}

QString FakeMac::services() const
{
    return readText(QDir(state).filePath(QStringLiteral("services")));
}

QString FakeMac::callLogPath() const
{
    return QDir(state).filePath(QStringLiteral("calls.log"));
}

QList<QStringList> FakeMac::readCalls(const QString& logPath)
{
    QList<QStringList> result;
    for (const QString& line : readText(logPath).split(u'\n', Qt::SkipEmptyParts))
        result.append(line.split(u'\t'));
    return result;
}

QString FakeMac::fixture(const QString& name)
{
    return readText(QStringLiteral(TARNWICK_FIXTURES_DIR "/") + name);
}

QString FakeMac::realFixturesDir()
{
    return QStringLiteral(TARNWICK_REAL_FIXTURES_DIR);
}
