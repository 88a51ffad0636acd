#include "ReportParser.h"

#include <QList>

#include <climits>
#include <cmath>

namespace
{
const QByteArray c_Hyphens(51, '-');
const QByteArray c_BlockStart("<SonarFPGAData>");
const QByteArray c_BlockEnd("<EndSonarFPGAData>");
const char* const c_ReadingCommands[] = {"batteryvoltage", "lcdtemperature", "sensepin", "watertemperature"};

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

// Digits only, nothing around them; false for anything else or an overflow.
bool ReadUnsigned(const char* text, int size, int& value)
{
    if (size == 0)
        return false;
    long long result = 0;
    for (int i = 0; i < size; ++i)
    {
        if (!IsDigit(text[i]))
            return false;
        result = result * 10 + (text[i] - '0');
        if (result > INT_MAX)
            return false;
    }
    value = static_cast<int>(result);
    return true;
}

void ReadCommaBody(const QByteArray& body, SampleBlock_T& block)
{
    block.commaSeparated = true;
    int start = 0;
    while (start <= body.size())
    {
        int end = body.indexOf(',', start);
        if (end < 0)
            end = body.size();
        int value = 0;
        // A block printed with a step ends in a comma: the empty last field is no sample.
        if (ReadUnsigned(body.constData() + start, end - start, value))
            block.samples.push_back(value);
        else if (end != body.size() || end != start)
            block.wellFormed = false;
        start = end + 1;
    }
}

// Three characters a sample: "ddd", or a minus sign and two digits.
void ReadThreeDigitBody(const QByteArray& body, SampleBlock_T& block)
{
    block.samples.reserve(body.size() / 3);
    if (body.size() % 3 != 0)
        block.wellFormed = false;
    const char* p = body.constData();
    for (int i = 0; i + 3 <= body.size(); i += 3)
    {
        int value = 0;
        if (ReadUnsigned(p + i, 3, value))
            block.samples.push_back(value);
        else if (p[i] == '-' && ReadUnsigned(p + i + 1, 2, value))
            block.samples.push_back(-value);
        else
            block.wellFormed = false;
    }
}

QString Text(const QByteArray& bytes)
{
    return QString::fromUtf8(bytes);
}
}

struct CReportParser::State_T
{
    enum Section_T
    {
        BEFORE_HYPHENS,
        COMMAND_LINE,
        OUTPUT,
        UNIT_DATA
    };
    StepReport_T report;
    Section_T section = BEFORE_HYPHENS;
    int outputLine = -1;           // the "Test Output:" line
    bool afterParameters = false;  // the line after "Parameters:" describes the next block
    QString pendingParameters;
};

StepReport_T CReportParser::Parse(const QByteArray& text) const
{
    State_T state;
    const QList<QByteArray> lines = text.split('\n');
    for (int i = 0; i < lines.size(); ++i)
    {
        QByteArray line = lines[i];
        if (line.endsWith('\r'))
            line.chop(1);
        ReadLine(line, i, state);
    }

    // A reading command shows its value as the first line of its output that is a number.
    const QStringList words = state.report.commandLine.split(' ', Qt::SkipEmptyParts);
    bool readingCommand = false;
    for (const char* command : c_ReadingCommands)
        readingCommand = readingCommand || (words.size() > 1 && words[1] == command);
    for (int i = state.outputLine + 1; readingCommand && state.outputLine >= 0 && i < lines.size(); ++i)
    {
        bool ok = false;
        const double value = Text(lines[i]).trimmed().toDouble(&ok);
        if (ok && std::isfinite(value))
        {
            state.report.reading = value;
            break;
        }
        if (lines[i].startsWith("Test Result: ") || lines[i].startsWith(QByteArray(34, '/')))
            break;
    }
    return state.report;
}

void CReportParser::ReadLine(const QByteArray& line, int index, State_T& state) const
{
    if (line.startsWith("ERROR: "))
        state.report.errors << Text(line);
    ReadVerdict(line, state);

    const int block = line.indexOf(c_BlockStart);
    if (block >= 0)
    {
        ReadBlock(line, block, state);
        return;
    }
    switch (state.section)
    {
    case State_T::BEFORE_HYPHENS:
        if (line == c_Hyphens)
            state.section = State_T::COMMAND_LINE;
        else
            AttachLine(line, state);
        break;
    case State_T::COMMAND_LINE:
        state.report.commandLine = Text(line).trimmed();
        state.section = State_T::OUTPUT;
        break;
    case State_T::OUTPUT:
        if (line.trimmed() == "Test Output:" && state.outputLine < 0)
            state.outputLine = index;
        else if (line.startsWith("Unit Data for bug reports:"))
            state.section = State_T::UNIT_DATA;
        break;
    case State_T::UNIT_DATA:
        ReadUnitData(line, state);
        break;
    }
}

void CReportParser::ReadVerdict(const QByteArray& line, State_T& state) const
{
    QString& verdict = state.report.verdict;
    if (line == "Test Result: Test Passed.")
        verdict = "passed";
    else if (line == "Test Result: Tests Failed.")
        verdict = "failed";
    else if (line == "Test Result: Operation Performed.")
        verdict = "performed";
    else if (line.startsWith("ERROR: First Parameter not recognized:") ||
             line.startsWith("Valid arguments are as follows:"))
        verdict = "unrecognised";
    else if (line == "NO VALID RETURN VALUE")
        verdict = "none";
}

void CReportParser::ReadUnitData(const QByteArray& line, State_T& state) const
{
    if (!line.isEmpty() && line.count('/') == line.size())
    {
        state.section = State_T::OUTPUT;
        return;
    }
    const int colon = line.indexOf(':');
    if (colon <= 0 || line.startsWith("ERROR: "))
        return;
    state.report.unitData << qMakePair(Text(line.left(colon)).trimmed(), Text(line.mid(colon + 1)).trimmed());
}

void CReportParser::ReadBlock(const QByteArray& line, int start, State_T& state) const
{
    SampleBlock_T block;
    const int bodyStart = start + c_BlockStart.size();
    int end = line.indexOf(c_BlockEnd, bodyStart);
    if (end < 0)
    {
        block.complete = false;
        end = line.size();
    }
    const QByteArray body = line.mid(bodyStart, end - bodyStart);
    // A comma block of one sample has no comma: up to five digits that are not three.
    int single = 0;
    if (body.contains(',') ||
        (body.size() % 3 != 0 && body.size() <= 5 && ReadUnsigned(body.constData(), body.size(), single)))
        ReadCommaBody(body, block);
    else
        ReadThreeDigitBody(body, block);
    if (!state.pendingParameters.isEmpty())
        block.lines << state.pendingParameters;
    state.pendingParameters.clear();
    state.report.blocks.push_back(std::move(block));
}

void CReportParser::AttachLine(const QByteArray& line, State_T& state) const
{
    if (state.afterParameters && !line.isEmpty())
        state.pendingParameters = Text(line);
    state.afterParameters = line == "Parameters:" || (state.afterParameters && line.isEmpty());
    if (state.report.blocks.empty())
        return;
    // The xK ping prints its settings after the block, QL6M with the channel in front.
    if (line.startsWith("Element: ") || line.startsWith("Channel: ") || line.startsWith("Samples: "))
        state.report.blocks.back().lines << Text(line);
}
