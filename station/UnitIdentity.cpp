#include "UnitIdentity.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>

const char* const CUnitIdentity::c_SerialFile = "/corvane/Config/SerialNumber";
const char* const CUnitIdentity::c_ApplicationVersionFile = "/corvane/Application/VERSION";
const char* const CUnitIdentity::c_PlatformVersionFile = "/VERSION";
const char* const CUnitIdentity::c_VarrowIdFile = "/sys/devices/platform/varrow/product_id";
const char* const CUnitIdentity::c_PelionIdFile = "/sys/devices/platform/pelion/product_id";
const char* const CUnitIdentity::c_BoardIdFile =
    "/sys/devices/platform/omap/ti_tscadc/tiadc/iio:device0/in_voltage1_raw";

namespace
{
QStringList Files()
{
    return {CUnitIdentity::c_SerialFile,          CUnitIdentity::c_ApplicationVersionFile,
            CUnitIdentity::c_PlatformVersionFile, CUnitIdentity::c_VarrowIdFile,
            CUnitIdentity::c_PelionIdFile,        CUnitIdentity::c_BoardIdFile};
}

QString Text(const QByteArray& bytes)
{
    return QString::fromUtf8(bytes).trimmed();
}
}

QString CUnitIdentity::Script()
{
    // Counted by reading, not by the size a sysfs file claims; busybox's sh and wc suffice.
    return QString("for f in %1; do if [ -f \"$f\" ]; then echo \"$(cat \"$f\" | wc -c) $f\"; cat \"$f\"; echo; "
                   "else echo \"- $f\"; fi; done")
        .arg(Files().join(' '));
}

bool CUnitIdentity::Parse(const QByteArray& output, UnitIdentity_T& identity)
{
    identity = UnitIdentity_T();
    std::map<QString, QByteArray> found;
    int at = 0;
    for (const QString& path : Files())
    {
        const int end = output.indexOf('\n', at);
        if (end < 0)
            return false;
        const QByteArray header = output.mid(at, end - at).trimmed();
        at = end + 1;
        if (header == "- " + path.toUtf8())
            continue;
        const int blank = header.indexOf(' ');
        bool number = false;
        const int length = header.left(blank).toInt(&number);
        if (blank < 0 || !number || length < 0 || header.mid(blank + 1) != path.toUtf8() ||
            output.size() < at + length + 1 || output[at + length] != '\n')
            return false;
        found[path] = output.mid(at, length);
        at += length + 1;
    }
    QByteArray serial = found.count(c_SerialFile) ? found[c_SerialFile] : QByteArray();
    if (serial.endsWith('\n'))
        serial.chop(1);
    identity.read = true;
    identity.hasSerial = !serial.isEmpty();
    identity.serial = serial;
    identity.applicationVersion = Text(found[c_ApplicationVersionFile]);
    identity.platformVersion = Text(found[c_PlatformVersionFile]);
    QJsonObject files;
    // The board channel identifies only a QL3B board's module.
    const bool board = found.count(c_VarrowIdFile) && found[c_VarrowIdFile] == "QL3B\n";
    for (const char* path : {c_VarrowIdFile, c_PelionIdFile, c_BoardIdFile})
        if (found.count(path) && (board || path != QString(c_BoardIdFile)))
            files.insert(path, QString::fromUtf8(found[path]));
    identity.productIdentification = QString::fromUtf8(QJsonDocument(files).toJson(QJsonDocument::Compact));
    identity.product = Product(found);
    return true;
}

QString CUnitIdentity::BoardProduct(const QByteArray& reading)
{
    bool number = false;
    const int value = reading.trimmed().toInt(&number);
    if (number && value >= 64 && value < 362)
        return "QL5K";
    if (number && value >= 362 && value < 618)
        return "QL4K";
    if (number && value >= 618 && value < 867)
        return "QL6M";
    return QString();
}

QString CUnitIdentity::Product(const std::map<QString, QByteArray>& files)
{
    const auto varrow = files.find(c_VarrowIdFile);
    if (varrow != files.end())
    {
        // The board's second name is the lumet one; both spell the same product.
        static const std::map<QByteArray, QString> names = {
            {"Varrow\n", "Varrow"},    {"VarrowX\n", "VarrowX"},  {"Halvard Keyboard\n", "Halvard Keyboard"},
            {"QL1A\n", "QL1A"},        {"QL2A\n", "QL2A"},        {"LumetV4\n", "LumetV4"},
            {"VarrowV4\n", "LumetV4"}, {"LumetV1\n", "LumetV1"},  {"VarrowV1\n", "LumetV1"},
            {"LumetV2\n", "LumetV2"},  {"VarrowV2\n", "LumetV2"}, {"LumetV3\n", "LumetV3"},
            {"VarrowV3\n", "LumetV3"}, {"LumetV5\n", "LumetV5"},  {"VarrowV5\n", "LumetV5"},
            {"LumetV6\n", "LumetV6"},  {"VarrowV6\n", "LumetV6"}, {"TessfinV1\n", "TessfinV1"}};
        if (varrow->second == "QL3B\n")
        {
            const auto board = files.find(c_BoardIdFile);
            return board == files.end() ? QString() : BoardProduct(board->second);
        }
        const auto name = names.find(varrow->second);
        return name == names.end() ? QString() : name->second;
    }
    const auto pelion = files.find(c_PelionIdFile);
    if (pelion == files.end())
        return QString();
    static const std::map<QByteArray, QString> names = {
        {"HY05\n", "HY05"}, {"HX10\n", "HX10"}, {"HX05\n", "HX05"}, {"HY10\n", "HY10"}, {"HY20\n", "HY20"},
        {"HY03\n", "HY03"}, {"HZ02\n", "HZ02"}, {"HZ03\n", "HZ03"}, {"HZ05\n", "HZ05"}, {"HZ10\n", "HZ10"},
        {"Tq1\n", "Tq"},    {"Tq2\n", "Tq"},    {"Tq3\n", "Tq"},    {"Tq4\n", "Tq"},    {"TqXX\n", "Tq"},
        {"NR1\n", "Nr1"},   {"NR2\n", "Nr2"},   {"NR3\n", "Nr3"}};
    const auto name = names.find(pelion->second);
    return name == names.end() ? QString() : name->second;
}
