#include "DatabasePingMetaData.h"
#include "DatabaseLumetPingMetaData.h"
#include "PingMetaDataTestSupport.h"

namespace
{
const std::vector<std::string> c_DefaultLines = {
    "0",           "255",      "1024", "0.000000", "0.000000", "0",        "-1",         "-2147483648",
    "-2147483648", "0.000000", "0",    "0.000000", "0.000000", "1024",     "0",          "0.000000",
    "0",           "0.000000", "0",    "0.000000", "0",        "0.000000", "0",          "0",
    "0",           "1024",     "0",    "0.000000", "0.000000", "0.000000", "-2147483648"};
const std::vector<std::string> c_LumetDefaultLines = {
    "0",        "255", "2048",     "0",           "0",           "0",           "65535",    "65535", "0",
    "0",        "0",   "0",        "-2147483648", "-2147483648", "0.000000",    "0",        "2048",  "0",
    "0.000000", "0",   "0.000000", "0",           "0.000000",    "0",           "0.000000", "0",     "0",
    "2048",     "0",   "0.000000", "0.000000",    "0.000000",    "-2147483648", "0",        "0"};
}

TEST_F(PingMetaDataTest, NewRecordsCreateTheirFilesWithTheDefaultsAndAShorterRewriteLeavesNoTail)
{
    const mode_t OldMask = umask(022);
    CDatabasePingMetaData Record(&m_Factory, 0);
    CDatabaseLumetPingMetaData LumetRecord(&m_Factory, 1);
    umask(OldMask);
    EXPECT_EQ(0, Record.GetErrorCode());
    EXPECT_EQ(0, LumetRecord.GetErrorCode());
    EXPECT_EQ(PathOf(1), LumetRecord.GetDBFilePath());
    EXPECT_EQ(JoinLines(c_DefaultLines), ReadText(PathOf(0)));
    EXPECT_EQ(JoinLines(c_LumetDefaultLines) + "Lumet Channel 255 CorrelationFilterTable Size = 0 \n",
              ReadText(PathOf(1)));
    struct stat Info = {};
    EXPECT_EQ(0, stat(PathOf(0).c_str(), &Info));
    EXPECT_EQ(0640u, Info.st_mode & 0777);

    Record.SetStartFreq(123456789.0);
    ASSERT_EQ(0, Record.writeDB());
    Record.SetStartFreq(0);
    Record.SetGain(7.5);
    ASSERT_EQ(0, Record.writeDB());
    std::vector<std::string> Expected = c_DefaultLines;
    Expected[12] = "7.500000";  // line 13; line 12 is the colour gain
    EXPECT_EQ(JoinLines(Expected), ReadText(PathOf(0)));
}

TEST_F(PingMetaDataTest, EveryFieldLandsOnItsLineInItsFormat)
{
    CDatabasePingMetaData Record(&m_Factory, 3);
    // In file order.
    Record.SetActive(true);
    Record.SetChannel(1);
    Record.SetNumberOfSamples(4000000000u);
    Record.SetStartFreq(200000.5);
    Record.SetEndFreq(-3.25);
    Record.SetNumberOfFullCycles(17);
    Record.SetDecimationRate(0xFFFFFFFE);
    Record.SetWorkingDepth(-40);
    Record.SetRequestedDepth(120);
    Record.SetDistancePerSample(0.125);
    Record.SetStartSample(4000000000u);
    Record.SetColourGain(3.75);
    Record.SetGain(12.5);
    Record.SetNumberOfSamplesToProcess(512);
    Record.SetCurrentGainLevelPercentage(41);
    Record.SetCurrentGainLevel(4.5f);
    Record.SetCurrentColourGainLevelPercentage(42);
    Record.SetCurrentColourGainLevel(5.5f);
    Record.SetCurrentClutterLevelPercentage(43);
    Record.SetCurrentClutterLevel(6.5f);
    Record.SetCurrentBandwidthPercent(44);
    Record.SetCurrentBurstLengthValueInSec(0.0625f);
    Record.SetCalculatedSteppedAnalogueGain(7);
    Record.SetCalculatedBoostLevel(200);
    Record.SetCurrentBurstLengthAsPercent(45);
    Record.SetNumberOfSamplesToDisplay(256);
    Record.SetSampleDelay(99);
    Record.SetCorrectionFactor(1.5f);
    Record.SetBurstLengthCorrectionFactor(2.5f);
    Record.SetSteppedGainCorrectionFactor(-0.5f);
    Record.SetPreviousDepth(77);
    Record.SetRawPingDataState(9);  // not part of the file

    ASSERT_EQ(0, Record.writeDB());
    EXPECT_EQ(JoinLines({"1",   "1",        "4000000000", "200000.500000", "-3.250000", "17",        "-2", "-40",
                         "120", "0.125000", "-294967296", "3.750000",      "12.500000", "512",       "41", "4.500000",
                         "42",  "5.500000", "43",         "6.500000",      "44",        "0.062500",  "7",  "200",
                         "45",  "256",      "99",         "1.500000",      "2.500000",  "-0.500000", "77"}),
              ReadText(PathOf(3)));
}

