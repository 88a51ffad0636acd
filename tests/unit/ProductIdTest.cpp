#include "TestControllerBase.h"
#include "UnitFiles.h"

namespace
{
struct IdCase_T
{
    const std::string* file;
    std::string content;
    unsigned int code;
    std::string printed;
};

const std::string& V = unitfiles::c_VarrowId;
const std::string& P = unitfiles::c_PelionId;

unsigned int IdentifyCapturing(std::string& printed)
{
    TestControllerBase base;
    testing::internal::CaptureStdout();
    const unsigned int code = base.GetProductId();
    printed = testing::internal::GetCapturedStdout();
    return code;
}
}

using ProductIdTest = UnitFilesTest;

TEST_F(ProductIdTest, EveryIdentificationTextGivesItsCode)
{
    const IdCase_T cases[] = {
        {&P, "HY05\n", 1, ""},
        {&P, "HX10\n", 2, ""},
        {&P, "HX05\n", 3, ""},
        {&P, "HY10\n", 4, ""},
        {&P, "HY20\n", 5, ""},
        {&P, "HY03\n", 6, ""},
        {&P, "HZ02\n", 7, ""},
        {&P, "HZ03\n", 8, ""},
        {&P, "HZ05\n", 9, ""},
        {&P, "HZ10\n", 10, ""},
        {&V, "Varrow\n", 11, ""},
        {&V, "VarrowX\n", 12, ""},
        {&P, "Tq1\n", 13, ""},
        {&P, "Tq2\n", 13, ""},
        {&P, "Tq3\n", 13, ""},
        {&P, "Tq4\n", 13, ""},
        {&P, "TqXX\n", 13, ""},
        {&V, "Halvard Keyboard\n", 14, ""},
        {&V, "QL1A\n", 15, ""},
        {&V, "QL2A\n", 16, ""},
        {&V, "LumetV4\n", 20, ""},
        {&V, "VarrowV4\n", 20, ""},
        {&V, "LumetV1\n", 21, ""},
        {&V, "VarrowV1\n", 21, ""},
        {&V, "LumetV2\n", 22, ""},
        {&V, "VarrowV2\n", 22, ""},
        {&V, "LumetV3\n", 23, ""},
        {&V, "VarrowV3\n", 23, ""},
        {&V, "LumetV5\n", 24, ""},
        {&V, "VarrowV5\n", 24, ""},
        {&V, "LumetV6\n", 25, ""},
        {&V, "VarrowV6\n", 25, ""},
        {&V, "TessfinV1\n", 26, ""},
        {&P, "NR1\n", 28, ""},
        {&P, "NR2\n", 29, ""},
        {&P, "NR3\n", 30, ""},
        // Exact matches only: no newline, other case, surplus text, or the wrong file.
        {&V, "LumetV1", 0, "No valid product ID.\n"},
        {&V, "varrow\n", 0, "No valid product ID.\n"},
        {&V, "Varrow\n\n", 0, "No valid product ID.\n"},
        {&V, std::string(5000, 'Q') + "\n", 0, "No valid product ID.\n"},
        {&V, "", 0, "No valid product ID.\n"},
        {&V, "HZ02\n", 0, "No valid product ID.\n"},
        {&P, "Varrow\n", 0, "No Product ID found.\n"},
        {&P, "Tqxx\n", 0, "No valid product ID: Check touchscreen.\n"},
        {&P, "NR1", 0, "No Product ID found.\n"},
    };
    for (const IdCase_T& c : cases)
    {
        Clean();
        unitfiles::Write(*c.file, c.content);
        std::string printed;
        EXPECT_EQ(IdentifyCapturing(printed), c.code) << *c.file << " holding '" << c.content.substr(0, 20) << "'";
        EXPECT_EQ(printed, c.printed) << c.content.substr(0, 20);
    }
}

