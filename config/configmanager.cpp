#include "config/configmanager.h"

#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QObject>
#include <QSaveFile>
#include <QStandardPaths>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <unistd.h>

namespace {

// Far more than any list of profiles takes (the default is under 1 KB). A bigger config.xml would hold
// up start-up for seconds and the model would grow with it, so start-up does not read it.
constexpr qint64 largestFile = 1024 * 1024;
// Copies kept beside config.xml, "config.xml.<kind>-<local time>"; the newest few of each kind stay.
const QString unreadableKind = QStringLiteral("unreadable");
const QString beforeRestoreKind = QStringLiteral("before-restore");
constexpr qsizetype copiesKept = 5;

bool sameBytes(const QString& one, const QString& other)
{
    QFile a(one);
    QFile b(other);
    if (a.size() != b.size() || !a.open(QIODevice::ReadOnly) || !b.open(QIODevice::ReadOnly))
        return false;
    return a.readAll() == b.readAll();
}

// The writer's own escaping leaves a carriage return as it is, and reading turns it into a line feed,
// so a value holding one (read from "&#13;") would change with every save. As a character
// reference it reads back unchanged.
void writeTextElement(QXmlStreamWriter& writer, const QString& name, const QString& text)
{
    if (!text.contains(QLatin1Char('\r'))) {
        writer.writeTextElement(name, text);
        return;
    }
    writer.writeStartElement(name);
    const QStringList parts = text.split(QLatin1Char('\r'));
    for (qsizetype i = 0; i < parts.size(); ++i) {
        if (i > 0)
            writer.writeEntityReference(QStringLiteral("#13"));
        writer.writeCharacters(parts.at(i));
    }
    writer.writeEndElement();
}

} // namespace

const QString ConfigManager::version = QStringLiteral("25.708-1047");
const QString ConfigManager::FILE_NAME = QStringLiteral("config.xml");
const QString ConfigManager::DEFAULT_RESOURCE = QStringLiteral(":/resources/resources/default-config.xml");
const QString ConfigManager::SETTINGS = QStringLiteral("settings");
const QString ConfigManager::ADDRESS_KEY = QStringLiteral("address");
const QString ConfigManager::MASK_KEY = QStringLiteral("mask");
const QString ConfigManager::GATEWAY_KEY = QStringLiteral("gateway");
const QString ConfigManager::NETWORK_ID_KEY = QStringLiteral("default_network_id");
const QString ConfigManager::FORBIDDEN_KEY = QStringLiteral("forbidden_interfaces");
const QString ConfigManager::FORBIDDEN_SEPARATOR = QStringLiteral(", ");

ConfigManager::ConfigManager(const QString& fileName, const QString& defaultFile)
    : fileName(fileName), defaultFile(defaultFile)
{
    qDebug() << "ConfigManager version:" << version;
    // Per user, never the system-wide /Library.
    configDir = configDirIn(QStandardPaths::writableLocation(QStandardPaths::HomeLocation));
    if (checkFile())
        load(configDir + fileName);
}

QString ConfigManager::configDirIn(const QString& home)
{
    return home + QStringLiteral("/Library/") + QStringLiteral("Tarnwick") + QStringLiteral("/");
}

bool ConfigManager::checkFile()
{
    const QString path = configDir + fileName;
    qDebug() << "Configuration File:" << QFileInfo(path).absoluteFilePath();
    if (QFile::exists(path))
        return true;
    bool dirOk = true;
    if (!QDir(configDir).exists())
        dirOk = QDir().mkpath(configDir);
    const bool copied = copyFile(defaultFile, path);
    return dirOk && copied;
}

bool ConfigManager::copyFile(const QString& source, const QString& destination)
{
    const bool copied = QFile::copy(source, destination);
    if (copied)
        qDebug() << "Fichier copié avec succès de" << source << "à" << destination;
    else
        qDebug() << "Impossible de copier" << source << "vers" << destination;
    return copied;
}

