#include "config/configmanager.h"

#include "network/change.h"
#include "network/networkmanager.h"

#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QObject>
#include <QRegularExpression>
#include <QSaveFile>
#include <QStandardPaths>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <algorithm>

#include <sys/stat.h>
#include <unistd.h>

namespace {

// Far more than any list of profiles takes (the default is under 1 KB). A bigger config.xml would hold
// up start-up for seconds and the model would grow with it, so start-up does not read it.
constexpr qint64 largestFile = 1024 * 1024;
// Copies kept beside config.xml, "config.xml.<kind>-<local time>"; the newest few of each kind stay.
const QString unreadableKind = QStringLiteral("unreadable");
const QString beforeRestoreKind = QStringLiteral("before-restore");
const QString beforeImportKind = QStringLiteral("before-import");
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

// What tells one file from another at the same path: a file put in its place has another inode, one
// rewritten in place another size or time. Empty for anything but a regular file.
QString fileIdentity(const QString& path)
{
    struct stat status;
    if (::stat(QFile::encodeName(path).constData(), &status) != 0 || !S_ISREG(status.st_mode))
        return QString();
    return QStringLiteral("%1:%2:%3:%4")
        .arg(status.st_dev)
        .arg(status.st_ino)
        .arg(status.st_size)
        .arg(QFileInfo(path).lastModified().toMSecsSinceEpoch());
}

// The names of a forbidden_interfaces element: one per interface child, or the older joined text. A
// name is kept whole, blanks and commas included; only blank ones are dropped.
QStringList readForbidden(QXmlStreamReader& reader)
{
    QString joined;
    QStringList children;
    while (reader.readNext() != QXmlStreamReader::EndElement && !reader.hasError()) {
        if (reader.isCharacters())
            joined += reader.text();
        else if (reader.isStartElement() && reader.name() == ConfigManager::INTERFACE_KEY)
            children.append(reader.readElementText());
        else if (reader.isStartElement())
            reader.skipCurrentElement();
    }
    QStringList names;
    for (const QString& name : joined.split(ConfigManager::FORBIDDEN_SEPARATOR))
        names.append(name.trimmed());
    names += children;
    names.removeIf([](const QString& name) { return name.trimmed().isEmpty(); });
    return names;
}

// What a profile keeps of its <dns> or <search> elements: AUTOMATIC, the valid items joined by line
// feeds, or nothing. An item that could not be applied is dropped rather than the whole profile, and the
// log says so.
QString readList(const QString& profile, const QString& key, const QStringList& texts)
{
    const bool servers = key == ConfigManager::DNS_KEY;
    const QString kind = servers ? QStringLiteral("DNS server") : QStringLiteral("search domain");
    const auto drop = [&](const QString& item, const QString& why) {
        qWarning().noquote() << QStringLiteral("Profile \"%1\": %2 \"%3\" dropped: %4").arg(profile, kind, item, why);
    };
    QStringList kept;
    bool automatic = false;
    for (const QString& text : texts) {
        const QString item = text.trimmed();
        if (item == ConfigManager::AUTOMATIC)
            automatic = true;
        else if (servers ? NetworkManager::isDnsServer(item) : NetworkManager::isSearchDomain(item))
            kept.append(item);
        else
            drop(item, servers ? QStringLiteral("not an IPv4 or IPv6 address") : QStringLiteral("not a domain name"));
    }
    if (kept.isEmpty())
        return automatic ? ConfigManager::AUTOMATIC : QString();
    if (automatic)
        drop(ConfigManager::AUTOMATIC, servers ? QStringLiteral("the profile lists addresses too")
                                               : QStringLiteral("the profile lists domains too"));
    return kept.join(QLatin1Char('\n'));
}

QString saveError(const QString& path, const QString& reason)
{
    return QObject::tr("Could not save %1: %2").arg(QDir::toNativeSeparators(path), reason);
}

// On an unbuffered device a write that stops short (a full disk, a size limit) returns what it wrote, and
// the next one fails with the system's reason; a buffered one would report an unknown error.
bool writeAll(QIODevice& device, const QByteArray& bytes)
{
    for (qint64 done = 0; done < bytes.size();) {
        const qint64 step = device.write(bytes.constData() + done, bytes.size() - done);
        if (step <= 0)
            return false;
        done += step;
    }
    return true;
}

// What a profile sets, as compared on import: an empty gateway element means none, and keys the store
// does not know are never written.
ProfileEntry settingsOf(const ProfileEntry& entry)
{
    ProfileEntry kept;
    for (const QString& key : {ConfigManager::ADDRESS_KEY, ConfigManager::MASK_KEY, ConfigManager::GATEWAY_KEY,
                               ConfigManager::DNS_KEY, ConfigManager::SEARCH_KEY}) {
        if (!entry.value(key).isEmpty())
            kept.insert(key, entry.value(key));
    }
    return kept;
}

// Reads a profiles document as the store writes one and refuses anything else, so that an import never
// takes half a file or a profile the window could not apply. Stops at the first fault, with its line.
class ProfilesReader
{
public:
    explicit ProfilesReader(const QByteArray& bytes) : reader(bytes) {}

