#include "KeptUnit.h"
#include "ProductCatalogue.h"
#include "UnitRunner.h"

#include <gtest/gtest.h>

#include <cctype>

namespace
{
const std::string c_NoProduct =
    "ERROR: Unknown Product type.\nERROR: PRODUCT_ID environment variable not set. Ping will segfault.\n";
const std::string c_VarrowSwitch = "/root/sys/devices/platform/varrow/sonar_power";
const std::string c_PelionSwitch = "/root/sys/devices/platform/pelion/sonar_power";

struct Product_T
{
    const char* profile;
    std::string preamble;            // printed while the controller sets up
    const std::string* powerSwitch;  // switched on, or null
};

std::string BatteryReport()
{
    return ReportHeader("./sonarbench batteryvoltage ") + "3012\n\nTest Result: Operation Performed.\n";
}

bool Has(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

// The output of a run and the FPGA trace it left.
std::pair<std::string, std::string> RunAndTrace(const std::string& profile, const std::vector<std::string>& args)
{
    const CKeptUnit unit;
    const std::string& dir = unit.Dir();
    const std::string out = RunOnUnit({profile, {}, args, dir}).out;
    const std::string trace = ReadHostFile(dir + "/root/vunit/fpga.trace");
    return {out, trace};
}
}

// Each row of the product catalogue against what the program does on the
// product's unit: set-up branch, power switch, firmware load and the flags
// the ping commands test.
TEST(Products, CatalogueRowsMatchTheUnits)
{
    using namespace ProductCatalogue;
    size_t count = 0;
    const ProductCatalogue::Product_T* rows = Rows(count);
    ASSERT_EQ(30u, count);
    for (const ProductCatalogue::Product_T* p = rows; p != rows + count; ++p)
    {
        std::string profile = std::string(p->Name).substr(0, std::string(p->Name).find(' '));
        for (char& c : profile)
            c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
        profile = profile.empty() ? "none" : profile;
        SCOPED_TRACE(profile);

        const std::string power = RunOnUnit({profile,
                                             {"--remove", "/sys/devices/platform/varrow/sonar_power", "--remove",
                                              "/sys/devices/platform/pelion/sonar_power"},
                                             {"batteryvoltage"},
                                             ""})
                                      .out;
        EXPECT_EQ(Has(power, c_NoProduct), p->Environment == ENV_UNKNOWN);
        // A switchless product's notice goes to a text the report drops.
        const char* const board = p->Power == POWER_VARROW ? "varrow" : p->Power == POWER_PELION ? "pelion" : nullptr;
        const std::string missing =
            board ? std::string("ERROR: Path does not exist: /sys/devices/platform/") + board + "/sonar_power\n"
                  : "Test Result: Operation Performed.\n";
        EXPECT_TRUE(Has(power, missing)) << power;

        const std::string folder = p->Folder == FOLDER_MODULE ? "/corvane/Application/QuenlorSounder/FPGAFirmware"
                                                              : "/corvane/Application/FPGAFirmware";
        const std::string loadLine =
            "cat " + folder + "/" + (p->FirmwarePattern ? p->FirmwarePattern : "") + " > /dev/LSfpga0\n";
        const auto load = RunAndTrace(profile, {"loadfpgabinary"});
        const bool loaded = Has(load.first, loadLine);
        EXPECT_EQ(Has(load.first, "ERROR: Product not supported.\n"), p->FirmwarePattern == nullptr);
        EXPECT_TRUE(loaded || Has(load.first, "ERROR: Required path does not exist: " + folder + "\n")) << load.first;
        if (loaded && !load.second.empty())
        {
            EXPECT_EQ(Has(load.second, "shell: echo 1 > /dev/LSfpga0\n"), p->EchoBeforeLoad);
        }
        EXPECT_FALSE(p->UnreachablePattern && Has(load.first, p->UnreachablePattern));

        EXPECT_EQ(Has(RunOnUnit({profile, {}, {"ping", "200000", "210000", "27", "45", "0", "medium"}, ""}).out,
                      "ERROR: Do not use ping for Lumet or New QL derivitives."),
                  p->RefusedByPing);

        const auto xk = RunAndTrace(profile, {"xkping", "200kHPShort.txt", "0", "64"});
        if (loaded)
        {
            EXPECT_EQ(Has(xk.first, "ERROR: Use only for xK derivitives.\n"), p->XkAdcCode < 0);
        }
        EXPECT_TRUE(p->XkAdcCode < 0 || Has(xk.second, "write 0x0004 [1] 0" + std::to_string(p->XkAdcCode) + "\n"))
            << xk.second;
        EXPECT_EQ(Has(xk.first, "Channel: 0 Element"), p->ChannelChoosesFpga);

        const std::string lumet = RunOnUnit({profile, {}, {"lumetping", "200long"}, ""}).out;
        EXPECT_EQ(Has(lumet, "ERROR: Channel 0 (Sonar) does not exist. Will not ping.\n"), p->LumetPingWithoutChannel0);
        if (loaded)
        {
            EXPECT_EQ(Has(lumet, loadLine), !p->LumetPingWithoutLoad);
        }
    }
}

// Every shipped profile identifies as its product: the set-up messages and the
// power switch that gets switched on tell them apart.
TEST(Products, EveryProfileRunsAReading)
{
    const std::string ql = "Command = /corvane/Application/KillQLSounder\nOut: QLSounder stopped\n";
    const Product_T products[] = {
        {"none", c_NoProduct, nullptr},
        {"hy05", c_NoProduct, nullptr},
        {"hx10", c_NoProduct, nullptr},
        {"hx05", c_NoProduct, nullptr},
        {"hy10", c_NoProduct, nullptr},
        {"hy20", c_NoProduct, nullptr},
        {"hy03", c_NoProduct, nullptr},
        {"hz02", "", nullptr},
        {"hz03", "", nullptr},
        {"hz05", "", nullptr},
        {"hz10", "", nullptr},
        {"varrow", "", &c_VarrowSwitch},
        {"varrowx", "", &c_VarrowSwitch},
        {"tq", c_NoProduct, nullptr},
        {"halvard", c_NoProduct, nullptr},
        {"ql1a", ql, &c_VarrowSwitch},
        {"ql2a", ql, &c_VarrowSwitch},
        {"ql4k", "", &c_VarrowSwitch},
        {"ql5k", "", &c_VarrowSwitch},
        {"ql6m", "", &c_VarrowSwitch},
        {"lumetv4", "", &c_VarrowSwitch},
        {"lumetv1", "", &c_VarrowSwitch},
        {"lumetv2", "", &c_VarrowSwitch},
        {"lumetv3", c_NoProduct, nullptr},
        {"lumetv5", "", &c_VarrowSwitch},
        {"lumetv6", "", &c_VarrowSwitch},
        {"tessfinv1", c_NoProduct, nullptr},
        {"nr1", "", &c_PelionSwitch},
        {"nr2", "", &c_PelionSwitch},
        {"nr3", "", &c_PelionSwitch},
    };
    for (const Product_T& product : products)
    {
        const CKeptUnit unit;
        const std::string& dir = unit.Dir();
        const RunResult_T run = RunOnUnit({product.profile, {}, {"batteryvoltage"}, dir});
        EXPECT_EQ(run.out, product.preamble + BatteryReport()) << product.profile;
        EXPECT_EQ(run.status, 0) << product.profile << "\n" << run.err;
        for (const std::string* powerSwitch : {&c_VarrowSwitch, &c_PelionSwitch})
        {
            bool exists = false;
            const std::string value = ReadHostFile(dir + *powerSwitch, &exists);
            if (exists)
                EXPECT_EQ(value, product.powerSwitch == powerSwitch ? "1" : "0") << product.profile << *powerSwitch;
            else
                EXPECT_NE(product.powerSwitch, powerSwitch) << product.profile;
        }
    }
}

TEST(Products, QLModuleLeavesTheStopMarkerAndRunsTheKillScript)
{
    struct Case_T
    {
        const char* name;
        std::vector<std::string> options;
        std::string preamble;
        bool scriptRan;
    } cases[] = {
        {"module folder script",
         {"--remove", "/corvane/Application/KillQLSounder", "--exec",
          "/corvane/Application/QuenlorSounder/KillQLSounder=#!/bin/sh\\ntouch /tmp/ql_sounder_stopped\\n"},
         "Command = /corvane/Application/QuenlorSounder/KillQLSounder\nOut: ",
         true},
        {"no script", {"--remove", "/corvane/Application/KillQLSounder"}, "Failed to kill Quenlor Sonar.\n", false},
    };
    for (const Case_T& c : cases)
    {
        const CKeptUnit unit;
        const std::string& dir = unit.Dir();
        const RunResult_T run = RunOnUnit({"ql2a", c.options, {"batteryvoltage"}, dir});
        EXPECT_EQ(run.out, c.preamble + BatteryReport()) << c.name;
        bool marker = false, ran = false;
        EXPECT_EQ(ReadHostFile(dir + "/root/tmp/stop_sonar", &marker), "") << c.name;
        ReadHostFile(dir + "/root/tmp/ql_sounder_stopped", &ran);
        EXPECT_TRUE(marker) << c.name;
        EXPECT_EQ(ran, c.scriptRan) << c.name;
    }
}

TEST(Products, UnrecognisedIdentificationIsReportedOnEachLookUp)
{
    struct Case_T
    {
        const char* profile;
        std::vector<std::string> options;
        std::string preamble;
    } cases[] = {
        // Looked up twice while setting up and once more to enable the sonar.
        {"lumetv1",
         {"--file", "/sys/devices/platform/varrow/product_id=LumetV1"},
         "No valid product ID.\nNo valid product ID.\n" + c_NoProduct + "No valid product ID.\n"},
        {"tq",
         {"--file", "/sys/devices/platform/pelion/product_id=Tqxx\\n"},
         "No valid product ID: Check touchscreen.\nNo valid product ID: Check touchscreen.\n" + c_NoProduct +
             "No valid product ID: Check touchscreen.\n"},
        {"ql4k",
         {"--file", "/sys/devices/platform/omap/ti_tscadc/tiadc/iio:device0/in_voltage1_raw=63\\n"},
         "ERROR: No Sonar Board Id.\nERROR: No Sonar Board Id.\n" + c_NoProduct + "ERROR: No Sonar Board Id.\n"},
    };
    for (const Case_T& c : cases)
    {
        const RunResult_T run = RunOnUnit({c.profile, c.options, {"batteryvoltage"}, ""});
        EXPECT_EQ(run.out, c.preamble + BatteryReport()) << c.profile;
    }
}
