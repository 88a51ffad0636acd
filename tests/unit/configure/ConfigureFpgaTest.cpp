#include "ConfigureFpga.h"
#include "DatabaseLumetPingMetaData.h"
#include "DatabasePingMetaData.h"
#include "FPGAIF.h"
#include "FakeDevice.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <sys/stat.h>

namespace
{
// A facade on a fake SPI device: Pk1 has the Lowscan SPI transport, LumetV2 the Lumet one.
struct FacadeRig
{
    explicit FacadeRig(const char* partNumber, const char* model)
    {
        Factory.m_Env = {{"PRODUCT_ID", partNumber}, {model, partNumber}, {"FPGA_CHANNEL_0_COMMS", "/dev/LSfpga0"}};
        Interface.reset(new CFPGAIF(&Factory, 0));
        Device().m_Writes.clear();
    }
    CFakeDevice& Device() const { return Factory.Device("/dev/LSfpga0"); }
    CFakeFactory Factory;
    std::unique_ptr<CFPGAIF> Interface;  // its transport stays with the fake device
};

struct Channel_T
{
    bool active;
    double start, end;
    UINT32 cycles, samples, delay, decimation;
    double gain, colourGain;
    UINT8 stepped, boost;
};

const Channel_T c_Channels[2] = {
    {true, 200000, 210000, 9, 1024, 3, 4, 1.5, 0.25, 0x01, 2},
    {true, 50000, 40000, 5, 512, 7, 8, 2.5, 0.75, 0x10, 3},
};

class ConfigureFpgaTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        mkdir("/tmp/metadata", 0755);
        setenv("NONPERSISTED_DATABASE_ROOT", "/tmp/metadata/", 1);
    }
    COSSLinuxFactory recordFactory;
};
}

TEST_F(ConfigureFpgaTest, IdleLowscanChannelReceivesWithItsNeighboursSettings)
{
    CDatabasePingMetaData record0(&recordFactory, 0), record1(&recordFactory, 1);
    CDatabasePingMetaData* records[2] = {&record0, &record1};

    for (const auto& active : {std::make_pair(true, true), std::make_pair(false, true), std::make_pair(true, false),
                               std::make_pair(false, false)})
    {
        for (int n = 0; n < 2; ++n)
        {
            const Channel_T& c = c_Channels[n];
            records[n]->SetActive(n == 0 ? active.first : active.second);
            records[n]->SetStartFreq(c.start);
            records[n]->SetEndFreq(c.end);
            records[n]->SetNumberOfFullCycles(c.cycles);
            records[n]->SetNumberOfSamples(c.samples);
            records[n]->SetSampleDelay(c.delay);
            records[n]->SetDecimationRate(c.decimation);
            records[n]->SetGain(c.gain);
            records[n]->SetColourGain(c.colourGain);
            records[n]->SetCalculatedSteppedAnalogueGain(c.stepped);
            records[n]->SetCalculatedBoostLevel(c.boost);
        }

        // What the configuration must be, built here from the rule itself.
        LSFpgaCompleteConfigure_T expected;
        const bool isActive[2] = {active.first, active.second};
        for (int n = 0; n < 2; ++n)
        {
            const Channel_T& source = c_Channels[isActive[n] ? n : 1 - n];
            expected.Channels[n] = {static_cast<LSChannel_T>(n),
                                    isActive[n] ? source.cycles : 0,
                                    source.start,
                                    source.end,
                                    source.samples,
                                    source.delay,
                                    source.decimation,
                                    source.gain,
                                    source.colourGain,
                                    source.stepped};
        }
        expected.AnalogueGainLevel =
            expected.Channels[0].SteppedAnalogueGain | expected.Channels[1].SteppedAnalogueGain;
        expected.BoostLevel = c_Channels[isActive[1] ? 1 : 0].boost;

        FacadeRig configured("Nx", "PRODUCT_ID_Pk1"), direct("Nx", "PRODUCT_ID_Pk1");
        CConfigureFpga configure;
        EXPECT_EQ(configure.Configure(records, configured.Interface.get(), false),
                  direct.Interface->setUpForPing(expected));
        ASSERT_EQ(configured.Device().m_Writes.size(), 1u);
        EXPECT_EQ(configured.Device().m_Writes, direct.Device().m_Writes)
            << "channel 0 " << active.first << ", channel 1 " << active.second;
    }
}

