#include "TestControllerBase.h"
#include "UnitFiles.h"

#include <QElapsedTimer>
#include <QProcess>

#include <sys/stat.h>

namespace
{
const std::string c_File = "/tmp/helpers/reading";

std::string Capture(const std::function<void()>& action)
{
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}
}

using FileHelpersTest = UnitFilesTest;

TEST_F(FileHelpersTest, ShowFileContentsReportsEachKindOfFile)
{
    struct Case_T
    {
        const char* name;
        std::string bytes;  // written unless "missing"
        unsigned int mode;
        int result;
        std::string appended;
        std::string printed;
    };
    const std::string openFailure = "ERROR: Failed to open file:\n" + c_File;
    const Case_T cases[] = {
        {"reading", "1234\n", 0644, OPERATION_PERFORMED, "1234\n\n", ""},
        {"no newline", "7", 0644, OPERATION_PERFORMED, "7\n", ""},
        {"zero byte inside", std::string("12\0 34\n", 7), 0644, OPERATION_PERFORMED, "12\n", ""},
        {"empty", "", 0644, TEST_FAILED, "Empty File.\n", ""},
        {"unreadable", "1234\n", 0000, TEST_FAILED, openFailure, openFailure},
        {"missing", "missing", 0644, TEST_FAILED, openFailure, openFailure},
    };
    TestControllerBase base;
    for (const Case_T& c : cases)
    {
        unitfiles::Remove(c_File);
        if (c.bytes != "missing")
        {
            unitfiles::Write(c_File, c.bytes);
            chmod(c_File.c_str(), c.mode);
        }
        std::string output = "head\n";
        int result = -1;
        const std::string printed =
            Capture([&] { result = base.ShowFileContents(QString::fromStdString(c_File), &output); });
        EXPECT_EQ(result, c.result) << c.name;
        EXPECT_EQ(output, "head\n" + c.appended) << c.name;
        EXPECT_EQ(printed, c.printed) << c.name;
    }
    unitfiles::Remove("/tmp/helpers");
}

TEST_F(FileHelpersTest, CheckFileContentsExplainsAMismatch)
{
    TestControllerBase base;
    const QString path = QString::fromStdString(c_File);
    std::string output;
    unitfiles::Write(c_File, "1");
    EXPECT_TRUE(base.CheckFileContents(path, "1", &output));
    EXPECT_EQ(output, "");

    unitfiles::Write(c_File, "0");
    EXPECT_FALSE(base.CheckFileContents(path, "1", &output));
    EXPECT_EQ(output, "ERROR: Incorrect File Contents.\nActual Filecontents: 0\nExpected Filecontents: 1\n");

    // A prefix is not a match, whichever side is longer.
    output.clear();
    unitfiles::Write(c_File, "ab");
    EXPECT_FALSE(base.CheckFileContents(path, "abc", nullptr));
    EXPECT_FALSE(base.CheckFileContents(path, "a", nullptr));

    unitfiles::Write(c_File, "");
    EXPECT_FALSE(base.CheckFileContents(path, "", &output));
    EXPECT_EQ(output, "Empty File.\n");

    output.clear();
    unitfiles::Remove(c_File);
    EXPECT_FALSE(base.CheckFileContents(path, "1", &output));
    EXPECT_EQ(output, "ERROR: Failed to open file:");
    unitfiles::Remove("/tmp/helpers");
}

TEST_F(FileHelpersTest, WriteToFileReportsWhereTheValueWent)
{
    TestControllerBase base;
    std::string output;
    unitfiles::Write(c_File, "old contents");
    EXPECT_TRUE(base.WriteToFile(QString::fromStdString(c_File), "1", &output));
    EXPECT_EQ(unitfiles::Read(c_File), "1");
    EXPECT_EQ(output, "");

    const QString missing = "/tmp/no/such/dir/sonar_power";
    EXPECT_FALSE(base.WriteToFile(missing, "1", &output));
    EXPECT_EQ(output, "ERROR: Failed to open file:/tmp/no/such/dir/sonar_power\n");

    // Without an output text the message is put on the console, even an empty one.
    EXPECT_EQ(Capture([&] { base.WriteToFile(QString::fromStdString(c_File), "2", nullptr); }), "\n");
    EXPECT_EQ(Capture([&] { base.WriteToFile(missing, "2", nullptr); }),
              "ERROR: Failed to open file:/tmp/no/such/dir/sonar_power\n\n");
    unitfiles::Remove("/tmp/helpers");
}

TEST_F(FileHelpersTest, ReadFileContentsStopsAtZeroByteAndReportsMissingFiles)
{
    TestControllerBase base;
    unitfiles::Write(c_File, std::string("500\n\0junk", 9));
    EXPECT_EQ(base.ReadFileContents(QString::fromStdString(c_File)), "500\n");
    QString text;
    EXPECT_EQ(Capture([&] { text = base.ReadFileContents("/tmp/helpers/none"); }),
              "ERROR: Failed to open file:\n/tmp/helpers/none");
    EXPECT_TRUE(text.isEmpty());

    QByteArray contents;
    std::string output;
    EXPECT_EQ(base.GetFileContents(QString::fromStdString(c_File), contents, &output), OPERATION_PERFORMED);
    EXPECT_EQ(contents.size(), 9);
    unitfiles::Remove("/tmp/helpers");
}

TEST_F(FileHelpersTest, RunProcessWaitsReportsAndTimesOut)
{
    TestControllerBase base;
    int result = -1;
    EXPECT_EQ(Capture([&] { result = base.RunProcess("/bin/echo hello world"); }),
              "Command = /bin/echo hello world\nOut: hello world\n");
    EXPECT_EQ(result, OPERATION_PERFORMED);

    // Time-out 0 waits as long as the command runs; quiet prints nothing.
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(Capture([&] { result = base.RunProcess("/bin/sleep 1.2", nullptr, 0, nullptr, false, 1); }), "");
    EXPECT_EQ(result, OPERATION_PERFORMED);
    EXPECT_GE(timer.elapsed(), 1100);

    EXPECT_EQ(base.RunProcess("/bin/sleep 5", nullptr, 1, nullptr, false, 1), TEST_FAILED);

    std::string output;
    EXPECT_EQ(Capture([&] { result = base.RunProcess("/no/such/program", &output, 0, nullptr, false, 1); }), "");
    EXPECT_EQ(result, TEST_FAILED);
    EXPECT_EQ(output, "ERROR: File not found:/no/such/program\n");

    QProcess* process = nullptr;
    EXPECT_EQ(base.RunProcess("/bin/sleep 5", nullptr, 0, &process, true, 1), OPERATION_PERFORMED);
    ASSERT_NE(process, nullptr);
    EXPECT_EQ(process->state(), QProcess::Running);
    process->kill();
    process->waitForFinished();
    delete process;
}
