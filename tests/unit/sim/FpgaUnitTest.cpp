// The library's FPGA transports against the simulated FPGAs, through the
// real device paths of virtual units (the device shim preloaded), and the
// launcher's views of a unit.
#include "EchoSimulator.h"
#include "KeptUnit.h"
#include "LotUnit.h"
#include "UnitRunner.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

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
    const CKeptUnit unit;
    UnitRun_T run{profile, options, {"--run", FPGA_SMOKE, family}, unit.Dir()};
    if (!extra.empty())
        run.args.push_back(extra);
    Run_T out;
    out.result = RunOnUnit(run);
    out.trace = ReadHostFile(run.unitDir + "/root/vunit/fpga.trace");
    return out;
}

bool Has(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

// A private TMPDIR for the launcher's throw-away units, so a test sees all
// that a run leaves behind, and nothing of the host's temporary folder.
struct Scratch_T
{
    Scratch_T() : dir(folder.Dir()), saved(getenv("TMPDIR") ? getenv("TMPDIR") : "")
    {
        setenv("TMPDIR", dir.c_str(), 1);
    }
    ~Scratch_T() { saved.empty() ? unsetenv("TMPDIR") : setenv("TMPDIR", saved.c_str(), 1); }
    // Every path below the folder, with the content of each file.
    std::vector<std::string> Listing() const
    {
        std::vector<std::string> entries;
        std::error_code ec;
        for (auto it = fs::recursive_directory_iterator(dir, ec); !ec && it != fs::end(it); it.increment(ec))
            entries.push_back(it->path().string().substr(dir.size()) +
                              (it->is_regular_file() && !it->is_symlink() ? "=" + ReadHostFile(it->path()) : ""));
        std::sort(entries.begin(), entries.end());
        return entries;
    }
    std::string Put(const std::string& name, const std::string& content) const
    {
        fs::create_directories(fs::path(dir + "/" + name).parent_path());
        std::ofstream(dir + "/" + name) << content;
        return dir + "/" + name;
    }
    const CKeptUnit folder;
    std::string dir;
    std::string saved;
};

bool Gone(pid_t group)
{
    for (int i = 0; i < 200 && kill(-group, 0) == 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return kill(-group, 0) != 0;
}
}

// What the sonarbench commands do not reach: the Nr ADC read-back and the
// UART transport's own time-out. The commands' end-to-end tests cover the rest.
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
    const RunResult_T amended = RunOnUnit(UnitRun_T{
        "nr2", {"--remove", "/corvane/Application/FPGAFirmware", "--fault", "no-reply", "--describe"}, {}, ""});
    EXPECT_FALSE(Has(amended.out, "FPGAFirmware")) << amended.out;
    EXPECT_TRUE(Has(amended.out, "fpga   /dev/LSfpga0 lumet seed=22 depth=15 adc=0x400000,0x1a2b3c,0x0abcde "
                                 "fault=no-reply\n"))
        << amended.out;
    const RunResult_T display = RunOnUnit(UnitRun_T{"hz05", {"--describe"}, {}, ""});
    EXPECT_FALSE(Has(display.out, "fpga ")) << display.out;
}

