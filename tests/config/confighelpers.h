#pragma once

#include "config/configmanager.h"

#include <QBuffer>
#include <QFile>
#include <QRegularExpression>
#include <QStringList>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <utility>

// Collects the debug lines the store writes while it is alive, so a test can compare them and the
// test log stays readable. Other message types still reach the previous handler.
class LogCapture
{
public:
    LogCapture() : outer(std::exchange(active, this)), previous(qInstallMessageHandler(&LogCapture::handle)) {}
    ~LogCapture()
    {
        active = outer;
        qInstallMessageHandler(previous);
    }
    Q_DISABLE_COPY(LogCapture)
    QStringList lines;

private:
    static void handle(QtMsgType type, const QMessageLogContext& context, const QString& message)
    {
        if (type == QtDebugMsg)
            active->lines.append(message);
        else if (active->previous)
            active->previous(type, context, message);
    }
    LogCapture* outer;
    QtMessageHandler previous;
    static inline LogCapture* active = nullptr;
};

inline const QString defaultResource = QStringLiteral(":/resources/resources/default-config.xml");
inline const QString missingDefault = QStringLiteral(":/resources/resources/missing-config.xml");
inline const QByteArray declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
inline const QStringList defaultProfiles{"LA-Network", "Intercom", "Management", "APIPA-FIX"};
inline const QString defaultModel =
    QStringLiteral("APIPA-FIX: address=169.254.0.0, mask=255.255.0.0"
                   " | Intercom: address=192.168.3.0, gateway=192.168.3.1, mask=255.255.255.0"
                   " | LA-Network: address=192.168.1.0, gateway=192.168.1.1, mask=255.255.255.0"
                   " | Management: address=192.168.0.0, gateway=192.168.0.1, mask=255.255.254.0"
                   " | settings: default_network_id=201, forbidden_interfaces=Thunderbolt Bridge, Pont Thunderbolt");

inline QByteArray fileBytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// A store started quietly under the current HOME, which must be a temporary folder.
inline ConfigManager startStore(const QString& defaultFile = defaultResource)
{
    LogCapture quiet;
    return ConfigManager(QStringLiteral("config.xml"), defaultFile);
}

// A store holding nothing: its default cannot be copied, so nothing is loaded.
inline ConfigManager emptyStore()
{
    return startStore(missingDefault);
}

// Feeds file text through the reading rules; returns the reader's error text afterwards.
inline QString readText(ConfigManager& store, const QByteArray& text)
{
    QXmlStreamReader reader(text);
    store.read(reader);
    return reader.errorString();
}

inline QByteArray writtenText(ConfigManager& store)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    QXmlStreamWriter writer(&buffer);
    store.write(writer);
    return buffer.data();
}

// The whole model in one line, built from print(): sections in map order joined by " | ", each as
// "name: key=value, key=value" ("name:" when the entry is empty). Debug quoting is undone.
inline QString modelDump(ConfigManager& store)
{
    LogCapture capture;
    store.print();
    const auto unquoted = [](QString text) { // only the escapes the test texts produce
        return text.replace(QStringLiteral("\\n"), QStringLiteral("\n"))
            .replace(QStringLiteral("\\\""), QStringLiteral("\""));
    };
    static const QRegularExpression keyLine(QStringLiteral("^  - \"(.*)\" : \"(.*)\"$"));
    QStringList sections;
    for (const QString& line : std::as_const(capture.lines)) {
        const QRegularExpressionMatch match = keyLine.match(line);
        if (!match.hasMatch())
            sections.append(unquoted(line.mid(1, line.size() - 2)));
        else
            sections.last() += QLatin1String(sections.last().endsWith(u':') ? " " : ", ") +
                               unquoted(match.captured(1)) + u'=' + unquoted(match.captured(2));
    }
    return sections.join(QStringLiteral(" | "));
}
