#include "KeptUnit.h"
#include "SonarOutput.h"

#include <gtest/gtest.h>

#include <csignal>

namespace
{
const std::string c_Folder = "/corvane/Application/FPGAFirmware";

std::string Parameters(int ch0, int ch1, int decimation)
{
    return "\nParameters:\nCh0Period = " + std::to_string(ch0) + "; Ch1Period = " + std::to_string(ch1) +
           " ; Start freq = 200000.000000; End freq = 210000.000000; Decimation rate = " + std::to_string(decimation) +
           " ; Samples = 993\n";
}

// Three digits a sample, nothing else; the echo's transmit bang comes first.
void ExpectThreeDigitBlock(const std::string& block, size_t samples, const std::string& name)
{
    EXPECT_EQ(block.size(), 3 * samples) << name;
    EXPECT_EQ(block.find_first_not_of("0123456789"), std::string::npos) << name;
    EXPECT_GT(std::stoi(block.substr(0, 3)), 200) << name;
}

// Every register frame a ping sends on ttyO1, from the frame layout: the
// version request, each channel's pulse, sampling and gains, the analogue
// gain, the boost with its enable bit, and the ping command. 200000 to
// 210000 Hz gives start word 2757 (0x0ac5) and, at period 45, sweep rate 392
// (0x188); a period of 0 divides by zero and the rate saturates.
std::string UartRegisters(unsigned ch0Period, unsigned ch1Period, unsigned samplingA, unsigned gain)
{
    const auto pulseA = [](unsigned period) { return period ? 0x01880ac5u : 0xffff0ac5u; };
    const unsigned registers[][2] = {{1, 3},
                                     {17, pulseA(ch0Period)},
                                     {18, ch0Period << 16},
                                     {33, samplingA},
                                     {37, 993},
                                     {34, 0},
                                     {35, 0x400},
                                     {25, pulseA(ch1Period)},
                                     {26, ch1Period << 16},
                                     {41, samplingA},
                                     {45, 993},
                                     {42, 0},
                                     {43, 0x400},
                                     {66, gain},
                                     {65, 0x800000b5},
                                     {1, 1}};
    std::string text;
    for (const auto& r : registers)
    {
        char line[64];
        snprintf(line, sizeof line, "ttyO1 register %u = 0x%08x\n", r[0], r[1]);
        text += line;
    }
    return text;
}

// The register lines of a trace without their names.
std::string RegisterLines(const std::string& trace)
{
    std::string text;
    for (size_t at = trace.find("ttyO1 register "); at != std::string::npos; at = trace.find("ttyO1 register ", at + 1))
        text += trace.substr(at, trace.find(" (", at) - at) + "\n";
    return text;
}

std::string Attempt(int channel)
{
    return channel == 0 ? "Attempting ping on channel 0 (Sonar) at start frequency of: 12098499\n"
                        : "Attempting ping on channel 1 (Lowscan) at start frequency of: 21172373\n";
}
}

TEST(Ping, TwoChannelPingOnTheUartProducts)
{
    const struct
    {
        const char* profile;
        std::vector<std::string> args;
        std::string preamble;
        std::string parameters;
        std::string registers;  // what the FPGA received
    } cases[] = {
        {"varrow",
         {"ping", "200000", "210000", "27", "45", "0", "medium"},
         "",
         Parameters(45, 0, 76),
         UartRegisters(45, 0, 0x004c0001, 10)},
        {"varrowx",
         {"ping", "200000", "210000", "27", "45", "1", "HIGH"},
         "",
         Parameters(0, 45, 76),
         UartRegisters(0, 45, 0x004c0001, 0)},
        {"ql1a",
         {"ping", "200000", "210000", "54", "45", "0", "low"},
         c_QLSounderStopped,
         Parameters(45, 0, 152),
         UartRegisters(45, 0, 0x00980001, 20)},
        // A depth of -1 reads as 4294967295: the rate saturates as on the unit.
        {"varrow",
         {"ping", "200000", "210000", "-1", "45", "1", "low"},
         "",
         Parameters(0, 45, -1),
         UartRegisters(0, 45, 0xffff0001, 20)},
    };
    for (const auto& c : cases)
    {
        const CKeptUnit unit;
        const std::string& dir = unit.Dir();
        const SplitOutput_T run = SplitSampleBlocks(RunOnUnit({c.profile, {}, c.args, dir}).out);
        EXPECT_EQ(run.text, c.preamble + "3\n" + c_FpgaNotice + c.parameters + c_Block + "\n" +
                                Passed(c.args, "Firmware Version: 1.4\n"))
            << c.profile;
        ASSERT_EQ(run.blocks.size(), 1u) << c.profile;
        ExpectThreeDigitBlock(run.blocks[0], 993, c.profile);
        EXPECT_EQ(RegisterLines(Trace(dir)), c.registers) << c.profile;
    }
}

