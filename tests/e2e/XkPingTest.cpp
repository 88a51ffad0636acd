#include "KeptUnit.h"
#include "SonarOutput.h"

#include <gtest/gtest.h>

#include <algorithm>

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
    static const std::string table =
        Edited(Edited(ReadHostFile(SONARBENCH_TABLE_EXAMPLE), "Register( 2)", "Register( 222)"), "Receive( 1000)",
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
    return std::string(channel) +
           "Element: 1 Centre Freq: 150 & RxBand: PingConfigRxBand_HF\n\nSamples: " + std::to_string(samples) +
           " Buffer Bytes: " + std::to_string(samples * 2) + "\n";
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
    const CKeptUnit unit;
    const std::string& dir = unit.Dir();
    Ran_T ran = {SplitSampleBlocks(RunOnUnit({profile, options, args, dir}).out), Trace(dir)};
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
    // The whole conversation with the FPGA, in the order of the table file:
    // the two command writes, each with the output-to-log register 0x18;
    // filter byte 0xde, ADC code 2, 512 samples as 32 blocks of 16, sub-sample
    // rate 4 and mode 2, threshold 300, boost 1, the chirp table after its
    // size (2), the TVG table after its size (3), divisor 8, selection 1,
    // scaling 3, the centre frequency's word, the correlation table in
    // 5,049-byte packets, down-shift 2, scaling 1, then command 3 (element 1,
    // ping); the whole FIFO read, and status 4.
    EXPECT_EQ(ql4k.trace,
              "LSfpga0 shell: cat /corvane/Application/QuenlorSounder/FPGAFirmware/QL4K_5K_A2_* > /dev/LSfpga0\n"
              "LSfpga0 firmware 15 bytes: cor version 3.2\n"
              "LSfpga0 open\nLSfpga0 ioctl configure-spi\n"
              "LSfpga0 write 0x0000 [1] 00\nLSfpga0 write 0x0018 [1] 01\nLSfpga0 write 0x0000 [1] 02\n"
              "LSfpga0 write 0x0018 [1] 01\nLSfpga0 write 0x0000 [1] 02\nLSfpga0 write 0x0012 [1] de\n"
              "LSfpga0 write 0x0004 [1] 02\nLSfpga0 write 0x0010 [1] 20\nLSfpga0 write 0x0011 [1] 00\n"
              "LSfpga0 write 0x0034 [1] 04\nLSfpga0 write 0x0035 [1] 02\nLSfpga0 write 0x0038 [2] 2c 01\n"
              "LSfpga0 write 0x0008 [1] 01\nLSfpga0 write 0x0200 [1] 02\nLSfpga0 write 0x0201 [1] 00\n"
              "LSfpga0 write block 0x4000 [8] 10 00 00 02 11 00 01 02\n"
              "LSfpga0 write 0x0100 [1] 03\nLSfpga0 write 0x0101 [1] 00\n"
              "LSfpga0 write block 0x3000 [6] 0a 14 1e 28 32 3c\n"
              "LSfpga0 write 0x0026 [1] 08\nLSfpga0 write 0x0024 [1] 01\nLSfpga0 write 0x0025 [1] 03\n"
              "LSfpga0 write 0x0020 [1] 28\nLSfpga0 write 0x0021 [1] 32\nLSfpga0 write 0x0022 [1] 0e\n"
              "LSfpga0 write 0x0023 [1] 00\nLSfpga0 write 0x0030 [1] 07\n"
              "LSfpga0 write block 0x8000 [5049] f4 ff 07 00 05 00 fd ff ... (5049 bytes)\n"
              "LSfpga0 write block 0x93b9 [5049] 00 00 00 00 00 00 00 00 ... (5049 bytes)\n"
              "LSfpga0 write block 0xa772 [5049] 00 00 00 00 00 00 00 00 ... (5049 bytes)\n"
              "LSfpga0 write block 0xbb2b [1237] 00 00 00 00 00 00 00 00 ... (1237 bytes)\n"
              "LSfpga0 write 0x0033 [1] 02\nLSfpga0 write 0x0032 [1] 01\nLSfpga0 write 0x0000 [1] 03\n"
              "LSfpga0 ping 1: 512 samples, bottom at sample 61\n"
              "LSfpga0 ioctl start-ping-read {0x5343, 0x0050, 0, 1, 1}\n"
              "LSfpga0 ping read 1024 bytes at 0x0050, FIFO held 1024: f7 00 e1 00 c8 00 c1 00 ... (1024 bytes)\n"
              "LSfpga0 ioctl end-ping-read\nLSfpga0 read 0x0052 [1] -> 04 sum 04\n");

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
    EXPECT_EQ(ql6m.output.text, "cat /corvane/Application/QuenlorSounder/FPGAFirmware/QL6M_A4* > /dev/LSfpga0\n" +
                                    c_Block + "\n" + Lines(512, "Channel: 1 ") +
                                    Passed(ql6mArgs, c_Loading + c_FpgaNotice));
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
                  Failed(missing,
                         "ERROR: Product not supported.\n" + c_Loading + "ERROR: Use only for xK derivitives.\n",
                         "Varrow\n"));
}

