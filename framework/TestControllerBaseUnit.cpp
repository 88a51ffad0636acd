#include "TestControllerBase.h"

#include <QFile>

#include <cstdio>

namespace
{
struct IdRow_T
{
    const char* content;
    unsigned int code;
};

// Checked in this order; the first match decides. "QL3B\n" is handled apart.
const IdRow_T c_VarrowIds[] = {
    {"Varrow\n", PRODUCT_VARROW},
    {"VarrowX\n", PRODUCT_VARROWX},
    {"Halvard Keyboard\n", PRODUCT_HALVARD_KEYBOARD},
    {"QL1A\n", PRODUCT_QL1A},
    {"QL2A\n", PRODUCT_QL2A},
    {"QL3B\n", PRODUCT_NONE},
    {"LumetV4\n", PRODUCT_LUMETV4},
    {"VarrowV4\n", PRODUCT_LUMETV4},
    {"LumetV1\n", PRODUCT_LUMETV1},
    {"VarrowV1\n", PRODUCT_LUMETV1},
    {"LumetV2\n", PRODUCT_LUMETV2},
    {"VarrowV2\n", PRODUCT_LUMETV2},
    {"LumetV3\n", PRODUCT_LUMETV3},
    {"VarrowV3\n", PRODUCT_LUMETV3},
    {"LumetV5\n", PRODUCT_LUMETV5},
    {"VarrowV5\n", PRODUCT_LUMETV5},
    {"LumetV6\n", PRODUCT_LUMETV6},
    {"VarrowV6\n", PRODUCT_LUMETV6},
    {"TessfinV1\n", PRODUCT_TESSFINV1},
};

const IdRow_T c_PelionIds[] = {
    {"HY05\n", PRODUCT_HY05}, {"HX10\n", PRODUCT_HX10}, {"HX05\n", PRODUCT_HX05}, {"HY10\n", PRODUCT_HY10},
    {"HY20\n", PRODUCT_HY20}, {"HY03\n", PRODUCT_HY03}, {"HZ02\n", PRODUCT_HZ02}, {"HZ03\n", PRODUCT_HZ03},
    {"HZ05\n", PRODUCT_HZ05}, {"HZ10\n", PRODUCT_HZ10}, {"Tq1\n", PRODUCT_TQ},    {"Tq2\n", PRODUCT_TQ},
    {"Tq3\n", PRODUCT_TQ},    {"Tq4\n", PRODUCT_TQ},    {"TqXX\n", PRODUCT_TQ},   {"Tqxx\n", PRODUCT_NONE},
    {"NR1\n", PRODUCT_NR1},   {"NR2\n", PRODUCT_NR2},   {"NR3\n", PRODUCT_NR3},
};

// Board identification readings of the QL3B sonar board: [low, high).
struct BoardRange_T
{
    int low;
    int high;
    unsigned int code;
};
const BoardRange_T c_BoardRanges[] = {
    {64, 362, PRODUCT_QL5K},
    {362, 618, PRODUCT_QL4K},
    {618, 867, PRODUCT_QL6M},
};
}

unsigned int TestControllerBase::GetProductId()
{
    if (QFile::exists(m_VarrowProductIdFile))
    {
        for (const IdRow_T& row : c_VarrowIds)
        {
            if (!CheckFileContents(m_VarrowProductIdFile, QByteArray(row.content), nullptr))
                continue;
            if (row.code != PRODUCT_NONE)
                return row.code;
            const int reading = ReadFileContents(m_SonarBoardIdChannel).toInt(nullptr, 10);
            for (const BoardRange_T& range : c_BoardRanges)
                if (reading >= range.low && reading < range.high)
                    return range.code;
            printf("ERROR: No Sonar Board Id.\n");
            fflush(stdout);
            return PRODUCT_NONE;
        }
        puts("No valid product ID.");
        return PRODUCT_NONE;
    }

    if (QFile::exists(m_PelionProductIdFile))
    {
        for (const IdRow_T& row : c_PelionIds)
        {
            if (!CheckFileContents(m_PelionProductIdFile, QByteArray(row.content), nullptr))
                continue;
            if (row.code == PRODUCT_NONE)
                puts("No valid product ID: Check touchscreen.");
            return row.code;
        }
        puts("No Product ID found.");
        return PRODUCT_NONE;
    }
    return PRODUCT_NONE;
}

QString TestControllerBase::GetUnitData(QString command)
{
    // Missing files put the standard open-failure lines into the block instead.
    auto contentsOf = [this](const QString& path) {
        QByteArray contents;
        std::string messages;
        GetFileContents(path, contents, &messages);
        return QString::fromLatin1(contents.constData()) + QString::fromLatin1(messages.c_str());
    };

    QString data = "\n\n\n//////////////////////////////////\n";
    data += "Unit Data for bug reports: \n";
    data += "Command:\t\t\t" + command + "\n";
    const QString idFile = QFile::exists(m_VarrowProductIdFile) ? m_VarrowProductIdFile : m_PelionProductIdFile;
    data += "Platfrom: \t\t\t" + contentsOf(idFile) + "\n";
    data += AppVersionText().replace(": ", ":\t\t") + "\n";
    data += "MFD Application Version: \t" + contentsOf(m_ApplicationVersionFile);
    data += "Platform Version: \t\t" + contentsOf(m_PlatformVersionFile);
    data += "Serial Number: \t\t\t" + contentsOf(m_SerialNumberFile);
    data += "//////////////////////////////////\n";
    return data;
}
