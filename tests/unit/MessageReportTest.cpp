#include "SonarTestController.h"
#include "UnitFiles.h"

#include <climits>
#include <map>
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
    int key;
    const char* text;
};

// Every row of the shared table, by key; 7, 52 and 55 (other programs'
// usage texts) are kept empty.
const Row_T c_Rows[] = {
    {0, "Test Result: Test Passed.\n"},
    {1, "Test Result: Tests Failed.\n"},
    {2, "Test Result: Operation Performed.\n"},
    {3, "ERROR: First Parameter not recognized: "},
    {4, "NO VALID RETURN VALUE\n"},
    {5, "Illegal or missing duration parameter. Using default value: 3."},
    {6, "Composite video has been shown.\n"},
    {7, ""},
    {8, "Characters written back: "},
    {9, "Characters read in: "},
    {10, "ERROR: Write failed.\n"},
    {11, "ERROR: Read failed.\n"},
    {12, "\n\nValid arguments are as follows: \n\n"},
    {13, "Expected key: "},
    {14, "\nActual key: "},
    {15, "\nNo Key press detected.\n"},
    {16, " correctly pressed.\n"},
    {17, "ERROR: Incorrect Key Press.\n"},
    {18, "Buzzer sounded.\n"},
    {19, "ERROR: Failed to start buzzer.\n"},
    {20, "ERROR: Failed to open port.\n"},
    {21, "Colour successfully shown.\n"},
    {22, "ERROR: Input (Base64) Linearization data must be 136 bytes.\n"},
    {23, "ERROR: Failed to write to file:"},
    {24, "ERROR: Invalid brightness level.\n"},
    {25, "ERROR: Incorrect Parameter Count.\n"},
    {26, "ERROR: File not found:"},
    {27, "Calibration Ended.\n"},
    {28, "Test Ended.\n"},
    {29, "ERROR: Failed to open file:"},
    {30, "ERROR: LINEARIZATION data not applied.\n"},
    {31, "ERROR: Binary Linearization data must be 100 bytes.\n"},
    {32, "\n\nThe following Tests are not EOL tests.\n"},
    {33, "\nCheck the following if test fails or behaves unexpectedly:\n\n"},
    {34, "ERROR: Touchscreen must be calibrated before running tests.\n"},
    {35, "\n\nValid arguments are as follows: \n\n"},
    {36, "ERROR: Incorrect File Contents.\n"},
    {37, "Empty File.\n"},
    {38, "Channel Out Of Range (1-14)"},
    {39, "Rate Out Of Range (1 (1Mbps), 2 (2Mbps), 4 (5.5Mbps), 8 (6Mbps),\n 16 (9Mbps), 32 (11Mbps), 64 (12Mbps), 128 "
         "(18Mbps), \n512 (24Mbps), 1024 (36Mbps), 2048 (48Mbps), 4096 (54Mbps))\n"},
    {40, "Power Out Of Range (0 to 20000 (dBm * 1000))\n"},
    {41, "Ref Power Out Of Range (0-999)\n"},
    {42, "Ref Level Out Of Range (0-999)\n"},
    {43, "Band Out Of Range (x-xxx)\n"},
    {44, "ERROR: Failed to write to GPS device node.\n"},
    {45, "Gathering Receive Statistics: Hit any Key when complete.\n"},
    {46, "Driver restart failed.\n"},
    {47, "Touchscreen operational, trace finger around screen edge now. screen now. Ensure the cursor always follows "
         "finger.\n"},
    {50, "ERROR: MAC Address illegal format. Valid format is xx:xx:xx:xx:xx:xx\n"},
    {51, "ERROR: IP Address illegal format. Valid format is IPv4 Dot Decimal xxx.xxx.xxx.xxx.xxx\n"},
    {52, ""},
    {53, "ERROR: Invalid Encryption Key.\n"},
    {54, "ERROR: WiFi Calibration file does not exist, failed to generate reference file.\n"},
    {55, ""},
    {56, "ERROR: Too many characters. Arbitary paramter limit of 300 characters."},
    {57, "ERROR: One or both SD cards not mounted. Ensure an SD Card is present in each slot.\n"},
    {58, "Linearization conversion failed.\n"},
    {59, "IMPORTANT: Reboot unit.\n"},
    {60, "No touch detected: Top Middle.\n"},
    {61, "No touch detected: Bottom Middle.\n"},
    {62, "No touch detected: Left Middle.\n"},
    {63, "No touch detected: Right Middle.\n"},
    {64, "No touch detected: TopLeft Corner.\n"},
    {65, "No touch detected: BottomRight Corner.\n"},
    {66, "No touch detected: TopRight Corner.\n"},
    {67, "No touch detected: BottomLeft Corner.\n"},
    {68, "Failed to ASCII encode binary.\n"},
    {69, "Image Size Does Not Match Screen Res, this will not cause test will not fail.\nDetails:\n"},
    {70, "Suspect ADJ Channel. (Check /corvane/Data/Log/syslog/current.)\n"},
    {71, "No record of Touchscreen Initialisation. (Check /corvane/Data/Log/syslog/current.)\n"},
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
    std::map<OutputStrings_T, std::string> expected;
    for (const Row_T& row : c_Rows)
        expected[static_cast<OutputStrings_T>(row.key)] = row.text;
    EXPECT_EQ(controller->m_OutputStrings, expected);
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
