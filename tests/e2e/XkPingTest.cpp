#include "SonarOutput.h"

#include <gtest/gtest.h>

namespace
{
const std::string c_Load = "cat /corvane/Application/QuenlorSounder/FPGAFirmware/QL4K_5K_A2_* > /dev/LSfpga0\n";
const std::string c_Loading = "Loading FPGA...\n";

std::string Edited(std::string text, const std::string& from, const std::string& to)
{
    const size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    if (at != std::string::npos)
        text.replace(at, from.size(), to);
    return text;
}

// The configuration log example the fuzzer seeds from, with a channel filter
// byte and a sample count the xK FPGA takes.
const std::string& Table()
{
    static const std::string table = Edited(
        Edited(ReadHostFile(SONARBENCH_TABLE_EXAMPLE), "Register( 2)", "Register( 222)"), "Receive( 1000)",
        "Receive( 512)");
    return table;
}

std::string Crlf(const std::string& text)
{
    std::string out;
    for (char c : text)
        out += c == '\n' ? std::string("\r\n") : std::string(1, c);
    return out;
}

std::string Lines(unsigned int samples, const char* channel = "")
{
    return std::string(channel) + "Element: 1 Centre Freq: 150 & RxBand: PingConfigRxBand_HF\n\nSamples: " +
           std::to_string(samples) + " Buffer Bytes: " + std::to_string(samples * 2) + "\n";
}

struct Ran_T
{
    SplitOutput_T output;
    std::string trace;
};

Ran_T RunTable(const std::string& profile, const std::string& table, const std::vector<std::string>& args,
               const std::vector<std::string>& extra = {})
{
    std::vector<std::string> options = {"--file", UnitFile("/tmp/t.txt", table)};
    options.insert(options.end(), extra.begin(), extra.end());
    const std::string dir = MakeUnitDir();
    Ran_T ran = {SplitSampleBlocks(RunOnUnit({profile, options, args, dir}).out), Trace(dir)};
    RemoveTree(dir);
    return ran;
}
}

TEST(XkPing, PingsFromATableFileOnTheXkModules)
{
    const std::vector<std::string> args = {"xkping", "/tmp/t.txt", "0", "5"};
    const Ran_T ql4k = RunTable("ql4k", Table(), args);
    EXPECT_EQ(ql4k.output.text, c_Load + c_Block + "\n" + Lines(512) + Passed(args, c_Loading + c_FpgaNotice));
    ASSERT_EQ(ql4k.output.blocks.size(), 1u);
    // 5 does not divide 512: every 4th sample, and a comma after the last.
    EXPECT_EQ(BlockValues(ql4k.output.blocks[0]).size(), 128u);
    EXPECT_EQ(ql4k.output.blocks[0].back(), ',');
    for (const char* line : {"write 0x0012 [1] de", "write 0x0004 [1] 02", "write 0x0008 [1] 01",
                             "write block 0x4000 [8] 10 00 00 02 11 00 01 02", "write block 0x3000 [6] 0a 14 1e 28",
                             "write 0x0032 [1] 01", "write 0x0000 [1] 03"})
        EXPECT_NE(ql4k.trace.find(line), std::string::npos) << line;

    // CRLF line ends and another channel change nothing on a QL4K.
    const Ran_T crlf = RunTable("ql4k", Crlf(Table()), {"xkping", "/tmp/t.txt", "7", "5"});
    EXPECT_EQ(crlf.output.blocks, ql4k.output.blocks);
    EXPECT_EQ(crlf.trace, ql4k.trace);

    const std::vector<std::string> every = {"xkping", "/tmp/t.txt", "0", "0"};
    const Ran_T ql5k = RunTable("ql5k", Table(), every);
    ASSERT_EQ(ql5k.output.blocks.size(), 1u);
    EXPECT_EQ(BlockValues(ql5k.output.blocks[0]).size(), 512u);
    EXPECT_NE(ql5k.output.blocks[0].back(), ',');

    // QL6M: the channel picks the element's FPGA (crossed over) and the band
    // goes to the filter selection instead of the channel filter register.
    const std::vector<std::string> ql6mArgs = {"xkping", "/tmp/t.txt", "1", "256"};
    const Ran_T ql6m = RunTable("ql6m", Table(), ql6mArgs);
    EXPECT_EQ(ql6m.output.text,
              "cat /corvane/Application/QuenlorSounder/FPGAFirmware/QL6M_A4* > /dev/LSfpga0\n" + c_Block + "\n" +
                  Lines(512, "Channel: 1 ") + Passed(ql6mArgs, c_Loading + c_FpgaNotice));
    EXPECT_NE(ql6m.trace.find("LSfpga0 write 0x0012 [1] 00\nLSfpga0 write 0x0000 [1] 02\nLSfpga0 write 0x0004 [1] 03"),
              std::string::npos);
    EXPECT_EQ(ql6m.trace.find("LSfpga1 write"), std::string::npos);
    EXPECT_NE(RunTable("ql6m", Table(), {"xkping", "/tmp/t.txt", "0", "256"}).trace.find("LSfpga1 write 0x0000 [1] 03"),
              std::string::npos);
}