TEST_F(ConfigureFpgaTest, LumetChannelsAreProgrammedInOrderThenSent)
{
    CDatabaseLumetPingMetaData record0(&recordFactory, 0), record1(&recordFactory, 1);
    CDatabaseLumetPingMetaData* records[2] = {&record0, &record1};
    CorrelationFilterSettings_T correlation;
    correlation.Coefficients = {{1, -2}, {3, 4}};
    correlation.Scaling = 6;
    correlation.DownShift = 5;
    record1.SetActive(true);
    record1.SetNumberOfSamples(1024);
    record1.SetCalculatedSteppedAnalogueGain(3);
    record1.SetBasebandCentreFreq(70000);
    record1.SetCorrelationTable(correlation);
    record1.SetSubSampleRate(4);
    record1.SetChirpStartFreq(190000);
    record1.SetChirpIncrement(17);
    record1.SetBurstLengthInFullCycles(40);
    record1.SetCalculatedBoostLevel(2);

    FacadeRig configured("N41010", "PRODUCT_ID_LUMETV2"), direct("N41010", "PRODUCT_ID_LUMETV2");
    configured.Device().m_Replies.push_back(Reply({0x00}));
    CConfigureFpga configure;
    const TSQEventCode_T result = configure.Configure(records, configured.Interface.get());

    // The same calls made by hand, in the order the FPGA needs them.
    CFPGAIF& fpga = *direct.Interface;
    direct.Device().m_Replies.push_back(Reply({0x00}));
    bLumetStatusByte status = {0};
    fpga.GetStatusRegister(&status);
    const unsigned int centre = 70000;
    fpga.SetNumberOfSamplesToReceive(1024, 1);
    fpga.SetSteppedAnalogueGain(3, 1);
    fpga.SetBaseBandFilterCentreFreq(centre, 1);
    fpga.SetCorrelationFilter(correlation.Coefficients, 1);
    fpga.SetCorralationDownShift(5, 1);
    fpga.SetSubSampleRate(4u, 1);
    fpga.SetStartFreq(190000, 1);
    fpga.SetChirpIncrement(17, 1);
    fpga.SetBurstLength(40, 1);
    fpga.SetCorralationScaling(6, 1);
    fpga.SetBoostLevel(2);
    fpga.SetFifoCntrlRegister(bCorFifoCntrlByte{0}, 1);
    EXPECT_EQ(result, fpga.UpdateFPGA());
    EXPECT_EQ(result, 0);
    EXPECT_EQ(configured.Device().m_Writes, direct.Device().m_Writes);
    EXPECT_GT(configured.Device().m_Writes.size(), 1u);

    // Nothing active: only the status read reaches the device, and nothing is left to send.
    record1.SetActive(false);
    FacadeRig idle("N41010", "PRODUCT_ID_LUMETV2");
    idle.Device().m_Replies.push_back(Reply({0x00}));
    EXPECT_EQ(configure.Configure(records, idle.Interface.get()), -109);
    EXPECT_EQ(idle.Device().m_Writes.size(), 1u);
}

TEST(ConfigureFpgaDeathTest, NullArgumentsAreProgrammingFaults)
{
    CConfigureFpga configure;
    EXPECT_DEATH(configure.Configure(static_cast<CDatabasePingMetaData**>(nullptr), nullptr, false),
                 "ProgramFpga/ConfigureFpga\\.cpp:53: .*PingMetaData && \"No PingMetaData passed in\"");
    EXPECT_DEATH(configure.Configure(static_cast<CDatabaseLumetPingMetaData**>(nullptr), nullptr),
                 "ConfigureFpga\\.cpp:566: .*FpgaInterface && \"No FpgaInterface Passed to ConfigureFpga\"");
    EXPECT_DEATH(configure.Configure(static_cast<const CDatabaseQL6MPingMetaData*>(nullptr), nullptr, false),
                 "ConfigureFpga\\.cpp:358: .*No FpgaInterface Passed to ConfigureFpga");
    EXPECT_DEATH(
        configure.Configure(static_cast<const CDatabasePingParametersMessage*>(nullptr), nullptr, nullptr, false),
        "ConfigureFpga\\.cpp:136: .*No FpgaInterface Passed to ConfigureFpga");

    // With an interface, those two only answer 0 and leave the device alone.
    FacadeRig rig("N41010", "PRODUCT_ID_LUMETV2");
    EXPECT_EQ(0,
              configure.Configure(static_cast<const CDatabaseQL6MPingMetaData*>(nullptr), rig.Interface.get(), false));
    EXPECT_EQ(0, configure.Configure(static_cast<const CDatabasePingParametersMessage*>(nullptr), nullptr,
                                     rig.Interface.get(), false));
    EXPECT_TRUE(rig.Device().m_Writes.empty());
}
