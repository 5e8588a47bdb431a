#pragma once

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

class QIODevice;
class QXmlStreamReader;
class QXmlStreamWriter;

// One section of the configuration: a profile ("address", "mask", optional "gateway", "dns", "search") or the
// settings ("default_network_id" and any other key). A profile's name is the key it is stored under,
// never a key inside it; the forbidden services are a list of their own, not a key.
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
    // Each forbidden service is one element of this name inside FORBIDDEN_KEY. Older files hold the names
    // joined by FORBIDDEN_SEPARATOR as the element's text, which is still read.
    static const QString INTERFACE_KEY;
    static const QString FORBIDDEN_SEPARATOR;
    // A profile's DNS servers and search domains: absent when the profile leaves what the service has,
    // AUTOMATIC to clear what was set by hand, else the items joined by line feeds in the user's order.
    // In the file, one element per item, or one holding AUTOMATIC.
    static const QString DNS_KEY;
    static const QString SEARCH_KEY;
    static const QString AUTOMATIC;
    // The setting for DNS on a switch to DHCP: KEEP what is set (also when missing or unknown) or AUTOMATIC.
    static const QString DNS_ON_DHCP_KEY;
    // The menu-bar item ("false": not shown), and whether each change from the window must be confirmed
    // ("true") within so many seconds.
    static const QString SHOW_IN_MENU_BAR_KEY;
    static const QString ASK_TO_KEEP_KEY;
    static const QString KEEP_SECONDS_KEY;
    static const QString KEEP;
    // The host number when the settings hold none from 0 to 255.
    static constexpr int DEFAULT_HOST = 201;

    ConfigManager(const QString& fileName, const QString& defaultFile);
    // A store tied to no file, filled only by load(): for reading profiles where creating a file is
    // not ours to do, such as another user's home.
    ConfigManager() = default;

    // The folder that holds the configuration in the given home folder, ending in "/".
    static QString configDirIn(const QString& home);

    // The full path of config.xml.
    QString filePath() const { return configDir + fileName; }

    bool checkFile();
    static bool copyFile(const QString& source, const QString& destination);
    bool load(const QString& path);
    // An operation that cannot write the file leaves it as it was and the model as it was before the call,
    // and gives error the reason in the system's words with the file's path. A request the store refuses
    // (a taken or reserved name) fails with an empty reason.
    bool save(QString* error = nullptr);
    // Without config.xml, writes the default; with one, keeps a copy of it first.
    bool restoreDefault(QString* error = nullptr);
    void print();

    // Whether the last load() read its whole file as a configuration. When it did not (the file could not
    // be opened, is no regular file, is over 1 MB, is broken or holds something else), readProblem() says
    // why in words for the user; before anything replaces such a regular file, a copy of it is kept.
    bool readCleanly() const { return problem.isEmpty(); }
    QString readProblem() const { return problem; }
    // The full path of the copy that the last restoreDefault() kept of the file it replaced, or that a
    // save kept of an unreadable file; empty when none was kept.
    QString lastKeptCopy() const { return keptCopy; }

    QList<QString> getProfileEntries() const;
    // The forbidden services are given as their names joined by FORBIDDEN_SEPARATOR.
    QString getParameter(const QString& section, const QString& key) const;
    // The host number proposed for a profile's address: the stored one when it is a whole number from 0
    // to 255, else DEFAULT_HOST.
    int defaultHost() const;
    // The services the user has forbidden, never offered, never changed; the default file's when the
    // settings hold no list.
    QStringList getForbiddenInterfaces() const;
    // KEEP or AUTOMATIC.
    QString dnsOnDhcp() const;
    bool setForbiddenInterfaces(const QStringList& names, QString* error = nullptr);
    bool addEntry(const QString& name, const QMap<QString, QString>& entry, QString* error = nullptr);
    bool removeEntry(const QString& name, QString* error = nullptr);
    bool updateEntry(const QString& name, const QMap<QString, QString>& entry, QString* error = nullptr);
    bool renameEntry(const QString& oldName, const QString& newName, QString* error = nullptr);
    // FORBIDDEN_KEY takes the names joined by FORBIDDEN_SEPARATOR.
    bool updateSetting(const QString& key, const QString& value, QString* error = nullptr);

    // The reading and writing rules of config.xml, on any stream (used by load() and save()). A broken
    // document keeps only the profiles read whole; the settings are always written complete.
    void read(QXmlStreamReader& reader);
    void write(QXmlStreamWriter& writer) const;

    // The profiles, without the settings, as a profiles document: config.xml's own format.
    bool exportProfiles(QIODevice& out, QString* error = nullptr) const;

    // A profiles document read whole or not at all: its profiles in its order, or (with none) what is wrong
    // with it, naming the file and, inside the document, the line. Its settings, if any, are not read.
    struct ProfilesDocument
    {
        QList<std::pair<QString, ProfileEntry>> profiles;
        QString problem;
    };
    static ProfilesDocument readProfilesDocument(const QString& path);

    // What to do with an imported profile whose name is taken by one with other settings: add it as
    // "<name> (2)" (or the next free number), replace the stored one, or keep the stored one.
    enum class OnConflict { Rename, Replace, Skip };
    struct ImportResult
    {
        enum class Outcome { Imported, BadFile, NotSaved };
        Outcome outcome = Outcome::Imported;
        QStringList lines; // when imported, one per profile of the document, saying what became of it
        QString error;
    };
    // Adds a document's profiles in one save, or none. Before a stored profile is replaced, a copy of
    // config.xml is kept (see lastKeptCopy()).
    ImportResult importProfiles(const ProfilesDocument& document, OnConflict onConflict = OnConflict::Rename);
    ImportResult importProfiles(const QString& path, OnConflict onConflict = OnConflict::Rename)
    {
        return importProfiles(readProfilesDocument(path), onConflict);
    }

private:
    void write(QXmlStreamWriter& writer, bool withSettings) const;
    bool change(const std::function<void()>& apply, QString* error);
    bool replaceFile(const QByteArray& bytes, QString* error);
    QString keepCopy(const QString& kind, QString* error = nullptr);
    bool isTheUnreadableFile() const;
    QStringList defaultForbidden() const;

    QString fileName;
    QString defaultFile;
    QString configDir;
    QList<QString> entryNames;
    QMap<QString, ProfileEntry> entries;
    std::optional<QStringList> forbidden; // none when the file held no list
    QString problem;
    bool keepUnreadable = false; // the file read at start-up is kept as a copy before it is replaced
    QString unreadableFile;      // what tells that file from one put in its place since
    QString keptCopy;
    mutable std::optional<QStringList> builtInForbidden;
};