TEST(Launcher, RefusesWhatWouldReachOutsideTheUnit)
{
    Scratch_T scratch;
    scratch.Put("foreign/notes", "mine\n");
    const std::string file = scratch.Put("file", "plain\n");
    scratch.Put("profiles/bad.unit", "# a profile that climbs out\nfile /sys/../../escape 1\n");
    fs::create_directory_symlink(scratch.dir + "/foreign", scratch.dir + "/link");
    const std::vector<std::string> before = scratch.Listing();
    const std::string cor = "no-reply, bad-checksum, fifo-status, short-ping, version0";
    const struct
    {
        std::vector<std::string> options;
        const char* profile;
        std::string err;
    } cases[] = {
        {{"--file", "/../../escape=1"}, "varrow", "--file: '/../../escape' has an empty, '.' or '..' component"},
        {{"--mode", "/VERSION/../../escape=000"},
         "varrow",
         "--mode: '/VERSION/../../escape' has an empty, '.' or '..' component"},
        {{"--dir", "/sys//x"}, "varrow", "--dir: '/sys//x' has an empty, '.' or '..' component"},
        {{"--remove", "/corvane/."}, "varrow", "--remove: '/corvane/.' has an empty, '.' or '..' component"},
        {{"--exec", "relative=1"}, "varrow", "--exec: 'relative' is not an absolute path"},
        {{"--fpga", "/dev/../escape cor"}, "ql4k", "--fpga: '/dev/../escape' has an empty, '.' or '..' component"},
        {{"--units", scratch.dir + "/profiles"},
         "bad",
         scratch.dir + "/profiles/bad.unit:2: '/sys/../../escape' has an empty, '.' or '..' component"},
        {{"--unit-dir", "/"}, "varrow", "--unit-dir: the unit folder cannot be /"},
        {{"--unit-dir", scratch.dir + "/foreign"},
         "varrow",
         "--unit-dir: the unit folder " + scratch.dir +
             "/foreign holds files vunit did not make; give a new or empty folder, or one of an earlier --unit-dir "
             "run"},
        {{"--unit-dir", scratch.dir + "/link"},
         "varrow",
         "--unit-dir: the unit folder " + scratch.dir + "/link is a symbolic link"},
        {{"--unit-dir", file}, "varrow", "--unit-dir: the unit folder " + file + " is not a folder"},
        {{"--fault", "no-interrupt"},
         "ql4k",
         "--fault: the cor FPGA model of /dev/LSfpga0 has no fault 'no-interrupt'; its faults: " + cor},
        {{"--fpga", "/dev/LSfpga0 cor fault=melted"},
         "ql4k",
         "--fpga: the cor FPGA model of /dev/LSfpga0 has no fault 'melted'; its faults: " + cor},
        {{"--fault", "fifo-status"},
         "varrow",
         "--fault: the lowscan-uart FPGA model of /dev/ttyO1 has no fault "
         "'fifo-status'; its faults: no-reply, short-ping, version0"},
        {{"--fault", "no-reply"}, "hz05", "--fault: the unit hz05 has no simulated FPGA, so it has no faults"},
        {{"--model", "echo=3"}, "hz05", "--model: the unit has no simulated FPGA"},
        {{"--model", "seed=1 echo=256"}, "ql4k", "--model: bad FPGA option 'echo=256' for /dev/LSfpga0"},
        {{"--lot-unit", "0"}, "ql4k", "--lot-unit: '0' is not N or N:ATTEMPT (N from 1 to 9999, ATTEMPT from 1)"},
    };
    for (const auto& c : cases)
    {
        const RunResult_T run = RunOnUnit({c.profile, c.options, {"batteryvoltage"}, ""});
        EXPECT_EQ(2, run.status) << c.err;
        EXPECT_EQ("", run.out) << c.err;
        EXPECT_EQ("vunit: " + c.err + "\n", run.err);
    }
    EXPECT_EQ(before, scratch.Listing());
    EXPECT_FALSE(fs::exists("/escape"));
}