TEST_F(PingMetaDataTest, EveryLumetFieldLandsOnItsLineThenTheTable)
{
    CDatabaseLumetPingMetaData Record(&m_Factory, 5);
    // In file order.
    Record.SetActive(true);
    Record.SetChannel(1);
    Record.SetNumberOfSamples(1024);
    Record.SetCalculatedSteppedAnalogueGain(50);
    Record.SetBasebandCentreFreq(3000000000u);
    Record.SetSubSampleRate(3);
    Record.SetStartFreq(2000);
    Record.SetEndFreq(3500);
    Record.SetChirpStartFreq(12098499);
    Record.SetChirpEndFreq(21172373);
    Record.SetChirpIncrement(11);
    Record.SetBurstLengthInFullCycles(205);
    Record.SetWorkingDepth(-40);
    Record.SetRequestedDepth(120);
    Record.SetDistancePerSample(0.125);
    Record.SetStartSample(8);
    Record.SetNumberOfSamplesToProcess(1000);
    Record.SetCurrentGainLevelPercentage(41);
    Record.SetCurrentGainLevel(4.5f);
    Record.SetCurrentColourGainLevelPercentage(42);
    Record.SetCurrentColourGainLevel(5.5f);
    Record.SetCurrentClutterLevelPercentage(43);
    Record.SetCurrentClutterLevel(6.5f);
    Record.SetCurrentBandwidthPercent(44);
    Record.SetCurrentBurstLengthValueInSec(0.0625f);
    Record.SetCalculatedBoostLevel(91);
    Record.SetCurrentBurstLengthAsPercent(45);
    Record.SetNumberOfSamplesToDisplay(900);
    Record.SetSampleDelay(99);
    Record.SetCorrectionFactor(1.5f);
    Record.SetBurstLengthCorrectionFactor(2.5f);
    Record.SetSteppedGainCorrectionFactor(-0.5f);
    Record.SetPreviousDepth(77);

    // A longer table first: the second write must leave none of it behind.
    Record.SetCorrelationTable({{{-32768, 32767}, {1137, 1315}, {1504, 1705}}, 0, 0});
    ASSERT_EQ(0, Record.writeDB());
    Record.SetCorrelationTable({{{1, -2}, {3, 4}}, 243, 16});  // scaling, down-shift
    ASSERT_EQ(0, Record.writeDB());
    EXPECT_EQ(
        JoinLines({"1",        "1",  "1024",     "50",       "-1294967296", "3",        "2000",     "3500", "12098499",
                   "21172373", "11", "205",      "-40",      "120",         "0.125000", "8",        "1000", "41",
                   "4.500000", "42", "5.500000", "43",       "6.500000",    "44",       "0.062500", "91",   "45",
                   "900",      "99", "1.500000", "2.500000", "-0.500000",   "77",       "16",       "243"}) +
            "Lumet Channel 1 CorrelationFilterTable Size = 2 \n1,-2,3,4,",
        ReadText(PathOf(5)));
}
