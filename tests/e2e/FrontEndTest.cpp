#include "KeptUnit.h"
#include "UnitRunner.h"

#include <gtest/gtest.h>

namespace
{
const std::string c_Adc = "/sys/devices/platform/omap/ti_tscadc/tiadc/iio:device0/";
const std::string c_Varrow = "Varrow\n";

struct Case_T
{
    const char* name;
    std::vector<std::string> unitOptions;
    std::vector<std::string> args;
    std::string expected;
};

std::string Line(const std::vector<std::string>& args)
{
    return CommandLine(args);
}

std::string Failed(const std::vector<std::string>& args, const std::string& text)
{
    return ::Failed(args, text, c_Varrow);
}

std::string Unrecognised(const std::vector<std::string>& args, const std::string& text = "")
{
    return ReportHeader(Line(args)) + text + c_HelpVersion + "ERROR: First Parameter not recognized: " + Line(args) +
           c_HelpText;
}

void ExpectWholeOutputs(const std::vector<Case_T>& cases, const std::string& profile = "varrow")
{
    for (const Case_T& c : cases)
    {
        const RunResult_T run = RunOnUnit({profile, c.unitOptions, c.args, ""});
        EXPECT_EQ(run.out, c.expected) << c.name;
        EXPECT_EQ(run.status, 0) << c.name << "\n" << run.err;
    }
}
}

TEST(FrontEnd, SensorReadingsAreShown)
{
    const std::string zero("12\\0 34\\n");
    ExpectWholeOutputs({
        {"battery", {}, {"batteryvoltage"}, Performed({"batteryvoltage"}, "3012\n\n")},
        {"lcd", {}, {"lcdtemperature"}, Performed({"lcdtemperature"}, "1650\n\n")},
        {"sense pin", {}, {"sensepin"}, Performed({"sensepin"}, "4095\n\n")},
        {"extra arguments ignored",
         {},
         {"sensepin", "now", "please"},
         Performed({"sensepin", "now", "please"}, "4095\n\n")},
        {"no newline",
         {"--file", c_Adc + "in_voltage0_raw=2999"},
         {"batteryvoltage"},
         Performed({"batteryvoltage"}, "2999\n")},
        {"zero byte inside",
         {"--file", c_Adc + "in_voltage4_raw=" + zero},
         {"sensepin"},
         Performed({"sensepin"}, "12\n")},
    });
}

TEST(FrontEnd, BadSensorFilesFailWithUnitData)
{
    const std::string battery = c_Adc + "in_voltage0_raw";
    const std::string openFailure = "ERROR: Failed to open file:\n" + battery;
    ExpectWholeOutputs({
        {"empty", {"--file", battery + "="}, {"batteryvoltage"}, Failed({"batteryvoltage"}, "Empty File.\n")},
        {"missing", {"--remove", battery}, {"batteryvoltage"}, openFailure + Failed({"batteryvoltage"}, openFailure)},
        {"unreadable",
         {"--mode", battery + "=000"},
         {"batteryvoltage"},
         openFailure + Failed({"batteryvoltage"}, openFailure)},
        {"a folder",
         {"--remove", battery, "--dir", battery},
         {"batteryvoltage"},
         openFailure + Failed({"batteryvoltage"}, openFailure)},
    });
}

TEST(FrontEnd, UnknownCommandsShowTheHelp)
{
    ExpectWholeOutputs({
        {"unknown word", {}, {"foo"}, Unrecognised({"foo"})},
        {"no command", {}, {}, Unrecognised({})},
        {"empty word", {}, {""}, Unrecognised({""})},
        {"listed in help only", {}, {"6mping", "0"}, Unrecognised({"6mping", "0"})},
        {"case matters", {}, {"BatteryVoltage"}, Unrecognised({"BatteryVoltage"})},
        {"percent sign doubled",
         {},
         {"100%%"},
         ReportHeader("./sonarbench 100% ") + c_HelpVersion +
             "ERROR: First Parameter not recognized: " + Line({"100%%"}) + c_HelpText},
    });
}

