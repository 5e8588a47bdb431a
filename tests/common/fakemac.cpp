#include "tests/common/fakemac.h"

#include <QDir>
#include <QFile>
#include <QTest>

FakeMac::FakeMac()
{
    QVERIFY2(home.isValid() && state.isValid(), "cannot create the temporary folders");
    qputenv("HOME", home.path().toUtf8());
    qputenv("FAKEMAC_STATE", state.path().toUtf8());
    const QByteArray fakeDir = TARNWICK_FAKEMAC_DIR;
    QByteArray path = qgetenv("PATH");
    if (!path.startsWith(fakeDir + ':'))
        path = fakeDir + ':' + path;
    qputenv("PATH", path);
}

QString FakeMac::homeDir() const
{
    return home.path();
}

QString FakeMac::stateDir() const
{
    return state.path();
}

void FakeMac::writeControl(const QString& name, const QByteArray& content)
{
    const QString path = state.filePath(name);
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly | QIODevice::Truncate), qPrintable(path));
    file.write(content);
}

void FakeMac::setServices(const QString& lines)
{
    writeControl(QStringLiteral("services"), lines.toUtf8());
}

QString FakeMac::services() const
{
    QFile file(state.filePath(QStringLiteral("services")));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

void FakeMac::setFailure(const QString& mode)
{
    if (mode.isEmpty())
        QFile::remove(state.filePath(QStringLiteral("fail")));
    else
        writeControl(QStringLiteral("fail"), mode.toUtf8() + '\n');
}

void FakeMac::setDelay(double seconds)
{
    if (seconds <= 0)
        QFile::remove(state.filePath(QStringLiteral("delay")));
    else
        writeControl(QStringLiteral("delay"), QByteArray::number(seconds) + '\n');
}

void FakeMac::setErrorsToStdout(bool on)
{
    if (on)
        writeControl(QStringLiteral("errors-to-stdout"), QByteArray());
    else
        QFile::remove(state.filePath(QStringLiteral("errors-to-stdout")));
}

void FakeMac::setReplay(const QString& name, const QString& text)
{
    writeControl(QStringLiteral("replay/") + name, text.toUtf8());
}

QList<QStringList> FakeMac::calls() const
{
    QList<QStringList> result;
    QFile file(state.filePath(QStringLiteral("calls.log")));
    if (!file.open(QIODevice::ReadOnly))
        return result;
    const QString text = QString::fromUtf8(file.readAll());
    for (const QString& line : text.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
        result.append(line.split(QLatin1Char('\t')));
    return result;
}

void FakeMac::clearCalls()
{
    QFile::remove(state.filePath(QStringLiteral("calls.log")));
}

QString FakeMac::fixture(const QString& name)
{
    QFile file(QStringLiteral(TARNWICK_FIXTURES_DIR "/") + name);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("missing fixture %s", qPrintable(file.fileName()));
    return QString::fromUtf8(file.readAll());
}

QString FakeMac::realFixturesDir()
{
    return QStringLiteral(TARNWICK_REAL_FIXTURES_DIR);
}
