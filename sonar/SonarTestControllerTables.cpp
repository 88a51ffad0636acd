#include "SonarTestController.h"

#include <cstdio>

namespace
{
const char* const c_ChirpHeader = "FpgaInterface->SetChirpTable Details : size ";
const char* const c_ChirpEnd = "FpgaInterface->SetTVGTable: details size: ";
const char* const c_TvgHeader = "FpgaInterface->SetTVGTable: details size: ";
const char* const c_TvgEnd = "FpgaInterface->GetBBFilterSubSampleDivisor";
const char* const c_CorrelationHeader = "FpgaInterface->SetCorrelationFilter Details size ";
const char* const c_CorrelationEnd = "FpgaInterface->SetCorralationDownShift(";

// The text between from and to; nothing when to lies before from.
QString Between(const QString& text, int from, int to)
{
    return to > from ? text.mid(from, to - from) : QString();
}

// Read as 64 bits and keep the field's low bits, so "FFFF" fills a 16-bit
// field and "-1" becomes all ones; a text that is no number gives 0.
template <typename Field_T>
Field_T ToField(const QString& text, int base)
{
    return static_cast<Field_T>(text.toLongLong(nullptr, base));
}

// The table parts in pairs, two numbers to one entry.
template <typename Entry_T, typename Field_T>
void AppendEntries(const QList<QString>& parts, int base, std::vector<Entry_T>& table)
{
    for (int i = 0; i + 1 < parts.size(); i += 2)
        table.push_back(Entry_T{ToField<Field_T>(parts[i], base), ToField<Field_T>(parts[i + 1], base)});
}
}

int CSonarTestController::GetValue(QString fileName, QString startKey, QString endKey)
{
    QString text = ReadFileContents(fileName);
    text.remove(QChar('\r'));
    const int start = text.indexOf(startKey);
    const int end = text.indexOf(endKey);
    if (start < 0 || end < 0)
        return -1;
    // The character after the key is a blank in the log and is skipped unread.
    QString value = Between(text, start + startKey.length() + 1, end);
    value.remove(QChar(' '));
    // toInt: a number beyond int counts as no number, like any other text.
    return value.toInt(nullptr, 10);
}

int CSonarTestController::GetSize(QString text, QString headerKey)
{
    const int header = text.indexOf(headerKey);
    const int lineEnd = header < 0 ? -1 : text.indexOf(QChar('\n'), header);
    if (lineEnd < 0)
    {
        Message(std::string("ERROR: Size Delimiter not found.\n"), nullptr, false, true);
        Message(QString("Size Delimiter: \"%1\"\n").arg(headerKey), nullptr, false, true);
        return 0;
    }
    return Between(text, header + headerKey.length(), lineEnd).toInt(nullptr, 10);
}

QList<QString> CSonarTestController::GetPairs(QString text, QString headerKey, QString endKey)
{
    const int header = text.indexOf(headerKey);
    const int end = text.indexOf(endKey);
    if (header < 0 || end < 0)
    {
        Message(std::string("ERROR: Start/End Delimiter not found.\n"), nullptr, false, true);
        Message(QString("Start Delimiter: \"%1\"\n").arg(headerKey), nullptr, false, true);
        Message(QString("End Delimiter: \"%1\"\n").arg(endKey), nullptr, false, true);
        return QList<QString>();
    }
    const int lineEnd = text.indexOf(QChar('\n'), header);
    if (lineEnd < 0)
    {
        Message(std::string("ERROR: Data not found.\n"), nullptr, false, true);
        return QList<QString>();
    }

    QString data = Between(text, lineEnd + 1, end);
    data.remove(QString("0x"));
    data.remove(QChar(' '));
    data.replace(QChar('\n'), QChar(','));
    // Two passes only: a longer run of separators leaves empty parts, which count.
    data.replace(QString(",,"), QString(","));
    data.replace(QString(",,"), QString(","));
    if (data.endsWith(QChar(',')))
        data.chop(1);
    const QList<QString> parts = data.split(QChar(','));

    const int size = GetSize(text, headerKey);
    if (parts.size() != 2LL * size)
    {
        printf("ERROR: Expected size (%d) does not match actual size (%d)\n", size, parts.size());
        fflush(stdout);
        return QList<QString>();
    }
    return parts;
}

int CSonarTestController::LoadTables(std::vector<ChirpTableEntry_T>& chirp, std::vector<TVGTableEntry_T>& tvg,
                                     std::vector<CorrelationFilterCoefficientSet_T>& correlation, std::string* output,
                                     QString fileName)
{
    QString text = ReadFileContents(fileName);
    text.remove(QChar('\r'));
    if (text.isEmpty())
    {
        Message(QString("ERROR: Ensure file exists: %1 \n").arg(fileName), output, false, true);
        return TEST_FAILED;
    }

    // The chirp numbers are hexadecimal whether or not they carried "0x".
    QList<QString> parts = GetPairs(text, c_ChirpHeader, c_ChirpEnd);
    if (parts.isEmpty())
    {
        Message(std::string("ERROR: Failed to read Chirp Table .\n"), output, false, true);
        return TEST_FAILED;
    }
    AppendEntries<ChirpTableEntry_T, UINT16>(parts, 16, chirp);

    parts = GetPairs(text, c_TvgHeader, c_TvgEnd);
    if (parts.isEmpty())
    {
        Message(std::string("ERROR: Failed to read TVG Table .\n"), output, false, true);
        return TEST_FAILED;
    }
    AppendEntries<TVGTableEntry_T, UINT8>(parts, 10, tvg);

    parts = GetPairs(text, c_CorrelationHeader, c_CorrelationEnd);
    if (parts.isEmpty())
    {
        Message(std::string("ERROR: Failed to read Correlation Filter.\n"), output, false, true);
        return TEST_FAILED;
    }
    AppendEntries<CorrelationFilterCoefficientSet_T, int16_t>(parts, 10, correlation);

    // 2, not 0: the xK test checks for OPERATION_PERFORMED.
    return OPERATION_PERFORMED;
}