bool ConfigManager::load(const QString& path)
{
    qDebug() << "Loading configuration file: " << path;
    const QFileInfo info(path);
    problem.clear();
    keepUnreadable = false;
    // Only a regular file of our own is ever kept as a copy: a pipe or a device is left alone.
    const auto unreadable = [&](const QString& why) {
        problem = why;
        keepUnreadable = info.isFile() && path == configDir + fileName;
    };
    const QString notRegular = QObject::tr("The configuration file is not an ordinary file.");
    // Opening a FIFO blocks until something writes to it, and a device may never end: only a regular
    // file is read. A folder is left to QFile, which refuses it with its own reason.
    if (info.exists() && !info.isFile() && !info.isDir()) {
        qDebug() << "Cannot read file" << QStringLiteral("not a regular file");
        unreadable(notRegular);
        return false;
    }
    if (info.isFile() && info.size() > largestFile) {
        qDebug() << "Cannot read file" << QStringLiteral("larger than 1 MB");
        unreadable(QObject::tr("The configuration file is larger than 1 MB, far more than any list of profiles."));
        return false;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        qDebug() << "Cannot read file" << file.errorString();
        unreadable(info.isDir() ? notRegular
                                : QObject::tr("The configuration file cannot be opened (%1).").arg(file.errorString()));
        return false;
    }
    QXmlStreamReader reader(&file);
    read(reader);
    file.close();
    if (reader.error() == QXmlStreamReader::CustomError) {
        unreadable(QObject::tr("The configuration file holds something other than profiles."));
    } else if (reader.hasError()) {
        QString error = reader.errorString();
        if (error.endsWith(QLatin1Char('.')))
            error.chop(1);
        unreadable(QObject::tr("The configuration file is damaged at line %1 (%2); only the profiles before that "
                               "line were read.")
                       .arg(reader.lineNumber())
                       .arg(error));
    }
    // Only an unreadable file counts as a failure: a wrong or broken document keeps what was read.
    return true;
}

bool ConfigManager::save()
{
    const QString path = configDir + fileName;
    const QFileInfo existing(path);
    if (existing.exists() && !existing.isFile()) {
        qDebug() << "Cannot write file" << QStringLiteral("not a regular file");
        return false;
    }
    if (keepUnreadable) {
        keptCopy = keepCopy(unreadableKind);
        if (keptCopy.isEmpty()) {
            qDebug() << "Cannot write file" << QStringLiteral("no copy could be kept of the unreadable file");
            return false;
        }
        keepUnreadable = false;
    }
    // A copy of the compiled-in default is read-only, which QSaveFile refuses and would pass on to the
    // new file: the owner may read and write config.xml, as when the file is made anew.
    const QFile::Permissions before = existing.permissions();
    const QFile::Permissions wanted = before | QFile::ReadOwner | QFile::WriteOwner;
    const bool loosened = existing.exists() && before != wanted && QFile::setPermissions(path, wanted);
    QSaveFile file(path);
    // Writing in place is the one way an interrupted save could still leave half a file.
    file.setDirectWriteFallback(false);
    bool written = file.open(QIODevice::WriteOnly | QIODevice::Text);
    if (written) {
        QXmlStreamWriter writer(&file);
        write(writer);
        // Some Qt versions miss a failure of the last write (a full disk) unless it is flushed first.
        written = !writer.hasError() && file.flush() && file.commit();
    }
    if (!written) {
        qDebug() << "Cannot write file" << file.errorString();
        if (loosened)
            QFile::setPermissions(path, before);
        return false;
    }
    return true;
}

bool ConfigManager::restoreDefault()
{
    const QString path = configDir + fileName;
    keptCopy.clear();
    if (!QFileInfo(path).isFile())
        return false;
    // A file that could not be read at start-up is kept as such; otherwise as what restore replaced.
    keptCopy = keepCopy(keepUnreadable ? unreadableKind : beforeRestoreKind);
    if (keptCopy.isEmpty() || !QFile::remove(path))
        return false;
    keepUnreadable = false;
    if (!checkFile())
        return false;
    entryNames.clear();
    entries.clear();
    load(path);
    return true;
}

// Keeps config.xml as it is now beside it, unless a copy of that kind with the same bytes is there
// already, and then only the newest copies of that kind. Returns the copy's path, empty when none
// could be made.
QString ConfigManager::keepCopy(const QString& kind)
{
    const QString path = configDir + fileName;
    const QDir dir(configDir);
    const QStringList filter{fileName + QLatin1Char('.') + kind + QStringLiteral("-*")};
    for (const QString& copy : dir.entryList(filter, QDir::Files, QDir::Name)) {
        if (sameBytes(path, dir.filePath(copy)))
            return dir.filePath(copy);
    }
    // A second copy within the same second takes the next free one rather than overwrite the first.
    QDateTime stamp = QDateTime::currentDateTime();
    QString copy;
    do {
        copy = dir.filePath(filter.first().chopped(1) + stamp.toString(QStringLiteral("yyyyMMdd-HHmmss")));
        stamp = stamp.addSecs(1);
    } while (QFileInfo(copy).exists() || QFileInfo(copy).isSymLink());
    // A file its owner may not read can still be kept, under a second name that needs no reading.
    if (!QFile::copy(path, copy) && ::link(QFile::encodeName(path).constData(), QFile::encodeName(copy).constData()))
        return QString();
    const QStringList copies = dir.entryList(filter, QDir::Files, QDir::Name);
    for (qsizetype i = 0; i + copiesKept < copies.size(); ++i)
        QFile::remove(dir.filePath(copies.at(i)));
    return copy;
}

