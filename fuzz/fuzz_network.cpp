// Feeds arbitrary bytes to the three readers of networksetup and ifconfig output, then the address
// helpers to every value they found, and checks what the interface table relies on.
#include "network/networkmanager.h"

#include <QtGlobal>

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

// Independent of the regular expression: four dot-separated fields of one to three ASCII digits,
// each at most 255; one final line feed is tolerated, as the expression's end anchor does.
bool dottedQuad(QString text)
{
    if (text.endsWith(QLatin1Char('\n')))
        text.chop(1);
    const QStringList fields = text.split(QLatin1Char('.'));
    if (fields.size() != 4)
        return false;
    for (const QString& field : fields) {
        if (field.isEmpty() || field.size() > 3)
            return false;
        for (const QChar c : field) {
            if (c < QLatin1Char('0') || c > QLatin1Char('9'))
                return false;
        }
        if (field.toInt() > 255)
            return false;
    }
    return true;
}

void checkValue(const QString& value)
{
    require(NetworkManager::isIPv4(value) == dottedQuad(value), "isIPv4 disagrees with a dotted quad");
}

// ifconfig prints a mask as "0x" and eight hexadecimal digits. The input's first four bytes, written that
// way in either case, must come back as those four bytes in dotted decimal.
void checkMask(const uint8_t* data, size_t size)
{
    if (size < 5)
        return;
    QString hex =
        QStringLiteral("0x") + QString::fromLatin1(QByteArray(reinterpret_cast<const char*>(data), 4).toHex());
    if (data[4] & 1)
        hex = hex.toUpper();
    const QString expected = QStringLiteral("%1.%2.%3.%4").arg(data[0]).arg(data[1]).arg(data[2]).arg(data[3]);
    require(NetworkManager::NetmaskHex2Str(hex) == expected, "hexadecimal mask not read as its four bytes");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));

    QStringList values;
    for (const NetworkManager::Service& service : NetworkManager::parseServiceOrder(text)) {
        require(service.device.startsWith(QLatin1String("en")), "service accepted on a device not named en");
        require(!NetworkManager::NETWORKSETUP_FORBIDDEN_INTERFACES.contains(service.name), "forbidden service kept");
        values << service.name << service.hardware << service.device;
    }
    QMap<QString, QString> entry;
    NetworkManager::parseServiceInfo(text, entry);
    require(entry.value(QStringLiteral("Router"), QString()) != QLatin1String("(null)"), "(null) router kept");
    values += entry.values();
    const InterfaceMap interfaces = NetworkManager::parseIfconfig(text);
    for (const auto& attributes : interfaces)
        values += attributes.values();

    for (const QString& value : std::as_const(values))
        checkValue(value);
    checkMask(data, size);
    return 0;
}
