#include "SonarTestController.h"
#include "UnitFiles.h"

#include <climits>
#include <memory>

namespace
{
class OpenController : public CSonarTestController
{
public:
    using TestControllerBase::m_OutputStrings;
};

struct Row_T
{
    OutputStrings_T key;
    const char* text;
};

// The rows this program prints, and a few whose odd wording must survive.
const Row_T c_Rows[] = {
    {OUT_TEST_PASSED, "Test Result: Test Passed.\n"},
    {OUT_TESTS_FAILED, "Test Result: Tests Failed.\n"},
    {OUT_OPERATION_PERFORMED, "Test Result: Operation Performed.\n"},
    {OUT_FIRST_PARAMETER_NOT_RECOGNIZED, "ERROR: First Parameter not recognized: "},
    {OUT_NO_VALID_RETURN_VALUE, "NO VALID RETURN VALUE\n"},
    {OUT_DEFAULT_DURATION, "Illegal or missing duration parameter. Using default value: 3."},
    {OUT_FAILED_TO_WRITE_FILE, "ERROR: Failed to write to file:"},
    {OUT_INCORRECT_PARAMETER_COUNT, "ERROR: Incorrect Parameter Count.\n"},
    {OUT_FILE_NOT_FOUND, "ERROR: File not found:"},
    {OUT_FAILED_TO_OPEN_FILE, "ERROR: Failed to open file:"},
    {OUT_VALID_ARGUMENTS_HEADER, "\n\nValid arguments are as follows: \n\n"},
    {OUT_INCORRECT_FILE_CONTENTS, "ERROR: Incorrect File Contents.\n"},
    {OUT_EMPTY_FILE, "Empty File.\n"},
    {OUT_TOO_MANY_CHARACTERS, "ERROR: Too many characters. Arbitary paramter limit of 300 characters."},
    {OUT_TOUCHSCREEN_TRACE, "Touchscreen operational, trace finger around screen edge now. screen now. Ensure the "
                            "cursor always follows finger.\n"},
    {OUT_IMAGE_SIZE_MISMATCH, "Image Size Does Not Match Screen Res, this will not cause test will not fail.\n"
                              "Details:\n"},
};

std::string Captured(const std::function<void()>& action)
{
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}
}

class MessageReportTest : public UnitFilesTest
{
protected:
    void SetUp() override
    {
        UnitFilesTest::SetUp();
        unitfiles::Write(unitfiles::c_VarrowId, "Varrow\n");
        unitfiles::Write(unitfiles::c_VarrowPower, "0");
        testing::internal::CaptureStdout();
        controller.reset(new OpenController);
        testing::internal::GetCapturedStdout();
    }
    std::unique_ptr<OpenController> controller;
};

TEST_F(MessageReportTest, TableHoldsSeventyRowsWithExactTexts)
{
    EXPECT_EQ(controller->m_OutputStrings.size(), 70u);
    EXPECT_EQ(controller->m_OutputStrings.count(static_cast<OutputStrings_T>(48)), 0u);
    EXPECT_EQ(controller->m_OutputStrings.count(static_cast<OutputStrings_T>(49)), 0u);
    EXPECT_EQ(controller->m_OutputStrings.rbegin()->first, OUT_NO_TOUCHSCREEN_INIT_RECORD);
    for (const Row_T& row : c_Rows)
        EXPECT_EQ(controller->m_OutputStrings[row.key], row.text) << "row " << row.key;
    EXPECT_EQ(controller->m_OutputStrings[OUT_VALID_ARGUMENTS],
              controller->m_OutputStrings[OUT_VALID_ARGUMENTS_HEADER]);
}