TEST(XkPing, TableFileVariations)
{
    const std::vector<std::string> args = {"xkping", "/tmp/t.txt", "0", "5"};
    const struct
    {
        const char* name;
        std::string table;
        std::string expected;
    } failures[] = {
        {"filter byte 254", Edited(Table(), "( 222)", "( 254)"),
         c_Load + Failed(args, c_Loading + c_FpgaNotice + "ERROR: No valid channel filter byte: 254.\n", "QL3B\n")},
        {"size mismatch", Edited(Table(), "30, 40\n50, 60", "30, 40\n50"),
         c_Load + "ERROR: Expected size (3) does not match actual size (5)\n" +
             Failed(args, c_Loading + "ERROR: Failed to read TVG Table .\n", "QL3B\n")},
        {"missing end key", Edited(Table(), "FpgaInterface->SetCorralationDownShift", "SetCorralationDownShift"),
         c_Load +
             "ERROR: Start/End Delimiter not found.\n"
             "Start Delimiter: \"FpgaInterface->SetCorrelationFilter Details size \"\n"
             "End Delimiter: \"FpgaInterface->SetCorralationDownShift(\"\n" +
             Failed(args, c_Loading + "ERROR: Failed to read Correlation Filter.\n", "QL3B\n")},
        {"empty file", "", c_Load + Failed(args, c_Loading + "ERROR: Ensure file exists: /tmp/t.txt \n", "QL3B\n")},
    };
    for (const auto& c : failures)
    {
        const Ran_T ran = RunTable("ql4k", c.table, args);
        EXPECT_EQ(ran.output.text, c.expected) << c.name;
        EXPECT_EQ(ran.trace.find("ping 1"), std::string::npos) << c.name;
    }

    // Values the file spells loosely reach the FPGA as the reader takes them.
    const struct
    {
        const char* name;
        std::string table;
        const char* written;
    } loose[] = {
        {"no blank after the parenthesis", Edited(Table(), "Level( 1)", "Level(5)"), "write 0x0008 [1] 00"},
        {"two blanks", Edited(Table(), "Level( 1)", "Level(  15 )"), "write 0x0008 [1] 0f"},
        {"single scaling line", Edited(Table(), "  FpgaInterface->SetCorralationScaling( 1);\n", ""),
         "write 0x0032 [1] ff"},
        {"chirp without 0x", Edited(Table(), "0x0010, 0x0200", "10, 200"), "write block 0x4000 [8] 10 00 00 02"},
    };
    for (const auto& c : loose)
    {
        const Ran_T ran = RunTable("ql4k", c.table, args);
        EXPECT_NE(ran.trace.find(c.written), std::string::npos) << c.name;
        EXPECT_EQ(ran.output.blocks.size(), 1u) << c.name;
    }

    const std::vector<std::string> missing = {"xkping", "nofile.txt", "0", "5"};
    EXPECT_EQ(RunOnUnit({"ql4k", {}, missing, ""}).out,
              c_Load + "ERROR: Failed to open file:\nnofile.txt" +
                  Failed(missing, c_Loading + "ERROR: Ensure file exists: nofile.txt \n", "QL3B\n"));
    EXPECT_EQ(RunOnUnit({"varrow", {}, missing, ""}).out,
              "cat /corvane/Application/FPGAFirmware/ > /dev/LSfpga0\n" +
                  Failed(missing, "ERROR: Product not supported.\n" + c_Loading + "ERROR: Use only for xK derivitives.\n",
                         "Varrow\n"));
}

TEST(XkPing, FaultsOfTheSimulatedFpga)
{
    const std::vector<std::string> args = {"xkping", "/tmp/t.txt", "0", "4"};
    const Ran_T clean = RunTable("ql4k", Table(), args);
    for (const char* fault : {"bad-checksum", "fifo-status", "no-interrupt"})
    {
        const Ran_T ran = RunTable("ql4k", Table(), args, {"--fault", fault});
        EXPECT_EQ(ran.output.text, clean.output.text) << fault;
        EXPECT_EQ(ran.output.blocks, clean.output.blocks) << fault;
    }
    EXPECT_NE(RunTable("ql4k", Table(), args, {"--fault", "fifo-status"}).trace.find("FIFO cleared"),
              std::string::npos);

    // A short read is reported, yet the run passes and shows no block.
    EXPECT_EQ(RunTable("ql4k", Table(), args, {"--fault", "short-ping"}).output.text,
              c_Load + Passed(args, c_Loading + c_FpgaNotice + "ERROR: Get ping failed with error code: 0.\n"));
}