    bool read(QList<std::pair<QString, ProfileEntry>>& profiles);

    qint64 line = 0;
    QString what;

private:
    using Items = QList<std::pair<QString, qint64>>; // each element's text and line
    bool fail(const QString& problem, qint64 at);
    bool readerFault();
    bool readProfile(QList<std::pair<QString, ProfileEntry>>& profiles);
    bool checkList(const QString& key, const Items& items, ProfileEntry& entry);
    QString text();

    QXmlStreamReader reader;
    QMap<QString, qint64> firstSeen; // each name of the document, and where
};

bool ProfilesReader::fail(const QString& problem, qint64 at)
{
    what = problem;
    line = at;
    return false;
}

bool ProfilesReader::read(QList<std::pair<QString, ProfileEntry>>& profiles)
{
    while (!reader.atEnd() && !reader.hasError()) {
        reader.readNext();
        // Entities declared in the document could make a small file expand to a huge one.
        if (reader.isDTD())
            return fail(QObject::tr("a document type declaration, which a profiles document never has"),
                        reader.lineNumber());
        if (!reader.isStartElement())
            continue;
        if (reader.name() != QLatin1String("root")) {
            return fail(QObject::tr("the document is <%1>, not a profiles document (<root>)").arg(reader.name()),
                        reader.lineNumber());
        }
        while (reader.readNextStartElement()) {
            if (reader.name() == QLatin1String("config")) {
                if (!readProfile(profiles))
                    return what.isEmpty() ? readerFault() : false;
            } else if (reader.name() == ConfigManager::SETTINGS) {
                // A whole config.xml may be imported: its profiles are taken, its settings are not.
                reader.skipCurrentElement();
            } else {
                return fail(QObject::tr("<%1> is neither a profile (<config>) nor the settings").arg(reader.name()),
                            reader.lineNumber());
            }
        }
    }
    return !reader.hasError() || readerFault();
}

bool ProfilesReader::readerFault()
{
    QString error = reader.errorString();
    if (error.endsWith(QLatin1Char('.')))
        error.chop(1);
    return fail(error, reader.lineNumber());
}

// The text of an element that may hold nothing but text.
QString ProfilesReader::text()
{
    const QString element = reader.name().toString();
    QString text;
    while (reader.readNext() != QXmlStreamReader::EndElement && !reader.hasError()) {
        if (reader.isStartElement())
            reader.raiseError(
                QObject::tr("<%1> holds the element <%2>, where only text may be").arg(element, reader.name()));
        else if (reader.isCharacters())
            text += reader.text();
    }
    return text;
}

bool ProfilesReader::readProfile(QList<std::pair<QString, ProfileEntry>>& profiles)
{
    const qint64 start = reader.lineNumber();
    const QString nameKey = QStringLiteral("name");
    const QStringList single{nameKey, ConfigManager::ADDRESS_KEY, ConfigManager::MASK_KEY, ConfigManager::GATEWAY_KEY};
    QMap<QString, std::pair<QString, qint64>> fields;
    QMap<QString, Items> lists;
    while (reader.readNextStartElement()) {
        const QString key = reader.name().toString();
        const qint64 at = reader.lineNumber();
        const bool list = key == ConfigManager::DNS_KEY || key == ConfigManager::SEARCH_KEY;
        if (!list && !single.contains(key))
            return fail(QObject::tr("<%1> is no part of a profile").arg(key), at);
        if (fields.contains(key))
            return fail(QObject::tr("a second <%1> in one profile").arg(key), at);
        const QString value = text();
        if (reader.hasError())
            return false;
        if (list)
            lists[key].append({value, at});
        else
            fields.insert(key, {value, at});
    }
    if (reader.hasError())
        return false;

    const QString name = fields.value(nameKey).first;
    const qint64 nameLine = fields.value(nameKey, {{}, start}).second;
    if (!fields.contains(nameKey))
        return fail(QObject::tr("the profile has no <name>"), start);
    if (name.trimmed().isEmpty())
        return fail(QObject::tr("the profile's name is empty"), nameLine);
    if (name != name.trimmed())
        return fail(QObject::tr("the name \"%1\" begins or ends with a blank").arg(name), nameLine);
    // A line break or an escape sequence in a name would garble every line that shows it.
    if (std::any_of(name.cbegin(), name.cend(), [](QChar c) { return c.category() == QChar::Other_Control; }))
        return fail(QObject::tr("the name holds a line break, a tab or another control character"), nameLine);
    // "DHCP" is apply's automatic addressing and "settings" the store's own section.
    if (name == Change::DHCP || name == ConfigManager::SETTINGS)
        return fail(QObject::tr("the name \"%1\" is reserved").arg(name), nameLine);
    if (firstSeen.contains(name)) {
        return fail(
            QObject::tr("a second profile named \"%1\"; the first is at line %2").arg(name).arg(firstSeen.value(name)),
            nameLine);
    }
    firstSeen.insert(name, nameLine);

    ProfileEntry entry;
    for (const QString& key : {ConfigManager::ADDRESS_KEY, ConfigManager::MASK_KEY}) {
        if (!fields.contains(key))
            return fail(QObject::tr("profile \"%1\" has no <%2>").arg(name, key), start);
    }
    const auto [network, networkLine] = fields.value(ConfigManager::ADDRESS_KEY);
    const auto [mask, maskLine] = fields.value(ConfigManager::MASK_KEY);
    const auto [gateway, gatewayLine] = fields.value(ConfigManager::GATEWAY_KEY);
    const QString notAnAddress = QObject::tr("%1 \"%2\" is not a dotted-quad IPv4 address");
    if (!NetworkManager::isIPv4(network))
        return fail(notAnAddress.arg(QObject::tr("network"), network), networkLine);
    if (!NetworkManager::isIPv4(mask))
        return fail(notAnAddress.arg(QObject::tr("mask"), mask), maskLine);
    if (!NetworkManager::isNetmask(mask))
        return fail(QObject::tr("the one bits of mask %1 are not contiguous (as in 255.255.254.0)").arg(mask),
                    maskLine);
    // An empty gateway element, as older versions wrote, means none.
    if (!gateway.isEmpty() && !NetworkManager::isIPv4(gateway))
        return fail(notAnAddress.arg(QObject::tr("gateway"), gateway), gatewayLine);
    entry.insert(ConfigManager::ADDRESS_KEY, network);
    entry.insert(ConfigManager::MASK_KEY, mask);
    if (!gateway.isEmpty())
        entry.insert(ConfigManager::GATEWAY_KEY, gateway);
    for (auto list = lists.cbegin(); list != lists.cend(); ++list) {
        if (!checkList(list.key(), list.value(), entry))
            return false;
    }
    profiles.append({name, entry});
    return true;
}

// A profile's DNS servers or search domains: AUTOMATIC alone, or items the system takes.
bool ProfilesReader::checkList(const QString& key, const Items& items, ProfileEntry& entry)
{
    const bool servers = key == ConfigManager::DNS_KEY;
    QStringList kept;
    for (const auto& [item, at] : items) {
        if (item == ConfigManager::AUTOMATIC && items.size() > 1)
            return fail(QObject::tr("<%1> is \"%2\" beside other items").arg(key, item), at);
        if (item == ConfigManager::AUTOMATIC)
            continue;
        if (servers && !NetworkManager::isDnsServer(item))
            return fail(QObject::tr("DNS server \"%1\" is not an IPv4 or IPv6 address").arg(item), at);
        if (!servers && !NetworkManager::isSearchDomain(item))
            return fail(QObject::tr("search domain \"%1\" is not a domain name").arg(item), at);
        kept.append(item);
    }
    entry.insert(key, kept.isEmpty() ? ConfigManager::AUTOMATIC : kept.join(QLatin1Char('\n')));
    return true;
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
const QString ConfigManager::INTERFACE_KEY = QStringLiteral("interface");
const QString ConfigManager::FORBIDDEN_SEPARATOR = QStringLiteral(", ");
const QString ConfigManager::DNS_KEY = QStringLiteral("dns");
const QString ConfigManager::SEARCH_KEY = QStringLiteral("search");
const QString ConfigManager::AUTOMATIC = QStringLiteral("automatic");
const QString ConfigManager::DNS_ON_DHCP_KEY = QStringLiteral("dns_on_dhcp");
const QString ConfigManager::SHOW_IN_MENU_BAR_KEY = QStringLiteral("show_in_menu_bar");
const QString ConfigManager::ASK_TO_KEEP_KEY = QStringLiteral("ask_to_keep");
const QString ConfigManager::KEEP_SECONDS_KEY = QStringLiteral("keep_seconds");
const QString ConfigManager::KEEP = QStringLiteral("keep");

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
        unreadableFile = keepUnreadable ? fileIdentity(path) : QString();
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

bool ConfigManager::save(QString* error)
{
    if (error)
        error->clear();
    QByteArray bytes;
    QXmlStreamWriter writer(&bytes);
    write(writer);
    const QString path = configDir + fileName;
    const QFileInfo existing(path);
    if (existing.exists() && !existing.isFile()) {
        qDebug() << "Cannot write file" << QStringLiteral("not a regular file");
        if (error)
            *error = saveError(path, QObject::tr("it is not an ordinary file"));
        return false;
    }
    // A file put in place of the unreadable one, or none at all, needs no copy: only what was reported
    // as unreadable is kept.
    if (keepUnreadable && isTheUnreadableFile()) {
        QString why;
        const QString copy = keepCopy(unreadableKind, &why);
        if (copy.isEmpty()) {
            qDebug() << "Cannot write file" << QStringLiteral("no copy could be kept of the unreadable file");
            if (error)
                *error = saveError(path, QObject::tr("no copy could be kept of the unreadable file (%1)").arg(why));
            return false;
        }
        keptCopy = copy;
    }
    keepUnreadable = false;
    return replaceFile(bytes, error);
}

// Puts the bytes in place of config.xml in one step: a failure leaves the old file as it was.
bool ConfigManager::replaceFile(const QByteArray& bytes, QString* error)
{
    const QString path = configDir + fileName;
    const QFileInfo existing(path);
    // A copy of the compiled-in default is read-only, which QSaveFile refuses and would pass on to the
    // new file: the owner may read and write config.xml, as when the file is made anew.
    const QFile::Permissions before = existing.permissions();
    const QFile::Permissions wanted = before | QFile::ReadOwner | QFile::WriteOwner;
    const bool loosened = existing.exists() && before != wanted && QFile::setPermissions(path, wanted);
    QSaveFile file(path);
    // Writing in place is the one way an interrupted save could still leave half a file.
    file.setDirectWriteFallback(false);
    const bool written =
        file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) && writeAll(file, bytes) && file.commit();
    if (!written) {
        qDebug() << "Cannot write file" << file.errorString();
        if (error)
            *error = saveError(path, file.errorString());
        if (loosened)
            QFile::setPermissions(path, before);
        return false;
    }
    return true;
}

bool ConfigManager::restoreDefault(QString* error)
{
    if (error)
        error->clear();
    const QString path = configDir + fileName;
    keptCopy.clear();
    const auto fail = [&](const QString& reason) {
        if (error)
            *error = QObject::tr("Could not restore the default configuration in %1: %2")
                         .arg(QDir::toNativeSeparators(path), reason);
        return false;
    };
    const QFileInfo existing(path);
    if (existing.exists() && !existing.isFile())
        return fail(QObject::tr("it is not an ordinary file"));
    QFile source(defaultFile);
    if (!source.open(QIODevice::ReadOnly))
        return fail(QObject::tr("the default %1 cannot be read (%2)").arg(defaultFile, source.errorString()));
    const QByteArray bytes = source.readAll();
    if (existing.exists()) {
        // A file that could not be read at start-up is kept as such; otherwise as what restore replaced.
        QString why;
        keptCopy = keepCopy(keepUnreadable && isTheUnreadableFile() ? unreadableKind : beforeRestoreKind, &why);
        if (keptCopy.isEmpty())
            return fail(QObject::tr("no copy could be kept of the file it replaces (%1)").arg(why));
    } else if (!QDir().mkpath(configDir)) {
        return fail(QObject::tr("the folder %1 cannot be made").arg(QDir::toNativeSeparators(configDir)));
    }
    QString why;
    if (!replaceFile(bytes, &why)) {
        if (error)
            *error = why;
        return false;
    }
    keepUnreadable = false;
    entryNames.clear();
    entries.clear();
    forbidden.reset();
    load(path);
    return true;
}

bool ConfigManager::exportProfiles(QIODevice& out, QString* error) const
{
    if (error)
        error->clear();
    QByteArray bytes;
    QXmlStreamWriter writer(&bytes);
    write(writer, false);
    if (writeAll(out, bytes))
        return true;
    if (error)
        *error = out.errorString();
    return false;
}

ConfigManager::ProfilesDocument ConfigManager::readProfilesDocument(const QString& path)
{
    ProfilesDocument document;
    const QString file = QDir::toNativeSeparators(path);
    QFile in(path);
    // A pipe or a device is read only as far as the limit.
    const QByteArray bytes = in.open(QIODevice::ReadOnly) ? in.read(largestFile + 1) : QByteArray();
    if (in.error() != QFileDevice::NoError) {
        document.problem = QObject::tr("Could not import %1: %2").arg(file, in.errorString());
    } else if (bytes.size() > largestFile) {
        document.problem =
            QObject::tr("Could not import %1: it is larger than 1 MB, far more than any list of profiles").arg(file);
    } else {
        ProfilesReader reader(bytes);
        if (!reader.read(document.profiles)) {
            document.profiles.clear();
            document.problem =
                QObject::tr("Could not import %1, line %2: %3").arg(file).arg(reader.line).arg(reader.what);
        }
    }
    return document;
}

ConfigManager::ImportResult ConfigManager::importProfiles(const ProfilesDocument& document, OnConflict onConflict)
{
    ImportResult result;
    keptCopy.clear();
    if (!document.problem.isEmpty())
        return {ImportResult::Outcome::BadFile, {}, document.problem};
    QStringList incoming;
    for (const auto& profile : document.profiles)
        incoming.append(profile.first);
    QList<QString> names = entryNames;
    QMap<QString, ProfileEntry> sections = entries;
    bool changed = false;
    bool replacing = false;
    const auto add = [&](const QString& name, const ProfileEntry& entry) {
        names.append(name);
        sections.insert(name, entry);
        changed = true;
    };
    for (const auto& [name, entry] : document.profiles) {
        if (!sections.contains(name)) {
            add(name, entry);
            result.lines.append(QObject::tr("Added \"%1\".").arg(name));
        } else if (settingsOf(sections.value(name)) == entry) {
            result.lines.append(QObject::tr("\"%1\" is already there.").arg(name));
        } else if (onConflict == OnConflict::Replace) {
            sections.insert(name, entry);
            changed = replacing = true;
            result.lines.append(QObject::tr("Replaced \"%1\".").arg(name));
        } else if (onConflict == OnConflict::Skip) {
            result.lines.append(QObject::tr("Kept the existing \"%1\".").arg(name));
        } else {
            // A copy taken by an earlier import of the same file is found again rather than added twice.
            for (int number = 2;; ++number) {
                const QString other = QStringLiteral("%1 (%2)").arg(name).arg(number);
                if (sections.contains(other) && settingsOf(sections.value(other)) == entry) {
                    result.lines.append(QObject::tr("\"%1\" is already there as \"%2\".").arg(name, other));
                    break;
                }
                if (!sections.contains(other) && !incoming.contains(other)) {
                    add(other, entry);
                    result.lines.append(
                        QObject::tr("Added \"%1\": \"%2\" exists with other settings.").arg(other, name));
                    break;
                }
            }
        }
    }
    if (!changed)
        return result;
    const QString path = configDir + fileName;
    if (replacing && QFileInfo::exists(path)) {
        QString why;
        keptCopy = keepCopy(keepUnreadable && isTheUnreadableFile() ? unreadableKind : beforeImportKind, &why);
        if (keptCopy.isEmpty()) {
            return {ImportResult::Outcome::NotSaved,
                    {},
                    saveError(path, QObject::tr("no copy could be kept of the profiles it replaces (%1)").arg(why))};
        }
    }
    if (!change(
            [&] {
                entryNames = names;
                entries = sections;
            },
            &result.error))
        return {ImportResult::Outcome::NotSaved, {}, result.error};
    return result;
}

bool ConfigManager::isTheUnreadableFile() const
{
    const QString identity = fileIdentity(configDir + fileName);
    return !identity.isEmpty() && identity == unreadableFile;
}

// Keeps config.xml as it is now beside it, unless a copy of that kind with the same bytes is there
// already, and then only the newest copies of that kind. Returns the copy's path, empty when none
// could be made.
QString ConfigManager::keepCopy(const QString& kind, QString* error)
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
    QFile original(path);
    if (!original.copy(copy) && ::link(QFile::encodeName(path).constData(), QFile::encodeName(copy).constData())) {
        if (error)
            *error = original.errorString();
        return QString();
    }
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
        if (section.key() == SETTINGS)
            qDebug() << "  -" << FORBIDDEN_KEY << ":" << getForbiddenInterfaces();
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
    QList<std::pair<QString, ProfileEntry>> profiles;
    std::optional<ProfileEntry> settings;
    std::optional<QStringList> names;
    while (reader.readNextStartElement()) {
        if (reader.name() == QLatin1String("config")) {
            QString name;
            ProfileEntry entry;
            QMap<QString, QStringList> lists;
            while (reader.readNextStartElement()) {
                const QString key = reader.name().toString();
                const QString text = reader.readElementText();
                // A value cut short by a fault is never taken.
                if (reader.hasError())
                    break;
                if (key == QLatin1String("name"))
                    name = text;
                else if (key == DNS_KEY || key == SEARCH_KEY)
                    lists[key].append(text);
                else
                    entry.insert(key, text);
            }
            // A list cut short by a fault would set servers nobody chose: the profile then leaves DNS alone.
            if (!name.isEmpty() && !reader.hasError()) {
                for (auto list = lists.cbegin(); list != lists.cend(); ++list) {
                    const QString value = readList(name, list.key(), list.value());
                    if (!value.isEmpty())
                        entry.insert(list.key(), value);
                }
            }
            if (!name.isEmpty())
                profiles.append({name, entry});
        } else if (reader.name() == SETTINGS) {
            // A second settings section replaces the first.
            settings.emplace();
            names.reset();
            while (reader.readNextStartElement()) {
                const QString key = reader.name().toString();
                if (key == FORBIDDEN_KEY) {
                    const QStringList list = readForbidden(reader);
                    if (!reader.hasError())
                        names = list;
                } else {
                    const QString text = reader.readElementText();
                    if (!reader.hasError())
                        settings->insert(key, text);
                }
                if (reader.hasError())
                    break;
            }
        } else {
            reader.skipCurrentElement();
        }
    }
    // Whatever follows the root is read too, so that a file with more after it counts as broken.
    while (!reader.atEnd() && !reader.hasError())
        reader.readNext();
    // In a broken file a profile without its address or mask may have lost them to the fault: applying
    // it would set an address nobody chose.
    if (reader.hasError()) {
        profiles.removeIf([](const std::pair<QString, ProfileEntry>& profile) {
            return !profile.second.contains(ADDRESS_KEY) || !profile.second.contains(MASK_KEY);
        });
    }
    for (const auto& [name, entry] : std::as_const(profiles)) {
        entryNames.append(name);
        entries.insert(name, entry);
    }
    if (settings) {
        if (!entryNames.contains(SETTINGS))
            entryNames.append(SETTINGS);
        entries.insert(SETTINGS, *settings);
        forbidden = names;
    }
}

