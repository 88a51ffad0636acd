#include "SonarTestController.h"
#include "UnitFiles.h"

#include <cstdlib>
#include <map>
#include <sys/wait.h>

namespace
{
const char* const c_Watched[] = {"PRODUCT_ID",           "PLATFORM_TYPE",  "FPGA_CHANNEL_0_COMMS",
                                 "FPGA_CHANNEL_1_COMMS", "QL3B_FPGA_SIZE", "SONAR_BOARD_ID"};
const char* const c_Unset = "<unset>";

struct Setup_T
{
    std::map<std::string, std::string> env;  // the watched variables
    std::string printed;
    std::string tableSample;  // a few fixed entries, joined
};

// The controller writes the process environment, so each one is built in a
// child process that starts from an empty environment.
Setup_T SetUpInChild()
{
    int envPipe[2], outPipe[2];
    if (pipe(envPipe) != 0 || pipe(outPipe) != 0)
        return Setup_T();
    fflush(stdout);
    const pid_t pid = fork();
    if (pid == 0)
    {
        dup2(outPipe[1], STDOUT_FILENO);
        clearenv();
        CSonarTestController controller;
        fflush(stdout);
        std::string report;
        for (const char* name : c_Watched)
            report += std::string(name) + "=" + (getenv(name) ? getenv(name) : c_Unset) + "\n";
        for (const char* name :
             {"PRODUCT_ID_Varrow", "PRODUCT_ID_TESSFINV1", "PRODUCT_ID_Pk4", "SOUNDER_ROOT_DIR", "KILL_MON_QLSOUNDER"})
            report += std::string(getenv(name) ? getenv(name) : c_Unset) + ";";
        (void)!write(envPipe[1], report.data(), report.size());
        _exit(0);
    }
    close(envPipe[1]);
    close(outPipe[1]);
    auto drain = [](int fd) {
        std::string text;
        char buffer[512];
        ssize_t n;
        while ((n = read(fd, buffer, sizeof buffer)) > 0)
            text.append(buffer, static_cast<size_t>(n));
        close(fd);
        return text;
    };
    Setup_T setup;
    setup.printed = drain(outPipe[0]);
    const std::string report = drain(envPipe[0]);
    waitpid(pid, nullptr, 0);
    size_t start = 0;
    for (size_t end; (end = report.find('\n', start)) != std::string::npos; start = end + 1)
    {
        const std::string line = report.substr(start, end - start);
        setup.env[line.substr(0, line.find('='))] = line.substr(line.find('=') + 1);
    }
    setup.tableSample = report.substr(start);
    return setup;
}

struct ProductCase_T
{
    const char* name;
    const std::string* file;
    const char* content;
    const char* board;  // QL3B reading
    // PRODUCT_ID, PLATFORM_TYPE, channel 0, channel 1, QL3B_FPGA_SIZE, SONAR_BOARD_ID
    const char* expected[6];
    const char* printed;
};

const char* const U = c_Unset;
const char* const c_NoProduct =
    "ERROR: Unknown Product type.\nERROR: PRODUCT_ID environment variable not set. Ping will segfault.\n";
}

using ControllerSetupTest = UnitFilesTest;