TEST_F(MessageReportTest, MessageFlagsDecideWhereTextGoes)
{
    struct Case_T
    {
        bool withOutput, printNow, addToOutput;
        const char* appended;
        const char* printed;
    } cases[] = {
        {true, false, true, "x", ""},  {true, true, false, "", "x"}, {true, true, true, "x", "x"},
        {false, false, true, "", "x"}, {false, true, true, "", "x"}, {false, false, false, "", ""},
        {true, false, false, "", ""},
    };
    for (const Case_T& c : cases)
    {
        std::string output;
        const std::string printed = Captured([&] {
            EXPECT_TRUE(
                controller->Message(std::string("x"), c.withOutput ? &output : nullptr, c.printNow, c.addToOutput));
        });
        EXPECT_EQ(output, c.appended) << c.withOutput << c.printNow << c.addToOutput;
        EXPECT_EQ(printed, c.printed) << c.withOutput << c.printNow << c.addToOutput;
    }
}

// Failed, performed and unrecognised reports are compared whole end to end;
// no command returns these two results.
TEST_F(MessageReportTest, PassedAndOutOfRangeResults)
{
    const std::string command = "./sonarbench x ";
    EXPECT_EQ(Captured([&] { controller->ReportResult("out\n", command, TEST_PASSED); }),
              "out\nTest Result: Test Passed.\n");
    // Out-of-range results use the text as a format, like unknown commands.
    EXPECT_EQ(Captured([&] { controller->ReportResult("100%% done\n", command, static_cast<TestResult_T>(7)); }),
              "100% done\nNO VALID RETURN VALUE\n");
    EXPECT_EQ(Captured([&] { controller->ReportResult("a\n", command, static_cast<TestResult_T>(-1)); }),
              "a\nNO VALID RETURN VALUE\n");
}

TEST_F(MessageReportTest, UnrecognisedRunWithoutCommandLineShowsBareHelp)
{
    const std::string help = Captured([&] { controller->ReportResult("", "", NOT_RECOGNIZED); });
    EXPECT_EQ(help.find("\nTest App Build ID: \nTest App Version: 0.0\n\n\n\n\nValid arguments are as follows:"), 0u);
    EXPECT_EQ(help.find("Test Result:"), std::string::npos);
}

TEST_F(MessageReportTest, HandleReturnFailsOnlyOnNonZeroCodes)
{
    TestResult_T result = OPERATION_PERFORMED;
    EXPECT_EQ(Captured([&] { controller->HandleReturn(0, result); }), "");
    EXPECT_EQ(result, OPERATION_PERFORMED);
    EXPECT_EQ(Captured([&] { controller->HandleReturn(-3, result); }),
              "Call to Lowscan function from CSonarTestController Failed, return value: -3\n");
    EXPECT_EQ(result, TEST_FAILED);
    result = TEST_PASSED;
    EXPECT_EQ(Captured([&] { controller->HandleReturn(-171, result); }),
              "Call to Lowscan function from CSonarTestController Failed, return value: -171\n");
    EXPECT_EQ(result, TEST_FAILED);
}

TEST(StringFromQString, CopiesLatin1BytesWithTerminator)
{
    // The sanitizer build catches a terminator written past the allocation.
    for (const QString& text : {QString(), QString("FPGA_CHANNEL_0_COMMS="), QString::fromLatin1("caf\xe9")})
    {
        std::unique_ptr<char[]> copy(CSonarTestController::StringFromQString(text));
        EXPECT_EQ(std::string(copy.get()), std::string(text.toLatin1().constData()));
    }
}

TEST(CharToUnsignedInt, IsLaxLikeStrtol)
{
    struct Case_T
    {
        const char* text;
        unsigned int value;
    } cases[] = {
        {"0", 0u},
        {"42", 42u},
        {"12abc", 12u},
        {"abc", 0u},
        {"", 0u},
        {"-5", 4294967291u},
        {" 7", 7u},
        {"260", 260u},
        // strtol saturates where long is 32 bits (the ARM unit) and wraps on 64-bit hosts.
        {"99999999999", sizeof(long) == 4 ? 2147483647u : 1215752191u},
    };
    for (const Case_T& c : cases)
        EXPECT_EQ(TestControllerBase::CharToUnsignedInt(c.text), c.value) << '"' << c.text << '"';
}