TEST(FrontEnd, ArgumentRulesOfTheCommandRows)
{
    const std::string count = "ERROR: Incorrect Parameter Count.\n";
    ExpectWholeOutputs({
        {"lowscanping alone", {}, {"lowscanping"}, Failed({"lowscanping"}, count)},
        {"lumetping two words", {}, {"lumetping", "200", "350"}, Failed({"lumetping", "200", "350"}, count)},
        {"xkping short", {}, {"xkping", "a.txt", "0"}, Failed({"xkping", "a.txt", "0"}, count)},
        {"ping short",
         {},
         {"ping", "1", "2", "3", "4", "5", "6", "7"},
         Failed({"ping", "1", "2", "3", "4", "5", "6", "7"}, count)},
        {"unknown frequency",
         {},
         {"lowscanping", "400"},
         Failed({"lowscanping", "400"}, "ERROR: Start freq must be 200, 350, 350long or 200long.")},
        {"unknown gain",
         {},
         {"ping", "200000", "210000", "27", "45", "0", "max"},
         "max is not a valid Analogue Gain level.\n" +
             Failed({"ping", "200000", "210000", "27", "45", "0", "max"}, "")},
        {"speed alone", {}, {"speed"}, Unrecognised({"speed"}, count)},
        {"speed with two", {}, {"speed", "1", "2"}, Unrecognised({"speed", "1", "2"}, count)},
    });
}

TEST(FrontEnd, SonarThatCannotBeEnabledFailsEveryCommand)
{
    const std::string powerSwitch = "/sys/devices/platform/varrow/sonar_power";
    const std::string noPath = "ERROR: Path does not exist: " + powerSwitch + "\n";
    ExpectWholeOutputs({
        {"switch missing",
         {"--remove", powerSwitch},
         {"batteryvoltage"},
         noPath + Failed({"batteryvoltage"}, "ERROR: Cannot enable Sonar.\n")},
        {"unknown command too",
         {"--remove", powerSwitch},
         {"foo"},
         noPath + Failed({"foo"}, "ERROR: Cannot enable Sonar.\n")},
        {"switch not writable",
         {"--remove", powerSwitch, "--dir", powerSwitch},
         {"sensepin"},
         Failed({"sensepin"}, "ERROR: Cannot enable Sonar.\nERROR: Failed to open file:" + powerSwitch + "\n")},
    });
}

TEST(FrontEnd, SonarPowerIsSwitchedOnBeforeTheCommand)
{
    const CKeptUnit unit;
    const std::string& dir = unit.Dir();
    const RunResult_T run = RunOnUnit({"varrow", {}, {"foo"}, dir});
    EXPECT_EQ(ReadHostFile(dir + "/root/sys/devices/platform/varrow/sonar_power"), "1");
    EXPECT_EQ(run.status, 0);
}

// The unknown-command report hands the output text to printf as its format.
TEST(FrontEnd, PercentDirectivesInAnUnknownCommandAreInterpreted)
{
    const RunResult_T hex = RunOnUnit({"varrow", {}, {"%x"}, ""});
    const std::string start = "---------------------------------------------------\n./sonarbench ";
    ASSERT_EQ(hex.out.compare(0, start.size(), start), 0) << hex.out;
    const size_t end = hex.out.find(" \n", start.size());
    ASSERT_NE(end, std::string::npos);
    const std::string printed = hex.out.substr(start.size(), end - start.size());
    EXPECT_FALSE(printed.empty());
    EXPECT_EQ(printed.find_first_not_of("0123456789abcdef"), std::string::npos) << printed;
    EXPECT_NE(hex.out.find("ERROR: First Parameter not recognized: ./sonarbench %x \n"), std::string::npos);

    // "%s" takes whatever pointer printf finds: garbage text or a crash, never the literal.
    const RunResult_T string = RunOnUnit({"varrow", {}, {"%s"}, ""});
    EXPECT_EQ(string.out.find("./sonarbench %s \n\nTest Output:"), std::string::npos) << string.out;

#if SONARBENCH_FORTIFIED
    // A fortified printf refuses "%n" rather than write through a stray pointer.
    const RunResult_T write = RunOnUnit({"varrow", {}, {"%n"}, ""});
    EXPECT_EQ(write.status, 128 + 6) << write.err;
    EXPECT_NE(write.err.find("%n in writable segment detected"), std::string::npos) << write.err;
    EXPECT_EQ(write.out.find("Test Output:"), std::string::npos);
#else
    GTEST_SKIP() << "\"%n\" is only refused by a fortified printf (optimised builds, not under clang's ASan)";
#endif
}