TEST(Ping, RefusalsAndFailures)
{
    const std::vector<std::string> args = {"ping", "200000", "210000", "27", "45", "0", "medium"};
    const std::string refused = "ERROR: Do not use ping for Lumet or New QL derivitives. Use lumetping instead.\n";
    for (const char* profile : {"ql4k", "ql6m", "lumetv1", "lumetv2", "lumetv5"})
        EXPECT_EQ(RunOnUnit({profile, {}, args, ""}).out.find("3\n" + ReportHeader(CommandLine(args)) + refused), 0u)
            << profile;
    // LumetV3 is not refused; it has no FPGA interface, so the version read fails.
    EXPECT_EQ(RunOnUnit({"lumetv3", {}, args, ""}).out,
              c_UnknownProduct + "3\n" + c_FpgaNotice + Failed(args, "ERROR: Failed to get version.\n", "LumetV3\n"));
    EXPECT_EQ(RunOnUnit({"varrow", {"--fault", "no-reply"}, args, ""}).out,
              "3\n" + c_FpgaNotice + Failed(args, "ERROR: Failed to get version.\n", "Varrow\n"));

    // An Nr sounder whose firmware is in flash is not refused and reaches the
    // UART flush its SPI link lacks: the run aborts, yet what it printed
    // before has reached the station through the pipe.
    const RunResult_T nr = RunOnUnit({"nr1", {"--fpga", "/dev/LSfpga0 lumet flash=2.0"}, args, ""});
    EXPECT_EQ(nr.out, "3\n" + c_FpgaNotice);
    EXPECT_EQ(nr.status, 128 + SIGABRT);
    EXPECT_NE(nr.err.find("Assertion `pUart && \"Flush is only for UART products\"' failed."), std::string::npos)
        << nr.err;

    // A wrong channel still pings, on 255 with both periods, and fails.
    const std::vector<std::string> wrong = {"ping", "200000", "210000", "0", "45", "2", "Medium"};
    const CKeptUnit unit;
    const std::string& dir = unit.Dir();
    const SplitOutput_T run = SplitSampleBlocks(RunOnUnit({"varrow", {}, wrong, dir}).out);
    EXPECT_EQ(run.text, "3\n" + c_FpgaNotice + "Invalid channel Specified: 2\n" + Parameters(45, 45, 0) + c_Block +
                            "\n" + Failed(wrong, "Firmware Version: 1.4\nChannel must be 1 or 0.\n", "Varrow\n"));
    const std::string trace = Trace(dir);
    EXPECT_NE(trace.find("register 66 = 0x00000000 (analogue gain)"), std::string::npos);  // "Medium" is no word
    // Both channels fire; channel 255 is read from the second port.
    EXPECT_NE(trace.find("ttyO1 ping 1 channel 0"), std::string::npos);
    EXPECT_NE(trace.find("ttyO3 ping channel 1 (fired on ttyO1)"), std::string::npos);
}

