#ifndef UNITFILES_H
#define UNITFILES_H

// Files of the unit under test, written at their real absolute paths. The
// test binary runs inside a virtual unit, so these are the sandbox's files.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/statfs.h>
#include <unistd.h>

namespace unitfiles
{
const std::string c_Adc = "/sys/devices/platform/omap/ti_tscadc/tiadc/iio:device0/";
const std::string c_VarrowId = "/sys/devices/platform/varrow/product_id";
const std::string c_PelionId = "/sys/devices/platform/pelion/product_id";
const std::string c_VarrowPower = "/sys/devices/platform/varrow/sonar_power";
const std::string c_PelionPower = "/sys/devices/platform/pelion/sonar_power";

inline void Write(const std::string& path, const std::string& bytes)
{
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

inline void Remove(const std::string& path)
{
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

inline std::string Read(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

inline bool InsideVirtualUnit()
{
    struct statfs fs;
    const long c_SysfsMagic = 0x62656572;
    return statfs("/sys", &fs) != 0 || static_cast<long>(fs.f_type) != c_SysfsMagic;
}
}

// Starts every test from a unit without identification files and cleans up after it.
class UnitFilesTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(unitfiles::InsideVirtualUnit()) << "run the unit tests through vunit, never on a real /sys";
        Clean();
    }
    void TearDown() override { Clean(); }

    static void Clean()
    {
        unitfiles::Remove("/sys/devices/platform/varrow");
        unitfiles::Remove("/sys/devices/platform/pelion");
        unitfiles::Remove("/corvane/Application/KillQLSounder");
        unitfiles::Remove("/corvane/Application/QuenlorSounder");
        unitfiles::Remove("/tmp/stop_sonar");
        unitfiles::Remove("/tmp/kill_ran");
    }
};

#endif
