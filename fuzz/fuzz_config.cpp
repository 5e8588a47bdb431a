// Reads arbitrary bytes as config.xml, then checks that whatever was kept survives a save and a
// restart: writing the model and reading the result back gives the same profiles in the same order,
// and writing that again gives the same text.
#include "config/configmanager.h"

#include <QBuffer>
#include <QTemporaryDir>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

void require(bool condition, const char* what)
{
    if (!condition) {
        std::fprintf(stderr, "broken: %s\n", what);
        std::abort();
    }
}

// The store's constructor looks for its folder in the home folder: give it a throwaway one, once.
bool prepareHome()
{
    static QTemporaryDir home;
    require(home.isValid(), "no temporary home folder");
    qputenv("HOME", home.path().toUtf8());
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    return true;
}

// Without a default to copy the store starts empty and never loads a file.
ConfigManager emptyStore()
{
    return ConfigManager(QStringLiteral("config.xml"), QString());
}

QByteArray written(ConfigManager& store)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    QXmlStreamWriter writer(&buffer);
    store.write(writer);
    return buffer.data();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const bool ready = prepareHome();
    Q_UNUSED(ready);

    ConfigManager store = emptyStore();
    QXmlStreamReader reader(QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size)));
    store.read(reader);
    const QByteArray first = written(store);

    ConfigManager reloaded = emptyStore();
    QXmlStreamReader again(first);
    reloaded.read(again);
    if (again.hasError())
        std::fprintf(stderr, "%s\n", qPrintable(again.errorString()));
    require(!again.hasError(), "written file does not read back");
    require(reloaded.getProfileEntries() == store.getProfileEntries(), "profiles changed by a save");
    require(written(reloaded) == first, "settings or profile values changed by a save");
    return 0;
}