TEST_F(ProductIdTest, OnlyTheVarrowFileCountsWhenBothExist)
{
    unitfiles::Write(V, "QL2A\n");
    unitfiles::Write(P, "NR1\n");
    std::string printed;
    EXPECT_EQ(IdentifyCapturing(printed), 16u);

    unitfiles::Write(V, "Unknown\n");
    EXPECT_EQ(IdentifyCapturing(printed), 0u);
    EXPECT_EQ(printed, "No valid product ID.\n");

    Clean();
    EXPECT_EQ(IdentifyCapturing(printed), 0u);
    EXPECT_EQ(printed, "");
}

TEST_F(ProductIdTest, QL3BBoardReadingChoosesTheModule)
{
    const std::string channel = unitfiles::c_Adc + "in_voltage1_raw";
    const std::string saved = unitfiles::Read(channel);
    struct Case_T
    {
        std::string reading;
        unsigned int code;
    } cases[] = {
        {"63\n", 0},   {"64\n", 18},  {"300\n", 18}, {"361\n", 18}, {"362\n", 17}, {"500\n", 17},
        {"617\n", 17}, {"618\n", 19}, {"700\n", 19}, {"866\n", 19}, {"867\n", 0},  {"10\n", 0},
        {"900\n", 0},  {"abc\n", 0},  {"", 0},       {"-400\n", 0}, {"500", 17},
    };
    unitfiles::Write(V, "QL3B\n");
    for (const Case_T& c : cases)
    {
        unitfiles::Write(channel, c.reading);
        std::string printed;
        EXPECT_EQ(IdentifyCapturing(printed), c.code) << "reading '" << c.reading << "'";
        EXPECT_EQ(printed, c.code ? "" : "ERROR: No Sonar Board Id.\n") << c.reading;
    }

    unitfiles::Remove(channel);
    std::string printed;
    EXPECT_EQ(IdentifyCapturing(printed), 0u);
    EXPECT_EQ(printed, "ERROR: Failed to open file:\n" + channel + "ERROR: No Sonar Board Id.\n");
    unitfiles::Write(channel, saved);
}

TEST_F(ProductIdTest, UnitDataBlockCarriesLabelsAndFileFailures)
{
    TestControllerBase base;
    unitfiles::Write(V, "QL1A\n");
    EXPECT_EQ(base.GetUnitData("./sonarbench x ").toStdString(), "\n\n\n//////////////////////////////////\n"
                                                                 "Unit Data for bug reports: \n"
                                                                 "Command:\t\t\t./sonarbench x \n"
                                                                 "Platfrom: \t\t\tQL1A\n\n"
                                                                 "Test App Build ID:\t\t\n"
                                                                 "Test App Version:\t\t0.0\n"
                                                                 "MFD Application Version: \t2.14.0\n"
                                                                 "Platform Version: \t\t1.8.3\n"
                                                                 "Serial Number: \t\t\t0412345678\n"
                                                                 "//////////////////////////////////\n");

    // No identification file and no serial number: the open failures stand in the block.
    Clean();
    const std::string serial = unitfiles::Read("/corvane/Config/SerialNumber");
    unitfiles::Remove("/corvane/Config/SerialNumber");
    testing::internal::CaptureStdout();
    const std::string block = base.GetUnitData("cmd").toStdString();
    const std::string printed = testing::internal::GetCapturedStdout();
    unitfiles::Write("/corvane/Config/SerialNumber", serial);
    EXPECT_NE(block.find("Platfrom: \t\t\tERROR: Failed to open file:\n" + P + "\n"), std::string::npos);
    EXPECT_NE(block.find("Serial Number: \t\t\tERROR: Failed to open file:\n/corvane/Config/SerialNumber"
                         "//////////////////////////////////\n"),
              std::string::npos);
    EXPECT_EQ(printed,
              "ERROR: Failed to open file:\n" + P + "ERROR: Failed to open file:\n/corvane/Config/SerialNumber");
}
