// The library's FPGA transports against the simulated FPGAs, through the
// real device paths of virtual units (the device shim preloaded), and the
// launcher's views of a unit.
#include "UnitRunner.h"

#include <gtest/gtest.h>


namespace
{
struct Run_T
{
    RunResult_T result;
    std::string trace;
};

Run_T Smoke(const std::string& profile, const std::string& family, std::vector<std::string> options = {},
            const std::string& extra = std::string())
{
    UnitRun_T run{profile, options, {"--run", FPGA_SMOKE, family}, MakeUnitDir()};
    if (!extra.empty())
        run.args.push_back(extra);
    Run_T out;
    out.result = RunOnUnit(run);
    out.trace = ReadHostFile(run.unitDir + "/root/vunit/fpga.trace");
    RemoveTree(run.unitDir);
    return out;
}

bool Has(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}
}

// What the sonarbench commands do not reach: the whole 32-bit Cor read-back
// (the FIFO then idles), the Nr ADC read-back and the UART transport's own
// time-out. The commands' end-to-end tests cover the rest.
TEST(FpgaUnit, TransportPathsTheCommandsLeaveOut)
{
    const struct
    {
        const char* profile;
        const char* family;
        std::vector<std::string> options;
        const char* out;    // what the program saw
        const char* trace;  // what the FPGA saw
    } cases[] = {
        {"ql4k", "cor", {}, "getping 4096", "FIFO held 4096: f7 00 00 00 eb 00 00 00 ... (4096 bytes)\n"
                                            "LSfpga0 ioctl end-ping-read\nLSfpga0 read 0x0052 [1] -> 04 sum 04\n"},
        {"nr1", "nr", {}, "watertemp 0 0x1a2b3c", "LSfpga0 read block 0x0084 [3] -> 3c 2b 1a"},
        {"varrow", "lowscan", {"--fault", "no-reply"}, "version 255.255 result -171", "ttyO1 no reply (fault)"},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.profile);
        const Run_T run = Smoke(c.profile, c.family, c.options);
        EXPECT_EQ(0, run.result.status) << run.result.err;
        EXPECT_TRUE(Has(run.result.out, c.out)) << run.result.out;
        EXPECT_TRUE(Has(run.trace, c.trace)) << run.trace;
        EXPECT_FALSE(Has(run.trace, "TRIPWIRE")) << run.trace;
    }
}

TEST(FpgaUnit, TripwireCatchesDataThatBypassesTheShim)
{
    const Run_T run = Smoke("ql4k", "cor", {}, "bypass");
    EXPECT_TRUE(Has(run.result.out, "bypass 5")) << run.result.out;
    EXPECT_TRUE(Has(run.trace, "LSfpga0 TRIPWIRE: 5 bytes reached the node without passing the shim")) << run.trace;
}

TEST(FpgaUnit, WithoutTheShimTheNodesArePlainFiles)
{
    const Run_T run = Smoke("ql4k", "cor", {"--no-shim"});
    EXPECT_TRUE(run.trace.empty()) << run.trace;
    EXPECT_FALSE(Has(run.result.out, "version 3.0")) << run.result.out;
}

TEST(Launcher, ListsEveryProductProfile)
{
    const RunResult_T list = RunOnUnit(UnitRun_T{"--list", {}, {}, ""});
    EXPECT_TRUE(Has(list.out, "ql4k         QL4K sounder module: QL3B board, Cor FPGA over SPI (code 17)\n"));
    EXPECT_TRUE(Has(list.out, "varrow       Varrow fish-finder, Lowscan FPGA over UART (code 11)\n"));
    EXPECT_FALSE(Has(list.out, "_base"));
    EXPECT_TRUE(Has(list.out, "hz05         Display HZ05 driving the SKD sounder over SPI (code 9)\n"));
}

TEST(Launcher, DescribesWhatAUnitHolds)
{
    const RunResult_T ql6m = RunOnUnit(UnitRun_T{"ql6m", {"--describe"}, {}, ""});
    EXPECT_EQ(0, ql6m.status);
    for (const char* line :
         {"ql6m: QL6M sounder module: QL3B board, two Cor FPGAs over SPI (code 19)\n",
          "file   /sys/devices/platform/varrow/product_id QL3B\\n\n", "device /dev/LSfpga1\n",
          "dir    /corvane/Application/QuenlorSounder/FPGAFirmware\n",
          "file   /corvane/Application/QuenlorSounder/FPGAFirmware/QL6M_A4_0401.bin VUFPGA\\scor\\s4.1\\n\n",
          "fpga   /dev/LSfpga1 cor seed=7 depth=40 transducer=0x28 follow=/dev/LSfpga0\n"})
        EXPECT_TRUE(Has(ql6m.out, line)) << line << "\n" << ql6m.out;

    // Amendments and faults show as they would be run; displays get no FPGA.
    const RunResult_T amended =
        RunOnUnit(UnitRun_T{"nr2", {"--remove", "/corvane/Application/FPGAFirmware", "--fault", "no-reply",
                                    "--describe"}, {}, ""});
    EXPECT_FALSE(Has(amended.out, "FPGAFirmware")) << amended.out;
    EXPECT_TRUE(Has(amended.out, "fpga   /dev/LSfpga0 lumet seed=22 depth=15 adc=0x400000,0x1a2b3c,0x0abcde "
                                 "fault=no-reply\n")) << amended.out;
    const RunResult_T display = RunOnUnit(UnitRun_T{"hz05", {"--describe"}, {}, ""});
    EXPECT_FALSE(Has(display.out, "fpga ")) << display.out;

    const RunResult_T wrong = RunOnUnit(UnitRun_T{"ql4k", {"--fpga", "/dev/LSfpga0 cor fault=melted", "--describe"},
                                                  {}, ""});
    EXPECT_EQ(2, wrong.status);
    EXPECT_TRUE(Has(wrong.err, "bad FPGA option 'fault=melted'")) << wrong.err;
}
