#include "Database/DatabasePingMetaData.h"
#include "PingMetaDataTestSupport.h"


namespace
{
const std::vector<std::string> c_DefaultLines = {
    "0", "255", "1024", "0.000000", "0.000000", "0", "-1", "-2147483648", "-2147483648", "0.000000", "0",
    "0.000000", "0.000000", "1024", "0", "0.000000", "0", "0.000000", "0", "0.000000", "0", "0.000000",
    "0", "0", "0", "1024", "0", "0.000000", "0.000000", "0.000000", "-2147483648"};
}

TEST_F(PingMetaDataTest, NewRecordCreatesItsFileWithTheDefaults)
{
    const mode_t OldMask = umask(022);
    CDatabasePingMetaData Record(&m_Factory, 0);
    umask(OldMask);

    EXPECT_EQ(0, Record.GetErrorCode());
    EXPECT_EQ(PathOf(0), Record.GetDBFilePath());
    EXPECT_EQ(JoinLines(c_DefaultLines), ReadText(PathOf(0)));
    struct stat Info = {};
    ASSERT_EQ(0, stat(PathOf(0).c_str(), &Info));
    EXPECT_EQ(0640u, Info.st_mode & 0777);
}

TEST_F(PingMetaDataTest, EveryFieldLandsOnItsLineInItsFormat)
{
    CDatabasePingMetaData Record(&m_Factory, 3);
    // In file order.
    Record.SetActive(true); Record.SetChannel(1); Record.SetNumberOfSamples(4000000000u);
    Record.SetStartFreq(200000.5); Record.SetEndFreq(-3.25); Record.SetNumberOfFullCycles(17);
    Record.SetDecimationRate(0xFFFFFFFE); Record.SetWorkingDepth(-40); Record.SetRequestedDepth(120);
    Record.SetDistancePerSample(0.125); Record.SetStartSample(4000000000u); Record.SetColourGain(3.75);
    Record.SetGain(12.5); Record.SetNumberOfSamplesToProcess(512); Record.SetCurrentGainLevelPercentage(41);
    Record.SetCurrentGainLevel(4.5f); Record.SetCurrentColourGainLevelPercentage(42);
    Record.SetCurrentColourGainLevel(5.5f); Record.SetCurrentClutterLevelPercentage(43);
    Record.SetCurrentClutterLevel(6.5f); Record.SetCurrentBandwidthPercent(44);
    Record.SetCurrentBurstLengthValueInSec(0.0625f); Record.SetCalculatedSteppedAnalogueGain(7);
    Record.SetCalculatedBoostLevel(200); Record.SetCurrentBurstLengthAsPercent(45);
    Record.SetNumberOfSamplesToDisplay(256); Record.SetSampleDelay(99); Record.SetCorrectionFactor(1.5f);
    Record.SetBurstLengthCorrectionFactor(2.5f); Record.SetSteppedGainCorrectionFactor(-0.5f);
    Record.SetPreviousDepth(77);
    Record.SetRawPingDataState(9);  // not part of the file

    ASSERT_EQ(0, Record.writeDB());
    EXPECT_EQ(JoinLines({"1", "1", "4000000000", "200000.500000", "-3.250000", "17", "-2", "-40", "120", "0.125000",
                         "-294967296", "3.750000", "12.500000", "512", "41", "4.500000", "42", "5.500000", "43",
                         "6.500000", "44", "0.062500", "7", "200", "45", "256", "99", "1.500000", "2.500000",
                         "-0.500000", "77"}),
              ReadText(PathOf(3)));
}

TEST_F(PingMetaDataTest, ShorterRewriteWithANewGainLeavesNoTail)
{
    CDatabasePingMetaData Record(&m_Factory, 0);
    Record.SetStartFreq(123456789.0);
    Record.SetWorkingDepth(-1000000);
    ASSERT_EQ(0, Record.writeDB());

    Record.SetStartFreq(0);
    Record.SetWorkingDepth(INT32_MIN);
    Record.SetGain(7.5);
    ASSERT_EQ(0, Record.writeDB());
    std::vector<std::string> Expected = c_DefaultLines;
    Expected[12] = "7.500000";  // line 13; line 12 is the colour gain
    EXPECT_EQ(JoinLines(Expected), ReadText(PathOf(0)));
}