void ConfigManager::write(QXmlStreamWriter& writer) const
{
    write(writer, true);
}

void ConfigManager::write(QXmlStreamWriter& writer, bool withSettings) const
{
    writer.setAutoFormatting(true);
    writer.setAutoFormattingIndent(3);
    writer.writeStartDocument();
    writer.writeStartElement(QStringLiteral("root"));
    for (const QString& name : std::as_const(entryNames)) {
        if (name == SETTINGS)
            continue;
        const ProfileEntry entry = entries.value(name);
        writer.writeStartElement(QStringLiteral("config"));
        writeTextElement(writer, QStringLiteral("name"), name);
        for (const QString& key : {ADDRESS_KEY, MASK_KEY, GATEWAY_KEY}) {
            if (entry.contains(key))
                writeTextElement(writer, key, entry.value(key));
        }
        for (const QString& key : {DNS_KEY, SEARCH_KEY}) {
            for (const QString& item : entry.value(key).split(QLatin1Char('\n'), Qt::SkipEmptyParts))
                writeTextElement(writer, key, item);
        }
        writer.writeEndElement();
    }
    if (!withSettings) {
        writer.writeEndElement();
        writer.writeEndDocument();
        return;
    }
    // Always complete, so that a file read without its settings gets them back with the next save. The
    // list takes its place among the keys in their order.
    ProfileEntry settings = entries.value(SETTINGS);
    if (!settings.contains(NETWORK_ID_KEY))
        settings.insert(NETWORK_ID_KEY, QString::number(DEFAULT_HOST));
    settings.insert(FORBIDDEN_KEY, QString());
    writer.writeStartElement(SETTINGS);
    for (auto it = settings.cbegin(); it != settings.cend(); ++it) {
        if (it.key() != FORBIDDEN_KEY) {
            writeTextElement(writer, it.key(), it.value());
            continue;
        }
        const QStringList names = getForbiddenInterfaces();
        // An empty list stays the empty element older versions wrote.
        if (names.isEmpty()) {
            writer.writeTextElement(FORBIDDEN_KEY, QString());
            continue;
        }
        writer.writeStartElement(FORBIDDEN_KEY);
        for (const QString& name : names)
            writeTextElement(writer, INTERFACE_KEY, name);
        writer.writeEndElement();
    }
    writer.writeEndElement();
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
    if (section == SETTINGS && key == FORBIDDEN_KEY)
        return getForbiddenInterfaces().join(FORBIDDEN_SEPARATOR);
    return entries.value(section).value(key);
}

