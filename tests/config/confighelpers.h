#pragma once

#include "config/configmanager.h"

#include <QBuffer>
#include <QByteArray>
#include <QFile>
#include <QRegularExpression>
#include <QStringList>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

// Collects the debug lines the store writes while it is alive, so a test can compare them and the
// test log stays readable. Other message types still reach the previous handler.
class LogCapture
{
public:
    LogCapture() : previous(qInstallMessageHandler(&LogCapture::handle)), outer(active) { active = this; }
    ~LogCapture()
    {
        active = outer;
        qInstallMessageHandler(previous);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    QStringList lines;

private:
    static void handle(QtMsgType type, const QMessageLogContext& context, const QString& message)
    {
        if (type == QtDebugMsg && active)
            active->lines.append(message);
        else if (active && active->previous)
            active->previous(type, context, message);
    }

    QtMessageHandler previous;
    LogCapture* outer;
    static inline LogCapture* active = nullptr;
};

// The user's configuration file as the store places it under the current HOME.
inline QString configPath(const QString& home)
{
    return home + QStringLiteral("/Library/Tarnwick/config.xml");
}

inline const QString defaultResource = QStringLiteral(":/resources/resources/default-config.xml");

inline QByteArray fileBytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// A store holding nothing: its default cannot be copied, so nothing is loaded. Only safe with HOME
// pointing at a temporary folder, as the store still creates its folder there.
inline ConfigManager emptyStore()
{
    LogCapture quiet;
    return ConfigManager(QStringLiteral("config.xml"), QStringLiteral(":/no/such/default.xml"));
}

// Feeds file text through the reading rules; returns the reader's error text afterwards.
inline QString readText(ConfigManager& store, const QByteArray& text)
{
    QBuffer buffer;
    buffer.setData(text);
    buffer.open(QIODevice::ReadOnly);
    QXmlStreamReader reader(&buffer);
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

// Undoes the quoting of QString values in debug output for the escapes plain text produces.
inline QString unquoted(const QString& quoted)
{
    QString text;
    for (qsizetype i = 0; i < quoted.size(); ++i) {
        QChar c = quoted.at(i);
        if (c == QLatin1Char('\\') && i + 1 < quoted.size()) {
            c = quoted.at(++i);
            if (c == QLatin1Char('n'))
                c = QLatin1Char('\n');
            else if (c == QLatin1Char('t'))
                c = QLatin1Char('\t');
            else if (c == QLatin1Char('r'))
                c = QLatin1Char('\r');
        }
        text += c;
    }
    return text;
}

// The whole model in one line, built from print(): sections in map order joined by " | ", each as
// "name: key=value, key=value" ("name:" when the entry is empty).
inline QString modelDump(ConfigManager& store)
{
    QStringList lines;
    {
        LogCapture capture;
        store.print();
        lines = capture.lines;
    }
    static const QRegularExpression keyLine(QStringLiteral("^  - \"(.*)\" : \"(.*)\"$"));
    QStringList sections;
    for (const QString& line : std::as_const(lines)) {
        const QRegularExpressionMatch match = keyLine.match(line);
        if (match.hasMatch() && !sections.isEmpty()) {
            QString& section = sections.last();
            section += section.endsWith(QLatin1Char(':')) ? QStringLiteral(" ") : QStringLiteral(", ");
            section += unquoted(match.captured(1)) + QLatin1Char('=') + unquoted(match.captured(2));
        } else {
            sections.append(unquoted(line.mid(1, line.size() - 2)));
        }
    }
    return sections.join(QStringLiteral(" | "));
}