TEST(LumetPing, LongChirpPingsOnTheLumetFamily)
{
    const struct
    {
        const char* profile;
        const char* command;
        const char* frequency;
        std::string loaded;  // the loader's printed command, if it ran
        int channel;
    } cases[] = {
        {"lumetv1", "lumetping", "350long", "cat " + c_Folder + "/LumetLS* > /dev/LSfpga0\n", 1},
        {"lumetv2", "lumetping", "350long", "cat " + c_Folder + "/Lumet_FPGA* > /dev/LSfpga0\n", 1},
        {"lumetv2", "lowscanping", "200long", "cat " + c_Folder + "/Lumet_FPGA* > /dev/LSfpga0\n", 0},
        {"lumetv4", "lumetping", "350long", "", 1},
        {"nr1", "lumetping", "200long", "cat " + c_Folder + "/Pleq2_FPGA*.rbf > /dev/LSfpga0\n", 0},
    };
    for (const auto& c : cases)
    {
        const std::vector<std::string> args = {c.command, c.frequency};
        const CKeptUnit unit;
        const std::string& dir = unit.Dir();
        const SplitOutput_T run = SplitSampleBlocks(RunOnUnit({c.profile, {}, args, dir}).out);
        const std::string version = std::string("Firmware Version: ") + (c.profile[0] == 'n' ? "3.0\n" : "2.0\n");
        EXPECT_EQ(run.text,
                  c.loaded + c_Block + "\n" +
                      Passed(args, c_FpgaNotice +
                                       (c.profile == std::string("lumetv1") ? "Firmware Version: 1.0\n" : version) +
                                       Attempt(c.channel)))
            << c.profile << " " << c.frequency;
        ASSERT_EQ(run.blocks.size(), 1u);
        ExpectThreeDigitBlock(run.blocks[0], 1024, c.profile);
        // The setting's centre frequency, filter and burst length reach the
        // channel's block; the ping fires with its bit (3 channel 0, 5 channel 1).
        const std::string trace = Trace(dir);
        const char* const written[2][4] = {
            {"write 0x4020 [1] c3\nLSfpga0 write 0x4021 [1] 9b\nLSfpga0 write 0x4022 [1] b8",
             "write block 0x6000 [2048] 00 00 71 04 00 00 23 05", "write 0x4208 [1] cd", "write 0x0000 [1] 03"},
            {"write 0x8020 [1] 86\nLSfpga0 write 0x8021 [1] 6f\nLSfpga0 write 0x8022 [1] 44",
             "write block 0xa000 [2048] 00 00 7b 04 00 00 2e 05", "write 0x8208 [1] 67", "write 0x0000 [1] 05"}};
        for (const char* line : written[c.channel])
            EXPECT_NE(trace.find(line), std::string::npos) << c.profile << ": " << line;
        EXPECT_EQ(c.loaded.empty(), trace.find("shell:") == std::string::npos) << c.profile;
    }
}

TEST(LumetPing, RefusedSettingsAndProducts)
{
    const std::string v1Load = "cat " + c_Folder + "/LumetLS* > /dev/LSfpga0\n";
    const std::string v2Load = "cat " + c_Folder + "/Lumet_FPGA* > /dev/LSfpga0\n";
    const std::string unknown = "ERROR: Unknown frequency request.\n";
    const struct
    {
        const char* profile;
        std::vector<std::string> args;
        std::string expected;
    } cases[] = {
        {"lumetv1",
         {"lumetping", "200long"},
         v1Load + Failed({"lumetping", "200long"}, "ERROR: Channel 0 (Sonar) does not exist. Will not ping.\n",
                         "LumetV1\n")},
        {"lumetv2", {"lumetping", "200"}, v2Load + Failed({"lumetping", "200"}, unknown, "LumetV2\n")},
        {"lumetv2", {"lowscanping", "50long"}, v2Load + Failed({"lowscanping", "50long"}, unknown, "LumetV2\n")},
        {"lumetv2",
         {"lumetping", "200LONG"},
         Failed({"lumetping", "200LONG"}, "ERROR: Start freq must be 200, 350, 350long or 200long.", "LumetV2\n")},
        // No product identity, so no FPGA interface: the version read fails.
        {"tessfinv1",
         {"lumetping", "350long"},
         c_UnknownProduct + v2Load +
             Failed({"lumetping", "350long"},
                    c_FpgaNotice + "ERROR: Failed to get version.\nERROR: Failed to populate FPGA data.\n",
                    "TessfinV1\n")},
    };
    for (const auto& c : cases)
        EXPECT_EQ(RunOnUnit({c.profile, {}, c.args, ""}).out, c.expected) << c.profile << " " << c.args[1];

    // A blank FPGA (no firmware in flash, none loaded) is caught before any register is written.
    const std::vector<std::string> args = {"lumetping", "350long"};
    EXPECT_EQ(RunOnUnit({"lumetv2", {"--remove", c_Folder + "/Lumet_FPGA_0205.bin"}, args, ""}).out,
              v2Load + Failed(args,
                              c_FpgaNotice + "Firmware Version: 255.0\n"
                                             "ERROR: FW major version is suspicious. Ensure firmware has loaded.\n"
                                             "ERROR: Failed to populate FPGA data.\n",
                              "LumetV2\n"));
}
