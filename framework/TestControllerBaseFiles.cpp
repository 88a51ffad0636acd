#include "TestControllerBase.h"

#include <QFile>
#include <QProcess>

#include <climits>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace
{
const int c_ProcessStartTimeoutMs = 30000;
}

// The standard report for a file that cannot be opened: always printed, and
// also kept in the output text when there is one.
void TestControllerBase::ReportOpenFailure(const QString& path, std::string* output)
{
    std::string local;
    std::string* target = output ? output : &local;
    const std::string lines[] = {m_OutputStrings[OUT_FAILED_TO_OPEN_FILE],
                                 std::string("\n") + path.toLatin1().constData()};
    for (const std::string& line : lines)
    {
        target->append(line);
        printf("%s", line.c_str());
    }
    fflush(stdout);
}

int TestControllerBase::GetFileContents(QString path, QByteArray& contents, std::string* output)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
    {
        ReportOpenFailure(path, output);
        return TEST_FAILED;
    }
    contents = file.readAll();
    file.close();
    return OPERATION_PERFORMED;
}

QString TestControllerBase::ReadFileContents(QString path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
    {
        ReportOpenFailure(path, nullptr);
        return QString();
    }
    const QByteArray contents = file.readAll();
    file.close();
    return QString::fromLatin1(contents.constData());
}

bool TestControllerBase::CheckFileContents(QString path, QByteArray expected, std::string* output)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
    {
        Message(m_OutputStrings[OUT_FAILED_TO_OPEN_FILE], output, false, output != nullptr);
        return false;
    }
    const QByteArray contents = file.readAll();
    file.close();
    if (contents.isEmpty())
    {
        Message(m_OutputStrings[OUT_EMPTY_FILE], output, false, output != nullptr);
        return false;
    }
    if (contents.size() == expected.size() && memcmp(contents.constData(), expected.constData(), contents.size()) == 0)
        return true;
    if (output)
    {
        output->append(m_OutputStrings[OUT_INCORRECT_FILE_CONTENTS]);
        output->append("Actual Filecontents: ");
        output->append(contents.constData());
        output->append("\n");
        output->append("Expected Filecontents: ");
        output->append(expected.constData());
        output->append("\n");
    }
    return false;
}

bool TestControllerBase::WriteToFile(QString path, QByteArray data, std::string* output)
{
    std::string message;
    bool result = false;
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
    {
        message = m_OutputStrings[OUT_FAILED_TO_OPEN_FILE] + path.toLatin1().constData() + "\n";
    }
    else
    {
        if (file.write(data) == -1)
            message = m_OutputStrings[OUT_FAILED_TO_WRITE_FILE] + path.toLatin1().constData() + "\n";
        else
            result = true;
        file.close();
        // The value must reach the device or disk before the test goes on.
        sync();
    }
    if (output)
        output->append(message);
    else
        puts(message.c_str());
    return result;
}

int TestControllerBase::ShowFileContents(QString path, std::string* output)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
    {
        ReportOpenFailure(path, output);
        return TEST_FAILED;
    }
    const QByteArray contents = file.readAll();
    file.close();
    if (contents.isEmpty())
    {
        Message(m_OutputStrings[OUT_EMPTY_FILE], output, false, true);
        return TEST_FAILED;
    }
    Message(std::string(contents.constData()), output, false, true);
    Message(std::string("\n"), output, false, true);
    return OPERATION_PERFORMED;
}

int TestControllerBase::RunProcess(QString command, std::string* output, unsigned int timeoutSeconds,
                                   QProcess** process, bool keepRunning, int quiet)
{
    QProcess* child = new QProcess();
    if (!quiet)
    {
        printf("Command = %s\n", command.toLatin1().constData());
        fflush(stdout);
    }
    // The whole command line in one string, split the way a shell-less start splits it.
    QStringList words = QProcess::splitCommand(command);
    const QString program = words.isEmpty() ? QString() : words.takeFirst();
    child->start(program, words, QIODevice::ReadWrite);
    if (child->waitForStarted(c_ProcessStartTimeoutMs))
    {
        if (keepRunning)
        {
            *process = child;
            return OPERATION_PERFORMED;
        }
        const int waitMs = timeoutSeconds == 0               ? -1
                           : timeoutSeconds > INT_MAX / 1000 ? INT_MAX
                                                             : static_cast<int>(timeoutSeconds * 1000);
        const int result = child->waitForFinished(waitMs) ? OPERATION_PERFORMED : TEST_FAILED;
        const QByteArray out = child->readAll();
        if (!quiet)
            Message(QString("Out: %1").arg(QString::fromLatin1(out.constData())), nullptr, true, false);
        delete child;
        return result;
    }

    Message(m_OutputStrings[OUT_FILE_NOT_FOUND], output, false, true);
    Message(command, output, false, true);
    Message(std::string("\n"), output, false, true);
    Message(QString::fromLatin1(child->readAll().constData()), nullptr, true, false);
    delete child;
    return TEST_FAILED;
}
