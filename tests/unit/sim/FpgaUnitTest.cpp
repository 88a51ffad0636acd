// The library's FPGA transports against the simulated FPGAs, through the
// real device paths of virtual units (the device shim preloaded), and the
// launcher's views of a unit.
#include "UnitRunner.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>

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

// Lines of `text` that contain `part`, in order.
size_t Count(const std::string& text, const std::string& part)
{
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++n;
    return n;
}
}

TEST(FpgaUnit, EachFamilyLoadsConfiguresPingsAndReads)
{
    struct Case_T
    {
        const char* profile;
        const char* family;
        const char* version;    // from the image in the unit's firmware folder
        unsigned int samples, depth;
        std::vector<std::string> trace;  // in this order
    } cases[] = {
        {"ql4k", "cor", "version 3.0 result 0", 1024, 12,
         {"LSfpga0 firmware 15 bytes: cor version 3.2", "LSfpga0 ioctl configure-spi",
          "LSfpga0 read 0x0002 [1] -> 03 sum 03", "LSfpga0 write 0x0010 [1] 40", "LSfpga0 write 0x0000 [1] 01",
          "LSfpga0 ping 1: 1024 samples, bottom at sample 122",
          "LSfpga0 ioctl start-ping-read {0x5343, 0x0050, 0, 1, 1}", "LSfpga0 ping read 4096 bytes at 0x0050",
          "LSfpga0 ioctl end-ping-read", "LSfpga0 read 0x0052 [1] -> 04"}},
        {"lumetv2", "lumet", "version 2.0 result 0", 1024, 8,
         {"LSfpga0 firmware 2 bytes, not a lumet image", "LSfpga0 firmware 17 bytes: lumet version 2.5",
          "LSfpga0 read 0x0002 [1] -> 02", "LSfpga0 write 0x4010 [1] 40", "LSfpga0 write 0x4012 [1] 05",
          "LSfpga0 write 0x0000 [1] 01", "LSfpga0 ping 1 channel 0: 1024 samples",
          "LSfpga0 ioctl start-ping-read {0x5343, 0x4050, 0, 1, 1}", "LSfpga0 ping read 1024 bytes at 0x4050",
          "LSfpga0 read 0x4052 [1] -> 04"}},
        {"nr1", "nr", "version 3.0 result 0", 1024, 15,
         {"LSfpga0 firmware 17 bytes: lumet version 3.1", "LSfpga0 read block 0x0084 [3] -> 3c 2b 1a",
          "LSfpga0 ping read 1024 bytes at 0x4050"}},
        {"varrow", "lowscan", "version 1.4 result 0", 512, 10,
         {"ttyO1 register 1 = 0x00000003 (command)", "ttyO1 version reply 1.4, 1024 bytes",
          "ttyO1 register 37 = 0x00000200 (sampling B ch0)", "ttyO1 register 34 = 0x000000a0 (gain ch0)",
          "ttyO1 register 65 = 0x00000000 (boost)", "ttyO1 register 1 = 0x00000001 (command)",
          "ttyO1 ping 1 channel 0: 512 samples, bottom at sample 51, packet 531 bytes"}},
    };
    for (const Case_T& c : cases)
    {
        SCOPED_TRACE(c.profile);
        const Run_T run = Smoke(c.profile, c.family);
        EXPECT_EQ(0, run.result.status) << run.result.err;
        const std::string& out = run.result.out;
        EXPECT_TRUE(Has(out, c.version)) << out;
        EXPECT_EQ(0u, Count(out, "shell ") - Count(out, "shell 0")) << out;
        EXPECT_TRUE(Has(out, "configure 0") && !Has(out, "-10")) << out;
        EXPECT_TRUE(Has(out, "ping 0\n")) << out;
        std::ostringstream samples;
        samples << "samples " << c.samples << " bottom " << c.samples * c.depth / 100 << " first ";
        EXPECT_TRUE(Has(out, samples.str())) << out;
        unsigned int first = 0;
        ASSERT_EQ(1, sscanf(out.c_str() + out.find(" first ") + 7, "%u", &first));
        EXPECT_GT(first, 200u) << "transmit bang";
        size_t at = 0;
        for (const std::string& line : c.trace)
        {
            const size_t found = run.trace.find(line, at);
            EXPECT_NE(std::string::npos, found) << "missing or out of order: " << line << "\n" << run.trace;
            at = found == std::string::npos ? at : found;
        }
        EXPECT_FALSE(Has(run.trace, "TRIPWIRE")) << run.trace;
        EXPECT_FALSE(Has(run.trace, "unknown")) << run.trace;
    }
}

TEST(FpgaUnit, FaultsReachTheProgram)
{
    struct Case_T
    {
        const char* profile;
        const char* family;
        const char* fault;
        const char* out;    // what the program saw
        const char* trace;  // what the FPGA saw
    } cases[] = {
        {"ql4k", "cor", "version0", "version 0.0 result 0", "read 0x0002 [1] -> 00"},
        // The request went out, so the transport keeps its preset byte and reports success.
        {"ql4k", "cor", "no-reply", "version 255.0 result 0", "read 0x0002 [1]: no reply (fault)"},
        // The transport answers a FIFO left in a wrong state by clearing it.
        {"ql4k", "cor", "fifo-status", "getping 4096", "read 0x0052 [1] -> 05 sum 05\nLSfpga0 write 0x0051 [1] 02\n"
                                                        "LSfpga0 FIFO cleared"},
        {"ql5k", "cor", "bad-checksum", "version 3.0 result 0", "-> 03 sum 04 (wrong: fault)"},
        {"lumetv2", "lumet", "short-ping", "samples 1024", "(short: fault)"},
        {"varrow", "lowscan", "short-ping", "getping -171", "only 265 sent (fault)"},
        {"varrow", "lowscan", "no-reply", "version 255.255 result -171", "ttyO1 no reply (fault)"},
    };
    for (const Case_T& c : cases)
    {
        SCOPED_TRACE(std::string(c.profile) + " " + c.fault);
        const Run_T run = Smoke(c.profile, c.family, {"--fault", c.fault});
        EXPECT_TRUE(Has(run.result.out, c.out)) << run.result.out;
        EXPECT_TRUE(Has(run.trace, c.trace)) << run.trace;
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
