#include "tests/common/fakemac.h"

#include <QDir>
#include <QFile>
#include <QTest>

namespace {

QString readText(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

} // namespace

FakeMac::FakeMac()
{
    QVERIFY2(home.isValid() && state.isValid(), "cannot create the temporary folders");
    qputenv("HOME", home.path().toUtf8());
    qputenv("FAKEMAC_STATE", state.path().toUtf8());
    const QByteArray fakeDir = TARNWICK_FAKEMAC_DIR;
    const QByteArray path = qgetenv("PATH");
    if (!path.startsWith(fakeDir + ':'))
        qputenv("PATH", fakeDir + ':' + path);
}

void FakeMac::writeControl(const QString& name, const QByteArray& content, bool on)
{
    const QString path = state.filePath(name);
    QFile::remove(path);
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY2(!on || (file.open(QIODevice::WriteOnly) && file.write(content) == content.size()), qPrintable(path));
}

QString FakeMac::services() const
{
    return readText(state.filePath(QStringLiteral("services")));
}

QList<QStringList> FakeMac::calls() const
{
    QList<QStringList> result;
    for (const QString& line : readText(state.filePath(QStringLiteral("calls.log"))).split(u'\n', Qt::SkipEmptyParts))
        result.append(line.split(u'\t'));
    return result;
}

QString FakeMac::fixture(const QString& name)
{
    return readText(QStringLiteral(TARNWICK_FIXTURES_DIR "/") + name);
}
