#include "Plan.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

const char* const CPlan::c_Program = "sonarbench";

bool CPlan::Load(const QString& path, QString& error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
    {
        error = QString("%1: cannot read the plan: %2").arg(path, file.errorString());
        return false;
    }
    return Parse(file.readAll(), path, error);
}

bool CPlan::Parse(const QByteArray& text, const QString& fileName, QString& error)
{
    m_Steps.clear();
    m_HasTimeout.clear();
    m_Files.clear();
    m_Folder = QFileInfo(fileName).absolutePath();
    const QList<QByteArray> lines = text.split('\n');
    for (m_Line = 1; m_Line <= lines.size(); ++m_Line)
    {
        const QString line = QString::fromUtf8(lines[m_Line - 1]).trimmed();
        if (line.isEmpty() || line.startsWith('#'))
            continue;
        QString message;
        if (!ParseLine(line.split(QRegularExpression("\\s+")), message))
        {
            error = QString("%1:%2: %3").arg(fileName).arg(m_Line).arg(message);
            return false;
        }
    }
    if (m_Steps.empty())
    {
        error = QString("%1: the plan has no step").arg(fileName);
        return false;
    }
    for (PlanStep_T& step : m_Steps)
    {
        bool hasVerdict = false;
        for (const CExpectation& expectation : step.expectations)
            hasVerdict = hasVerdict || expectation.Key() == "verdict";
        if (!hasVerdict)
            step.expectations.insert(step.expectations.begin(), CExpectation::DefaultVerdict());
    }
    return true;
}

bool CPlan::ParseLine(const QStringList& words, QString& error)
{
    if (words[0] == "step")
        return ParseStep(words, error);
    if (words[0] == "expect")
        return ParseExpect(words, error);
    if (words[0] == "timeout")
        return ParseTimeout(words, error);
    if (words[0] == "send")
        return ParseSend(words, error);
    error = QString("unknown statement '%1' (step, expect, timeout or send)").arg(words[0]);
    return false;
}

bool CPlan::ParseStep(const QStringList& words, QString& error)
{
    static const QRegularExpression name("^[A-Za-z0-9_.-]+$");
    if (words.size() < 3)
    {
        error = "a step needs a name and a command: step NAME COMMAND [ARGUMENTS...]";
        return false;
    }
    if (!name.match(words[1]).hasMatch())
    {
        error = QString("step name '%1' may hold only letters, digits, '_', '.' and '-'").arg(words[1]);
        return false;
    }
    for (const PlanStep_T& step : m_Steps)
        if (step.name == words[1])
        {
            error = QString("step name '%1' is already used on line %2").arg(words[1]).arg(step.line);
            return false;
        }
    PlanStep_T step;
    step.name = words[1];
    step.command = words.mid(2);
    step.line = m_Line;
    m_Steps.push_back(step);
    m_HasTimeout.push_back(false);
    return true;
}

bool CPlan::ParseExpect(const QStringList& words, QString& error)
{
    if (m_Steps.empty())
    {
        error = "an expectation before the first step";
        return false;
    }
    CExpectation expectation;
    if (!CExpectation::Parse(words.mid(1), expectation, error))
        return false;
    for (const CExpectation& other : m_Steps.back().expectations)
        if (other.Key() == expectation.Key() && other.From() == expectation.From())
        {
            error = QString("step '%1' already has this %2 expectation").arg(m_Steps.back().name, words[1]);
            return false;
        }
    m_Steps.back().expectations.push_back(expectation);
    return true;
}

bool CPlan::ParseTimeout(const QStringList& words, QString& error)
{
    static const QRegularExpression seconds("^[0-9]{1,6}(\\.[0-9]{1,3})?$");
    if (m_Steps.empty())
    {
        error = "a timeout before the first step";
        return false;
    }
    if (words.size() != 2 || !seconds.match(words[1]).hasMatch() || words[1].toDouble() <= 0)
    {
        error = "a timeout is: timeout SECONDS (a number above 0)";
        return false;
    }
    if (m_HasTimeout.back())
    {
        error = QString("step '%1' already has a timeout").arg(m_Steps.back().name);
        return false;
    }
    m_HasTimeout.back() = true;
    m_Steps.back().timeoutSeconds = words[1].toDouble();
    return true;
}

bool CPlan::ParseSend(const QStringList& words, QString& error)
{
    // Safe in a shell word and as an argument; never hidden, never an option.
    static const QRegularExpression plain("^[A-Za-z0-9_][A-Za-z0-9_.-]{0,99}$");
    if (!m_Steps.empty())
    {
        error = "a send after the first step: files are sent before a unit's first step";
        return false;
    }
    if (words.size() != 2)
    {
        error = "a send is: send FILE";
        return false;
    }
    PlanFile_T file;
    file.path = QDir::cleanPath(QDir(m_Folder).absoluteFilePath(words[1]));
    file.name = QFileInfo(file.path).fileName();
    file.line = m_Line;
    const QFileInfo info(file.path);
    if (info.isDir())
    {
        error = QString("'%1' is a folder, not a file").arg(words[1]);
        return false;
    }
    QFile readable(file.path);
    if (!readable.open(QIODevice::ReadOnly))
    {
        error = QString("cannot read '%1': %2").arg(words[1], readable.errorString());
        return false;
    }
    if (!plain.match(file.name).hasMatch())
    {
        error = QString("'%1' is not a plain file name: letters, digits, '_', '.' and '-', not first '.' or '-', "
                        "up to 100")
                    .arg(file.name);
        return false;
    }
    if (file.name == c_Program)
    {
        error = QString("a file named '%1' would stand in for the program itself").arg(file.name);
        return false;
    }
    for (const PlanFile_T& other : m_Files)
        if (other.name == file.name)
        {
            error = QString("a file named '%1' is already sent on line %2").arg(file.name).arg(other.line);
            return false;
        }
    m_Files.push_back(file);
    return true;
}