// vunit's own words go before the profile; after it, up to a "--", one of
// them is a mistake. A program that is not there is named before any unit is built.
TEST(Launcher, CommandLineWordsAfterTheProfile)
{
    Scratch_T scratch;
    const std::string plain = scratch.Put("plain", "not a program\n");
    const std::string after = " after the profile: vunit's options go before PROFILE (write -- before words meant for "
                              "the program)\n";
    const struct
    {
        std::vector<std::string> options;
        const char* profile;
        std::vector<std::string> args;
        int status;
        std::string out, err;
    } cases[] = {
        {{}, "varrow", {"--unit-dir", scratch.dir + "/kept", "batteryvoltage"}, 2, "", "vunit: --unit-dir" + after},
        {{}, "varrow", {"batteryvoltage", "--help"}, 2, "", "vunit: --help" + after},
        {{}, "none", {"--run", "/bin/echo", "--net"}, 2, "", "vunit: --net" + after},
        {{}, "none", {"true", "--run", "/bin/echo"}, 2, "", "vunit: --run" + after},
        {{"--run", "/bin/echo"},
         "none",
         {},
         2,
         "",
         "vunit: --run comes after the profile: vunit [options] PROFILE "
         "--run PROGRAM\n"},
        {{}, "none", {"--run", "/no/such/program"}, 2, "", "vunit: --run: cannot find the program /no/such/program\n"},
        {{"--run", "/no/such/program"}, "none", {}, 2, "", "vunit: --run: cannot find the program /no/such/program\n"},
        {{}, "none", {"--run", plain}, 2, "", "vunit: --run: the program " + plain + " is not executable\n"},
        {{"--sonarbench", "/no/sonarbench"},
         "none",
         {"speed"},
         2,
         "",
         "vunit: --sonarbench: cannot find the program /no/sonarbench\n"},
        {{},
         "none",
         {"--run", "/bin/echo", "-h", "--weird", "--", "--unit-dir", "--"},
         0,
         "-h --weird --unit-dir --\n",
         ""},
        {{}, "none", {"--run", "/bin/echo", "--", "--run", "x"}, 0, "--run x\n", ""},
    };
    for (const auto& c : cases)
    {
        const RunResult_T run = RunOnUnit({c.profile, c.options, c.args, ""});
        EXPECT_EQ(c.status, run.status) << c.err;
        EXPECT_EQ(c.out, run.out);
        EXPECT_EQ(c.err, run.err);
    }
    EXPECT_EQ(std::vector<std::string>{"/plain=not a program\n"}, scratch.Listing());

    const RunResult_T help = RunOnUnit({"varrow", {"--help"}, {"batteryvoltage"}, ""});
    EXPECT_EQ(0, help.status);
    EXPECT_EQ(0u, help.out.find("usage: vunit [options] PROFILE [COMMAND [ARGUMENTS...]]\n")) << help.out;
    EXPECT_EQ("", help.err);
    const RunResult_T shortHelp = RunOnUnit({"varrow", {"-h"}, {}, ""});
    EXPECT_EQ(help.out, shortHelp.out);
    EXPECT_EQ(0, shortHelp.status);
    const RunResult_T passed = RunOnUnit({"varrow", {}, {"--", "--unit-dir"}, ""});
    EXPECT_NE(std::string::npos, passed.out.find("ERROR: First Parameter not recognized: ./sonarbench --unit-dir \n"))
        << passed.out;
}

// A kept unit starts each run from the profile alone: what a program left,
// links included, is removed without being followed.
TEST(Launcher, AKeptUnitIsRebuiltWithoutFollowingLinks)
{
    Scratch_T scratch;
    const std::string unit = scratch.dir + "/unit", root = unit + "/root";
    scratch.Put("host/file", "host file\n");
    const std::vector<std::string> args = {"batteryvoltage"};
    const std::string fresh = RunOnUnit({"varrow", {}, args, ""}).out;
    EXPECT_EQ(fresh, RunOnUnit({"varrow", {}, args, unit}).out);

    fs::remove(root + "/sys/devices/platform/varrow/product_id");
    fs::create_symlink(scratch.dir + "/host/file", root + "/sys/devices/platform/varrow/product_id");
    fs::remove_all(root + "/corvane");
    fs::create_directory_symlink(scratch.dir + "/host", root + "/corvane");
    scratch.Put("unit/root/stale/left", "over\n");
    fs::permissions(root + "/sys/devices", fs::perms::none);
    const std::vector<std::string> host = {"/host", "/host/file=host file\n"};

    const std::vector<std::string> remove = {"--remove", "/sys/devices/platform/varrow/sonar_power"};
    const RunResult_T again = RunOnUnit({"varrow", remove, args, unit});
    EXPECT_EQ(RunOnUnit({"varrow", remove, args, ""}).out, again.out) << again.err;
    EXPECT_FALSE(fs::exists(root + "/stale"));
    EXPECT_FALSE(fs::is_symlink(root + "/corvane"));
    std::vector<std::string> listing = scratch.Listing();
    listing.erase(std::remove_if(listing.begin(), listing.end(),
                                 [](const std::string& entry) { return entry.rfind("/unit", 0) == 0; }),
                  listing.end());
    EXPECT_EQ(host, listing);
}