TEST_F(ControllerSetupTest, EachProductGetsItsEnvironment)
{
    const std::string& V = unitfiles::c_VarrowId;
    const std::string& P = unitfiles::c_PelionId;
    const ProductCase_T cases[] = {
        {"HY05", &P, "HY05\n", "", {U, U, U, U, U, U}, c_NoProduct},
        {"HZ02", &P, "HZ02\n", "", {"N41008", U, "/dev/LSfpga0", U, U, U}, ""},
        {"HZ10", &P, "HZ10\n", "", {"N41008", U, "/dev/LSfpga0", U, U, U}, ""},
        {"Varrow", &V, "Varrow\n", "", {"N41001", "1", "", "", U, U}, ""},
        {"VarrowX", &V, "VarrowX\n", "", {"N41002", "1", "", "", U, U}, ""},
        {"Tq", &P, "Tq2\n", "", {U, U, U, U, U, U}, c_NoProduct},
        {"Keyboard", &V, "Halvard Keyboard\n", "", {U, U, U, U, U, U}, c_NoProduct},
        {"QL1A", &V, "QL1A\n", "", {"N41003", "1", "", "", U, U}, "Failed to kill Quenlor Sonar.\n"},
        {"QL2A", &V, "QL2A\n", "", {"N41004", "1", "", "", U, U}, "Failed to kill Quenlor Sonar.\n"},
        {"QL4K", &V, "QL3B\n", "500\n", {"N41005", "1", "/dev/LSfpga0", U, "0", "QL4K_SONAR_BOARD"}, ""},
        {"QL5K", &V, "QL3B\n", "300\n", {"N41006", "1", "/dev/LSfpga0", U, "0", U}, ""},
        {"QL6M", &V, "QL3B\n", "700\n", {"N41007", "1", "/dev/LSfpga0", "/dev/LSfpga1", "1", U}, ""},
        {"LumetV4", &V, "VarrowV4\n", "", {"N41012", "1", "/dev/LSfpga0", U, U, U}, ""},
        {"LumetV1", &V, "LumetV1\n", "", {"N41009", "1", "/dev/LSfpga0", U, U, U}, ""},
        {"LumetV2", &V, "LumetV2\n", "", {"N41010", "1", "/dev/LSfpga0", U, U, U}, ""},
        {"LumetV3", &V, "LumetV3\n", "", {U, U, U, U, U, U}, c_NoProduct},
        {"LumetV5", &V, "LumetV5\n", "", {"N41013", "1", "/dev/LSfpga0", U, U, U}, ""},
        {"LumetV6", &V, "VarrowV6\n", "", {"N41014", "1", "/dev/LSfpga0", U, U, U}, ""},
        {"TessfinV1", &V, "TessfinV1\n", "", {U, U, U, U, U, U}, c_NoProduct},
        {"Nr1", &P, "NR1\n", "", {"N41016", U, "/dev/LSfpga0", U, U, U}, ""},
        {"Nr2", &P, "NR2\n", "", {"N41017", U, "/dev/LSfpga0", U, U, U}, ""},
        {"Nr3", &P, "NR3\n", "", {"N41018", U, "/dev/LSfpga0", U, U, U}, ""},
        {"board out of range",
         &V,
         "QL3B\n",
         "900\n",
         {U, U, U, U, U, U},
         "ERROR: No Sonar Board Id.\nERROR: No Sonar Board Id.\nERROR: Unknown Product type.\n"
         "ERROR: PRODUCT_ID environment variable not set. Ping will segfault.\n"},
    };
    const std::string channel = unitfiles::c_Adc + "in_voltage1_raw";
    const std::string saved = unitfiles::Read(channel);
    for (const ProductCase_T& c : cases)
    {
        Clean();
        unitfiles::Write(*c.file, c.content);
        unitfiles::Write(channel, c.board);
        const Setup_T setup = SetUpInChild();
        for (size_t i = 0; i < 6; ++i)
            EXPECT_EQ(setup.env.at(c_Watched[i]), c.expected[i]) << c.name << ": " << c_Watched[i];
        EXPECT_EQ(setup.printed, c.printed) << c.name;
        EXPECT_EQ(setup.tableSample, "N41001;N41015;Nx;/corvane/Application;0;") << c.name;
    }
    unitfiles::Write(channel, saved);
}

// The notice only reaches the report when enabling fails, so it is checked here.
TEST_F(ControllerSetupTest, EnableSonarOnUnitsWithoutASwitch)
{
    testing::internal::CaptureStdout();
    CSonarTestController controller;
    testing::internal::GetCapturedStdout();
    const std::string notice = "Non-Varrow platform. Sonar may not be enabled.\n";
    for (const auto& c : {std::make_pair("LumetV3\n", notice), std::make_pair("HY10\n", notice),
                          std::make_pair("HZ05\n", std::string())})
    {
        Clean();
        unitfiles::Write(c.first[0] == 'L' ? unitfiles::c_VarrowId : unitfiles::c_PelionId, c.first);
        std::string output;
        EXPECT_EQ(controller.EnableSonar(&output), OPERATION_PERFORMED) << c.first;
        EXPECT_EQ(output, c.second) << c.first;
    }
}