int ConfigManager::defaultHost() const
{
    static const QRegularExpression wholeNumber(QStringLiteral("^[0-9]{1,3}$"));
    const QString text = getParameter(SETTINGS, NETWORK_ID_KEY);
    if (!wholeNumber.match(text).hasMatch() || text.toInt() > 255)
        return DEFAULT_HOST;
    return text.toInt();
}

QStringList ConfigManager::getForbiddenInterfaces() const
{
    return forbidden ? *forbidden : defaultForbidden();
}

QString ConfigManager::dnsOnDhcp() const
{
    return getParameter(SETTINGS, DNS_ON_DHCP_KEY) == AUTOMATIC ? AUTOMATIC : KEEP;
}

QStringList ConfigManager::defaultForbidden() const
{
    if (!builtInForbidden) {
        ConfigManager defaults;
        QFile file(defaultFile.isEmpty() ? DEFAULT_RESOURCE : defaultFile);
        if (file.open(QIODevice::ReadOnly)) {
            QXmlStreamReader reader(&file);
            defaults.read(reader);
        }
        builtInForbidden = defaults.forbidden.value_or(QStringList());
    }
    return *builtInForbidden;
}

// Applies a change to the model and saves it; when the save fails the model goes back to what it was.
bool ConfigManager::change(const std::function<void()>& apply, QString* error)
{
    const QList<QString> names = entryNames;
    const QMap<QString, ProfileEntry> sections = entries;
    const std::optional<QStringList> hidden = forbidden;
    apply();
    if (save(error))
        return true;
    entryNames = names;
    entries = sections;
    forbidden = hidden;
    return false;
}