// Every fault the launcher accepts shows somewhere a person looks: in the
// report, or on a line of the trace that names the fault.
TEST(Faults, EachShowsOnACommandOfItsFamily)
{
    const std::vector<std::string> xk = {"xkping", "/tmp/t.txt", "0", "4"};
    const std::vector<std::string> lumet = {"lumetping", "200long"};
    const std::vector<std::string> ping = {"ping", "200000", "210000", "27", "45", "0", "medium"};
    const std::vector<std::string> load = {"loadfpgabinary"};
    const std::string pk = "/dev/LSfpga0 lowscan-spi flash=1.2 adc=1000,1000,5";
    const std::string table = UnitFile("/tmp/t.txt", Table());
    const std::vector<std::string> pkEnv = {"PRODUCT_ID=Nx", "FPGA_CHANNEL_0_COMMS=/dev/LSfpga0"};
    const struct
    {
        const char* profile;
        std::vector<std::string> options;
        std::vector<std::string> args;
        std::string shown;  // in the report, or in the trace when the report is unchanged
        bool traceOnly;
    } cases[] = {
        {"ql4k", {"--fault", "no-reply"}, load, "Firmware Version: 255.0\n", false},
        {"ql4k",
         {"--file", table, "--fault", "bad-checksum"},
         xk,
         "read 0x0052 [1] -> 04 sum 05 (wrong: fault)\n",
         true},
        {"ql4k",
         {"--file", table, "--fault", "fifo-status"},
         xk,
         "LSfpga0 ioctl end-ping-read\nLSfpga0 read 0x0052 [1] -> 05 sum 05\n"
         "LSfpga0 FIFO status 5 instead of 4 (fault)\nLSfpga0 write 0x0051 [1] 02\nLSfpga0 FIFO cleared\n",
         true},
        {"ql4k", {"--file", table, "--fault", "short-ping"}, xk, "ERROR: Get ping failed with error code: 0.\n", false},
        {"lumetv2", {"--fault", "no-reply"}, lumet, "Firmware Version: 255.0\n", false},
        {"lumetv2", {"--fault", "bad-checksum"}, lumet, " (wrong: fault)\n", true},
        {"lumetv2", {"--fault", "short-ping"}, lumet, std::string(1536, '0') + "<EndSonarFPGAData>", false},
        {"lumetv2", {"--fault", "version0"}, load, "Firmware Version: 0.0\n", false},
        {"varrow", {"--fault", "short-ping"}, ping, "return value: -171\n", false},
        {"varrow", {"--fault", "version0"}, load, "Firmware Version: 0.4\n", false},
        {"none",
         {"--device", "/dev/LSfpga0", "--fpga", pk + " fault=no-reply"},
         {"watertemperature"},
         "ERROR: Failed to get version.\n",
         false},
        {"none", {"--device", "/dev/LSfpga0", "--fpga", pk + " fault=short-ping"}, ping, "return value: -171\n", false},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.options.back() + " on " + c.profile);
        std::vector<std::string> clean = c.options;
        clean.erase(clean.end() - 2, clean.end());
        if (c.options[c.options.size() - 2] == "--fpga")
            clean.insert(clean.end(), {"--fpga", pk});
        const std::vector<std::string> env = c.profile == std::string("none") ? pkEnv : std::vector<std::string>();
        const CKeptUnit unit;
        const std::string& dir = unit.Dir();
        const std::string out = RunOnUnit({c.profile, c.options, c.args, dir}, env).out;
        const std::string trace = Trace(dir);
        const std::string expected = RunOnUnit({c.profile, clean, c.args, ""}, env).out;
        if (c.traceOnly)
            EXPECT_EQ(SplitSampleBlocks(out).text, SplitSampleBlocks(expected).text);
        else
            EXPECT_NE(out, expected);
        EXPECT_NE((c.traceOnly ? trace : out).find(c.shown), std::string::npos) << out << trace;
    }

    // A whole ping read leaves the FIFO idle: status 4, nothing cleared.
    const Ran_T clean = RunTable("ql4k", Table(), xk);
    const std::string tail = "LSfpga0 ioctl end-ping-read\nLSfpga0 read 0x0052 [1] -> 04 sum 04\n";
    EXPECT_EQ(clean.trace.substr(clean.trace.size() - std::min(clean.trace.size(), tail.size())), tail);
    EXPECT_EQ(clean.trace.find("0x0051"), std::string::npos);
    EXPECT_EQ(RunTable("ql4k", Table(), xk, {"--fault", "short-ping"}).output.text,
              c_Load + Passed(xk, c_Loading + c_FpgaNotice + "ERROR: Get ping failed with error code: 0.\n"));
}
