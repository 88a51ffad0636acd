#include "KeptUnit.h"
#include "SonarOutput.h"

#include <gtest/gtest.h>

#include <chrono>

namespace
{
const std::string c_QLFolder = "/corvane/Application/QuenlorSounder/FPGAFirmware";
const std::string c_Folder = "/corvane/Application/FPGAFirmware";
const std::string c_Suspicious = "ERROR: FW major version is suspicious. Ensure firmware has loaded.\n";
const std::string c_UpgradeFailed = "ERROR: Failed to get version. FW upgrade failed.\n";

std::string LoadLine(const std::string& image)
{
    return "cat " + image + " > /dev/LSfpga0\n";
}

struct Firmware_T
{
    const char* profile;
    std::string image;     // what the loader's command names
    std::string preamble;  // printed while the controller sets up
    std::string version;   // what the version check appends
    bool passes;
    const char* platform;
};
}

// Every row of the product pattern table, and a product without one.
TEST(Firmware, EachProductLoadsItsOwnImageAndChecksTheVersion)
{
    const std::string noInterface = "ERROR: Failed to get version.\n" + c_UpgradeFailed;
    const Firmware_T products[] = {
        {"ql1a", c_QLFolder + "/QL1A*.bin", c_QLSounderStopped, "Firmware Version: 1.4\n", true, "QL1A\n"},
        {"ql2a", c_QLFolder + "/QL2A*.bin", c_QLSounderStopped, "Firmware Version: 1.4\n", true, "QL2A\n"},
        {"lumetv2", c_Folder + "/Lumet_FPGA*", "", "Firmware Version: 2.0\n", true, "LumetV2\n"},
        {"lumetv3", c_Folder + "/Lumet_FPGA*", c_UnknownProduct, noInterface, false, "LumetV3\n"},
        {"lumetv4", c_Folder + "/Lumet_FPGA*", "", "Firmware Version: 2.0\n", true, "LumetV4\n"},
        {"lumetv6", c_Folder + "/Lumet_FPGA*", "", "Firmware Version: 2.0\n", true, "LumetV6\n"},
        {"tessfinv1", c_Folder + "/Lumet_FPGA*", c_UnknownProduct, noInterface, false, "TessfinV1\n"},
        {"nr2", c_Folder + "/Pleq2_FPGA*.rbf", "", "Firmware Version: 3.0\n", true, "Nr2\n"},
        {"lumetv1", c_Folder + "/LumetLS*", "", "Firmware Version: 1.0\n", true, "LumetV1\n"},
        {"ql4k", c_QLFolder + "/QL4K_5K_A2_*", "", "Firmware Version: 3.0\n", true, "QL3B\n"},
        {"ql5k", c_QLFolder + "/QL4K_5K_A2_*", "", "Firmware Version: 3.0\n", true, "QL5K\n"},
        {"ql6m", c_QLFolder + "/QL6M_A4*", "", "Firmware Version: 4.0\n", true, "QL6M\n"},
    };
    const std::vector<std::string> args = {"loadfpgabinary"};
    for (const Firmware_T& product : products)
    {
        const CKeptUnit unit;
        const std::string& dir = unit.Dir();
        const RunResult_T run = RunOnUnit({product.profile, {}, args, dir});
        const std::string text = "Loading FPGA...\n" + c_FpgaNotice + product.version;
        EXPECT_EQ(run.out, product.preamble + LoadLine(product.image) +
                               (product.passes ? Passed(args, text) : Failed(args, text, product.platform)))
            << product.profile;
        // The Lumet loaders write a "1" to the node before the image.
        const bool echo = product.image.find("Lumet") != std::string::npos;
        EXPECT_EQ(echo, Trace(dir).find("shell: echo 1 > /dev/LSfpga0\n") != std::string::npos) << product.profile;
    }

    const std::string unsupported = "ERROR: Product not supported.\nLoading FPGA...\n" + c_FpgaNotice +
                                    "Firmware Version: 255.0\n" + c_Suspicious + c_UpgradeFailed;
    const RunResult_T lumetV5 = RunOnUnit({"lumetv5", {}, args, ""});
    EXPECT_EQ(lumetV5.out, LoadLine(c_Folder + "/") + Failed(args, unsupported, "LumetV5\n"));
}