bool ConfigManager::setForbiddenInterfaces(const QStringList& names, QString* error)
{
    QStringList kept = names;
    kept.removeIf([](const QString& name) { return name.trimmed().isEmpty(); });
    return change(
        [&] {
            if (!entries.contains(SETTINGS)) {
                entryNames.append(SETTINGS);
                entries.insert(SETTINGS, ProfileEntry());
            }
            forbidden = kept;
        },
        error);
}

bool ConfigManager::addEntry(const QString& name, const QMap<QString, QString>& entry, QString* error)
{
    if (error)
        error->clear();
    if (name.isEmpty() || entries.contains(name) || name == SETTINGS)
        return false;
    return change(
        [&] {
            entryNames.append(name);
            entries.insert(name, entry);
        },
        error);
}

bool ConfigManager::removeEntry(const QString& name, QString* error)
{
    if (error)
        error->clear();
    if (entries.isEmpty() || !entries.contains(name) || name == SETTINGS)
        return false;
    return change(
        [&] {
            entryNames.removeAll(name);
            entries.remove(name);
        },
        error);
}

bool ConfigManager::updateEntry(const QString& name, const QMap<QString, QString>& entry, QString* error)
{
    if (error)
        error->clear();
    if (!entries.contains(name) || name == SETTINGS)
        return false;
    return change([&] { entries.insert(name, entry); }, error);
}

bool ConfigManager::renameEntry(const QString& oldName, const QString& newName, QString* error)
{
    if (error)
        error->clear();
    if (entries.isEmpty() || !entries.contains(oldName))
        return false;
    if (oldName == SETTINGS || newName == SETTINGS || newName.isEmpty())
        return false;
    if (newName == oldName)
        return true;
    if (entries.contains(newName))
        return false;
    return change(
        [&] {
            entries.insert(newName, entries.take(oldName));
            const qsizetype index = entryNames.indexOf(oldName);
            if (index >= 0)
                entryNames[index] = newName;
        },
        error);
}

bool ConfigManager::updateSetting(const QString& key, const QString& value, QString* error)
{
    if (key == FORBIDDEN_KEY) {
        QStringList names;
        for (const QString& name : value.split(FORBIDDEN_SEPARATOR))
            names.append(name.trimmed());
        return setForbiddenInterfaces(names, error);
    }
    return change(
        [&] {
            if (!entries.contains(SETTINGS)) {
                entryNames.append(SETTINGS);
                entries.insert(SETTINGS, ProfileEntry());
            }
            entries[SETTINGS].insert(key, value);
        },
        error);
}