// Ctrl-C reaches the whole process group, a TERM the launcher alone; either
// way the program stops and the throw-away unit goes, while a kept unit stays.
TEST(Launcher, StopSignalsEndTheRunAndRemoveTheThrowAwayUnit)
{
    const struct
    {
        int signal;
        bool group, keep;
    } cases[] = {{SIGINT, true, false}, {SIGTERM, false, false}, {SIGHUP, false, true}};
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.signal);
        Scratch_T scratch;
        const std::string kept = scratch.dir + "/kept";
        const pid_t pid = fork();
        if (pid == 0)
        {
            setpgid(0, 0);
            const int null = open("/dev/null", O_WRONLY);
            dup2(null, STDOUT_FILENO);
            if (c.keep)
                execl(VUNIT_BINARY, VUNIT_BINARY, "--unit-dir", kept.c_str(), "ql4k", "speed", "0", nullptr);
            execl(VUNIT_BINARY, VUNIT_BINARY, "ql4k", "speed", "0", nullptr);
            _exit(127);
        }
        setpgid(pid, pid);
        // Running once the FPGA has been reached.
        bool running = false;
        for (int i = 0; i < 1000 && !running; ++i)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            for (const std::string& entry : scratch.Listing())
                running = running || Has(entry, "/root/vunit/fpga.trace=LSfpga0");
        }
        EXPECT_TRUE(running);
        kill(c.group ? -pid : pid, c.signal);
        int status = 0;
        waitpid(pid, &status, 0);
        EXPECT_TRUE(WIFEXITED(status));
        EXPECT_EQ(128 + c.signal, WEXITSTATUS(status));
        EXPECT_TRUE(Gone(pid)) << "a process of the unit is still running";
        const std::vector<std::string> left = scratch.Listing();
        if (c.keep)
            EXPECT_TRUE(fs::exists(kept + "/root/vunit/fpga.trace"));
        else
            EXPECT_TRUE(left.empty()) << left.front();
    }
}

