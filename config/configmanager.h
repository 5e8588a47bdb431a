#pragma once

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

class QXmlStreamReader;
class QXmlStreamWriter;

// One section of the configuration: a profile ("address", "mask", optional "gateway") or the
// settings ("default_network_id", "forbidden_interfaces"). A profile's name is the key it is stored
// under, never a key inside it.
using ProfileEntry = QMap<QString, QString>;

class ConfigManager
{
public:
    static const QString version;
    // The file in the configuration folder, and the built-in default it starts from.
    static const QString FILE_NAME;
    static const QString DEFAULT_RESOURCE;
    // The settings section's name, a name no profile may take, and the keys of both kinds of section.
    static const QString SETTINGS;
    static const QString ADDRESS_KEY;
    static const QString MASK_KEY;
    static const QString GATEWAY_KEY;
    static const QString NETWORK_ID_KEY;
    static const QString FORBIDDEN_KEY;
    // The forbidden services' stored list is these names joined by this separator.
    static const QString FORBIDDEN_SEPARATOR;

    ConfigManager(const QString& fileName, const QString& defaultFile);
    // A store tied to no file, filled only by load(): for reading profiles where creating a file is
    // not ours to do, such as another user's home.
    ConfigManager() = default;

    // The folder that holds the configuration in the given home folder, ending in "/".
    static QString configDirIn(const QString& home);

    bool checkFile();
    static bool copyFile(const QString& source, const QString& destination);
    bool load(const QString& path);
    bool save();
    bool restoreDefault();
    void print();

    // Whether the last load() read its whole file as a configuration. When it did not (the file could not
    // be opened, is no regular file, is over 1 MB, is broken or holds something else), readProblem() says
    // why in words for the user; before anything replaces such a regular file, a copy of it is kept.
    bool readCleanly() const { return problem.isEmpty(); }
    QString readProblem() const { return problem; }
    // The full path of the copy that the last restoreDefault() kept of the file it replaced (or that a
    // save kept of an unreadable file); empty when none was kept.
    QString lastKeptCopy() const { return keptCopy; }

    QList<QString> getProfileEntries() const;
    QString getParameter(const QString& section, const QString& key) const;
    // The services the user has forbidden: never offered, never changed.
    QStringList getForbiddenInterfaces() const;
    bool addEntry(const QString& name, const QMap<QString, QString>& entry);
    bool removeEntry(const QString& name);
    bool updateEntry(const QString& name, const QMap<QString, QString>& entry);
    bool renameEntry(const QString& oldName, const QString& newName);
    bool updateSetting(const QString& key, const QString& value);

    // The reading and writing rules of config.xml, on any stream (used by load() and save()).
    void read(QXmlStreamReader& reader);
    void write(QXmlStreamWriter& writer);

private:
    QString keepCopy(const QString& kind);

    QString fileName;
    QString defaultFile;
    QString configDir;
    QList<QString> entryNames;
    QMap<QString, ProfileEntry> entries;
    QString problem;
    bool keepUnreadable = false; // the file read at start-up is kept as a copy before it is replaced
    QString keptCopy;
};
