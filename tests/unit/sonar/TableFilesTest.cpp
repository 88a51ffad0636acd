#include "SonarTestController.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace
{
// The configuration log example the fuzzer seeds from, shown read-only in the unit.
std::string Example()
{
    std::ifstream in(SONARBENCH_TABLE_EXAMPLE, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}
const std::string c_Example = Example();

const char* const c_ChirpLines = "0x0010, 0x0200\n0x0011, 0x0201\n";
const char* const c_TvgLines = "10, 20\n30, 40\n50, 60\n";
const char* const c_ScalingKey = "  FpgaInterface->SetCorralationScaling(";
const char* const c_ScalingEnd = ");\n-------------------CONFIGURE FPGA VALUES  END ----------------";

std::string Replaced(std::string text, const std::string& from, const std::string& to)
{
    const size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

std::string Capture(const std::function<void()>& action)
{
    fflush(stdout);
    testing::internal::CaptureStdout();
    action();
    fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

// Tables flattened to "first,second;" for one comparison each.
template <typename Entry_T>
std::string Flat(const std::vector<Entry_T>& table)
{
    std::string text;
    for (const Entry_T& entry : table)
        text += std::to_string(entry.First) + "," + std::to_string(entry.Second) + ";";
    return text;
}
}

class TableFilesTest : public testing::Test
{
protected:
    void SetUp() override
    {
        char pattern[] = "/tmp/tablesXXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        m_Dir = pattern;
        Capture([&] { m_Controller.reset(new CSonarTestController); });
    }
    void TearDown() override
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_Dir, ignored);
    }
    QString File(const std::string& bytes)
    {
        const std::string path = m_Dir + "/table.txt";
        std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
        return QString::fromStdString(path);
    }

    std::string m_Dir;
    std::unique_ptr<CSonarTestController> m_Controller;
};

TEST_F(TableFilesTest, GetValueReadsBetweenKeys)
{
    struct Case_T
    {
        const char* name;
        std::string file;
        const char* startKey;
        const char* endKey;
        int expected;
    };
    const char* const boost = "FpgaInterface->SetBoostLevel(";
    const char* const boostEnd = ");\nFpgaInterface->SetChirpTable";
    const std::string noScalingCopy = Replaced(c_Example, "  FpgaInterface->SetCorralationScaling( 1);\n", "");
    const Case_T cases[] = {
        {"sub-sample rate", c_Example, "FpgaInterface->SetSubSampleRate(", ");\nFpgaInterface->SetSubSampleMode", 4},
        {"down-shift", c_Example, "FpgaInterface->SetCorralationDownShift(", ");\nFpgaInterface->SetCorralationScaling",
         2},
        {"one scaling line without blanks", noScalingCopy, c_ScalingKey, c_ScalingEnd, -1},
        {"digit right after the parenthesis", Replaced(c_Example, "Level( 1)", "Level(5)"), boost, boostEnd, 0},
        {"blanks around", Replaced(c_Example, "Level( 1)", "Level(  15 )"), boost, boostEnd, 15},
        {"blank inside", Replaced(c_Example, "Level( 1)", "Level( 1 5)"), boost, boostEnd, 15},
        {"no number", Replaced(c_Example, "Level( 1)", "Level( x)"), boost, boostEnd, 0},
        {"beyond int", Replaced(c_Example, "Level( 1)", "Level( 4294967297)"), boost, boostEnd, 0},
        {"missing end key", c_Example, boost, ");\nFpgaInterface->Nothing", -1},
        {"empty file", "", boost, boostEnd, -1},
    };
    for (const Case_T& c : cases)
    {
        const QString file = File(c.file);
        EXPECT_EQ(m_Controller->GetValue(file, c.startKey, c.endKey), c.expected) << c.name;
    }
}

TEST_F(TableFilesTest, LoadTables)
{
    struct Case_T
    {
        const char* name;
        std::string file;
        int result;
        std::string chirp, tvg, correlation;
        std::string output;
        std::string printed;
    };
    const std::string chirp = "16,512;17,513;", tvg = "10,20;30,40;50,60;", correlation = "-12,7;5,-3;";
    const Case_T cases[] = {
        {"example", c_Example, OPERATION_PERFORMED, chirp, tvg, correlation, "", ""},
        {"hexadecimal without 0x, several on a line", Replaced(c_Example, c_ChirpLines, "10,200,  0x11,\n201\n"),
         OPERATION_PERFORMED, chirp, tvg, correlation, "", ""},
        {"values truncated to the field",
         Replaced(Replaced(Replaced(c_Example, c_ChirpLines, "FFFF, 12345\n-1, 123456789A\n"), c_TvgLines,
                           "300, -1\n255, 256\n7, x\n"),
                  "-12, 7\n5, -3\n", "40000, -32768\n-32769, 99999999999999999999\n"),
         OPERATION_PERFORMED, "65535,9029;65535,30874;", "44,255;255,0;7,0;", "-25536,-32768;32767,0;", "", ""},
        {"empty parts count",
         Replaced(c_Example, "size: 3\n" + std::string(c_TvgLines), "size: 4\n10,,,,,20,30\n40,50,60,70\n"),
         OPERATION_PERFORMED, chirp, "10,0;20,30;40,50;60,70;", correlation, "", ""},
        {"tvg size mismatch keeps the chirp table", Replaced(c_Example, "size: 3", "size: 2"), TEST_FAILED, chirp, "",
         "", "ERROR: Failed to read TVG Table .\n", "ERROR: Expected size (2) does not match actual size (6)\n"},
        {"missing end key", Replaced(c_Example, "FpgaInterface->SetCorralationDownShift( 2);\n", ""), TEST_FAILED,
         chirp, tvg, "", "ERROR: Failed to read Correlation Filter.\n",
         "ERROR: Start/End Delimiter not found.\n"
         "Start Delimiter: \"FpgaInterface->SetCorrelationFilter Details size \"\n"
         "End Delimiter: \"FpgaInterface->SetCorralationDownShift(\"\n"},
        {"missing file", "missing", TEST_FAILED, "", "", "", "ERROR: Ensure file exists: FILE \n",
         "ERROR: Failed to open file:\nFILE"},
    };
    for (const Case_T& c : cases)
    {
        QString file = File(c.file);
        if (c.file == "missing")
            file = QString::fromStdString(m_Dir + "/none.txt");
        std::vector<ChirpTableEntry_T> chirpTable;
        std::vector<TVGTableEntry_T> tvgTable;
        std::vector<CorrelationFilterCoefficientSet_T> correlationTable;
        std::string output;
        int result = -1;
        const std::string printed =
            Capture([&] { result = m_Controller->LoadTables(chirpTable, tvgTable, correlationTable, &output, file); });
        auto named = [&](std::string text) {
            const size_t at = text.find("FILE");
            return at == std::string::npos ? text : text.replace(at, 4, file.toStdString());
        };
        EXPECT_EQ(result, c.result) << c.name;
        EXPECT_EQ(Flat(chirpTable), c.chirp) << c.name;
        EXPECT_EQ(Flat(tvgTable), c.tvg) << c.name;
        EXPECT_EQ(Flat(correlationTable), c.correlation) << c.name;
        EXPECT_EQ(output, named(c.output)) << c.name;
        EXPECT_EQ(printed, named(c.printed)) << c.name;
    }
}

// The failures LoadTables cannot reach: a header without a line break.
TEST_F(TableFilesTest, SizeAndDataDelimiters)
{
    const QString header = "H: ";
    int size = -1;
    EXPECT_EQ(Capture([&] { size = m_Controller->GetSize("x\nH: 12\n", header); }), "");
    EXPECT_EQ(size, 12);
    EXPECT_EQ(Capture([&] { size = m_Controller->GetSize("x\nH: 12", header); }),
              "ERROR: Size Delimiter not found.\nSize Delimiter: \"H: \"\n");
    EXPECT_EQ(size, 0);

    QList<QString> parts;
    EXPECT_EQ(Capture([&] { parts = m_Controller->GetPairs("END\nH: 1", header, "END"); }), "ERROR: Data not found.\n");
    EXPECT_TRUE(parts.isEmpty());
    EXPECT_EQ(Capture([&] { parts = m_Controller->GetPairs("H: 1\n0x1 ,\n 2,\nEND", header, "END"); }), "");
    EXPECT_EQ(parts, QList<QString>({"1", "2"}));
}