TEST(Firmware, LoadFailuresAreReported)
{
    const std::vector<std::string> args = {"loadfpgabinary"};
    const std::string blank =
        "Loading FPGA...\n" + c_FpgaNotice + "Firmware Version: 255.0\n" + c_Suspicious + c_UpgradeFailed;
    const struct
    {
        const char* name;
        std::vector<std::string> options;
        std::string expected;
    } cases[] = {
        {"missing folder",
         {"--remove", c_QLFolder},
         Failed(args, "ERROR: Required path does not exist: " + c_QLFolder + "\n", "QL3B\n")},
        {"image never loaded",
         {"--remove", c_QLFolder + "/QL4K_5K_A2_0302.bin"},
         LoadLine(c_QLFolder + "/QL4K_5K_A2_*") + Failed(args, blank, "QL3B\n")},
        {"version 0",
         {"--fault", "version0"},
         LoadLine(c_QLFolder + "/QL4K_5K_A2_*") +
             Failed(args,
                    "Loading FPGA...\n" + c_FpgaNotice + "Firmware Version: 0.0\n" + c_Suspicious + c_UpgradeFailed,
                    "QL3B\n")},
    };
    for (const auto& c : cases)
        EXPECT_EQ(RunOnUnit({"ql4k", c.options, args, ""}).out, c.expected) << c.name;

    // The Lumet "1" goes out before the folder is looked for.
    const CKeptUnit unit;
    const std::string& dir = unit.Dir();
    const RunResult_T run = RunOnUnit({"lumetv2", {"--remove", c_Folder}, args, dir});
    EXPECT_EQ(run.out, Failed(args, "ERROR: Required path does not exist: " + c_Folder + "\n", "LumetV2\n"));
    EXPECT_NE(Trace(dir).find("shell: echo 1"), std::string::npos);
    EXPECT_EQ(Trace(dir).find("shell: cat"), std::string::npos);
}

TEST(WaterTemperature, SensorFileOrTheFpgaADCs)
{
    const std::vector<std::string> args = {"watertemperature"};
    const std::string sensor = "/sys/devices/platform/varrow/water_temperature";
    EXPECT_EQ(RunOnUnit({"varrowx", {"--file", sensor + "=18.5\\n"}, args, ""}).out, Performed(args, "18.5\n\n"));
    EXPECT_EQ(RunOnUnit({"varrowx", {"--file", sensor + "="}, args, ""}).out, Performed(args, "Empty File.\n"));

    // Only the Pelion displays' SPI link carries the ADC readings; their
    // identity comes from the board's environment.
    const std::vector<std::string> pelion = {"PRODUCT_ID=Nx", "FPGA_CHANNEL_0_COMMS=/dev/LSfpga0"};
    const auto Pk = [&](const std::string& adc) {
        return RunOnUnit({"none",
                          {"--device", "/dev/LSfpga0", "--fpga", "/dev/LSfpga0 lowscan-spi flash=1.2 adc=" + adc},
                          args,
                          ""},
                         pelion)
            .out;
    };
    const std::string version =
        "ERROR: Unknown Product type.\n" + ReportHeader(CommandLine(args)) + "Firmware Version: 1.2\n";
    EXPECT_EQ(Pk("1000,1000,5"), version + "27.7727\nTest Result: Operation Performed.\n");
    EXPECT_EQ(Pk("1000,100,5"), version + "inf\nTest Result: Operation Performed.\n");
    EXPECT_EQ(Pk("0,1000,5"), version + "ADCRef is zero. Cannot calculate WaterTemperature\n"
                                        "Test Result: Operation Performed.\n");

    EXPECT_EQ(RunOnUnit({"varrow", {}, args, ""}).out,
              "GetWaterTemp failed with return code: -174\n" + Failed(args, "Firmware Version: 1.4\n", "Varrow\n"));
    // No plausible firmware: nothing judged.
    EXPECT_EQ(RunOnUnit({"ql4k", {}, args, ""}).out, Performed(args, "Firmware Version: 255.0\n" + c_Suspicious));
}

TEST(Speed, ReadsTheTicksOnceASecond)
{
    const std::vector<std::string> args = {"speed", "2"};
    const auto start = std::chrono::steady_clock::now();
    const RunResult_T run = RunOnUnit({"ql4k", {}, args, ""});
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const std::string ticks = "Speed ticks: 5\n";
    EXPECT_EQ(run.out, LoadLine(c_QLFolder + "/QL4K_5K_A2_*") +
                           Passed(args, "Loading FPGA...\n" + c_FpgaNotice + ticks + ticks + ticks));
    EXPECT_GT(seconds, 2.5);
    EXPECT_LT(seconds, 20.0);

    const std::vector<std::string> none = {"speed", "-1"};
    EXPECT_EQ(RunOnUnit({"ql4k", {}, none, ""}).out,
              LoadLine(c_QLFolder + "/QL4K_5K_A2_*") + Passed(none, "Loading FPGA...\n" + c_FpgaNotice));
    const std::vector<std::string> noFolder = {"speed", "1"};
    EXPECT_EQ(RunOnUnit({"ql4k", {"--remove", c_QLFolder}, noFolder, ""}).out,
              Failed(noFolder, "ERROR: Required path does not exist: " + c_QLFolder + "\n", "QL3B\n"));
}