void ConfigManager::print()
{
    for (auto section = entries.cbegin(); section != entries.cend(); ++section) {
        qDebug() << QString(section.key() + QLatin1Char(':'));
        for (auto it = section->cbegin(); it != section->cend(); ++it)
            qDebug() << "  -" << it.key() << ":" << it.value();
    }
}

void ConfigManager::read(QXmlStreamReader& reader)
{
    if (!reader.readNextStartElement())
        return;
    if (reader.name() != QLatin1String("root")) {
        reader.raiseError(QObject::tr("Incorrect file"));
        return;
    }
    while (reader.readNextStartElement()) {
        if (reader.name() == QLatin1String("config")) {
            ProfileEntry entry;
            while (reader.readNextStartElement()) {
                const QString key = reader.name().toString();
                const QString text = reader.readElementText();
                if (key == QLatin1String("name"))
                    entryNames.append(text);
                else
                    entry.insert(key, text);
            }
            // A section without a name of its own lands on the one read before it; the very first
            // section has none to land on and is dropped.
            if (!entryNames.isEmpty())
                entries.insert(entryNames.last(), entry);
        } else if (reader.name() == SETTINGS) {
            ProfileEntry entry;
            entryNames.append(SETTINGS);
            while (reader.readNextStartElement()) {
                const QString key = reader.name().toString();
                entry.insert(key, reader.readElementText());
            }
            entries.insert(SETTINGS, entry);
        } else {
            reader.skipCurrentElement();
        }
    }
}

void ConfigManager::write(QXmlStreamWriter& writer)
{
    writer.setAutoFormatting(true);
    writer.setAutoFormattingIndent(3);
    writer.writeStartDocument();
    writer.writeStartElement(QStringLiteral("root"));
    for (const QString& name : std::as_const(entryNames)) {
        if (name == SETTINGS)
            continue;
        const ProfileEntry& entry = entries[name];
        writer.writeStartElement(QStringLiteral("config"));
        writeTextElement(writer, QStringLiteral("name"), name);
        for (const QString& key : {ADDRESS_KEY, MASK_KEY, GATEWAY_KEY}) {
            if (entry.contains(key))
                writeTextElement(writer, key, entry.value(key));
        }
        writer.writeEndElement();
    }
    const auto settings = entries.constFind(SETTINGS);
    if (settings != entries.cend()) {
        writer.writeStartElement(SETTINGS);
        for (auto it = settings->cbegin(); it != settings->cend(); ++it)
            writeTextElement(writer, it.key(), it.value());
        writer.writeEndElement();
    }
    writer.writeEndElement();
    writer.writeEndDocument();
}

QList<QString> ConfigManager::getProfileEntries() const
{
    QList<QString> names;
    for (const QString& name : entryNames) {
        if (name != SETTINGS)
            names.append(name);
    }
    return names;
}

QString ConfigManager::getParameter(const QString& section, const QString& key) const
{
    return entries.value(section).value(key);
}

QStringList ConfigManager::getForbiddenInterfaces() const
{
    QStringList names;
    for (const QString& part : getParameter(SETTINGS, FORBIDDEN_KEY).split(FORBIDDEN_SEPARATOR)) {
        const QString name = part.trimmed();
        if (!name.isEmpty())
            names.append(name);
    }
    return names;
}

bool ConfigManager::addEntry(const QString& name, const QMap<QString, QString>& entry)
{
    if (name.isEmpty() || entries.contains(name) || name == SETTINGS)
        return false;
    entryNames.append(name);
    entries.insert(name, entry);
    return save();
}

bool ConfigManager::removeEntry(const QString& name)
{
    if (entries.isEmpty() || !entries.contains(name) || name == SETTINGS)
        return false;
    entryNames.removeAll(name);
    entries.remove(name);
    return save();
}

bool ConfigManager::updateEntry(const QString& name, const QMap<QString, QString>& entry)
{
    if (!entries.contains(name) || name == SETTINGS)
        return false;
    entries.insert(name, entry);
    return save();
}

bool ConfigManager::renameEntry(const QString& oldName, const QString& newName)
{
    if (entries.isEmpty() || !entries.contains(oldName))
        return false;
    if (oldName == SETTINGS || newName == SETTINGS || newName.isEmpty())
        return false;
    if (newName == oldName)
        return true;
    if (entries.contains(newName))
        return false;
    entries.insert(newName, entries.take(oldName));
    const qsizetype index = entryNames.indexOf(oldName);
    if (index >= 0)
        entryNames[index] = newName;
    return save();
}

bool ConfigManager::updateSetting(const QString& key, const QString& value)
{
    if (!entries.contains(SETTINGS)) {
        entryNames.append(SETTINGS);
        entries.insert(SETTINGS, ProfileEntry());
    }
    entries[SETTINGS].insert(key, value);
    return save();
}