// No network unless asked for, and no root needed where the kernel lets
// users make namespaces.
TEST(Launcher, UnitsHaveNoNetworkAndNeedNoRoot)
{
    const std::vector<std::string> readLink = {"--run", "/usr/bin/readlink", "/proc/self/ns/net"};
    char host[64] = {};
    ASSERT_GT(readlink("/proc/self/ns/net", host, sizeof host - 1), 0);
    EXPECT_NE(std::string(host) + "\n", RunOnUnit({"none", {}, readLink, ""}).out);
    EXPECT_EQ(std::string(host) + "\n", RunOnUnit({"none", {"--net"}, readLink, ""}).out);

    Scratch_T scratch;
    fs::permissions(scratch.dir, fs::perms::all | fs::perms::sticky_bit);
    const std::vector<std::string> args = {"xkping", "200kHPShort.txt", "0", "64"};
    const std::string asRoot = RunOnUnit({"ql4k", {}, args, ""}).out;
    std::vector<std::string> launcher;
    if (geteuid() == 0)
    {
        if (access("/usr/bin/setpriv", X_OK) != 0)
            GTEST_SKIP() << "setpriv (util-linux) is missing: the unprivileged run was not tried";
        launcher = {"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
    }
    const RunResult_T user = RunOnUnit({"ql4k", {}, args, ""}, {}, launcher);
    if (user.status != 0 && Has(user.err, "Permission denied") && !Has(user.err, "bwrap"))
        GTEST_SKIP() << "the build tree is not open to user 65534, so the unprivileged run was not tried: " << user.err;
    if (user.status != 0 && Has(user.err, "bwrap"))
        GTEST_SKIP() << "this machine does not let an unprivileged user run bubblewrap: " << user.err;
    EXPECT_EQ(asRoot, user.out) << user.err;
    EXPECT_TRUE(scratch.Listing().empty());
}

// A lot unit's serial reaches the report, its echo the ping: each sample
// block is the one the unit's shape gives, and only the attempt moves the noise.
TEST(Launcher, LotUnitsSerialsAndModelOptions)
{
    const RunResult_T described =
        RunOnUnit({"ql6m", {"--lot-unit", "23:2", "--model", "ringdown=150", "--serial", "A B", "--describe"}, {}, ""});
    const std::string lot = CLotUnit(23, 2).ModelOptions();
    for (const std::string& line : std::vector<std::string>{
             "file   /corvane/Config/SerialNumber A\\sB\\n\n",
             "fpga   /dev/LSfpga0 cor seed=6 depth=40 transducer=0x24 " + lot + " ringdown=150\n",
             "fpga   /dev/LSfpga1 cor seed=7 depth=40 transducer=0x28 follow=/dev/LSfpga0 " + lot + " ringdown=150\n"})
        EXPECT_TRUE(Has(described.out, line)) << line << "\n" << described.out;
    EXPECT_TRUE(Has(RunOnUnit({"hz05", {"--lot-unit", "9", "--describe"}, {}, ""}).out,
                    "file   /corvane/Config/SerialNumber VHZ05-0009\\n\n"));

    // The serial in the unit data block of a failed run, verbatim.
    const std::string battery = "/sys/devices/platform/omap/ti_tscadc/tiadc/iio:device0/in_voltage0_raw=";
    std::string expected = Failed({"batteryvoltage"}, "Empty File.\n", "Varrow\n");
    expected.replace(expected.find("0412345678"), 10, "VVARROW-0042");
    EXPECT_EQ(expected, RunOnUnit({"varrow", {"--file", battery, "--lot-unit", "42"}, {"batteryvoltage"}, ""}).out);
    expected.replace(expected.find("VVARROW-0042"), 12, "'; DROP TABLE runs; --\n\xff");
    EXPECT_EQ(
        expected,
        RunOnUnit({"varrow", {"--file", battery, "--serial", "'; DROP TABLE runs; --\n\xff"}, {"batteryvoltage"}, ""})
            .out);

    const auto samples = [](const std::vector<std::string>& options) {
        const std::string out = RunOnUnit({"ql4k", options, {"xkping", "200kHPShort.txt", "0", "1"}, ""}).out;
        const size_t start = out.find("<SonarFPGAData>") + 15;
        return out.substr(start, out.find("<EndSonarFPGAData>") - start);
    };
    const auto ping = [](const CEchoSimulator::Shape_T& shape) {
        std::string text;
        for (uint8_t sample : CEchoSimulator(shape).Ping(1024, 0))
            text += (text.empty() ? "" : ",") + std::to_string(sample);
        return text;
    };
    const std::string first = samples({"--lot-unit", "16"});
    EXPECT_EQ(ping(CLotUnit(16).Shape()), first);
    EXPECT_EQ(first, samples({"--lot-unit", "16:1"}));
    EXPECT_EQ(ping(CLotUnit(16, 2).Shape()), samples({"--lot-unit", "16:2"}));
    CEchoSimulator::Shape_T shape;
    shape.seed = 4;
    shape.echo = 90;
    shape.noise = 3;
    shape.depthCentimetres = 3025;
    EXPECT_EQ(ping(shape), samples({"--model", "echo=90 noise=3", "--model", "depth=30.25"}));
}
