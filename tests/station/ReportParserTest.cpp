// The report parser on reports of every kind, as units print them.
#include "ReportParser.h"

#include <gtest/gtest.h>

namespace
{
// The whole parse as one text, so a case compares everything at once.
std::string Describe(const StepReport_T& report)
{
    QString text = "verdict=" + report.verdict + "\ncommand=" + report.commandLine + "\n";
    for (const QString& error : report.errors)
        text += "error=" + error + "\n";
    for (const auto& field : report.unitData)
        text += "unit " + field.first + "=" + field.second + "\n";
    if (report.reading)
        text += QString("reading=%1\n").arg(*report.reading);
    for (const SampleBlock_T& block : report.blocks)
    {
        text += QString("block %1%2%3:")
                    .arg(block.commaSeparated ? "comma" : "digits", block.complete ? "" : " cut",
                         block.wellFormed ? "" : " malformed");
        for (int sample : block.samples)
            text += QString(" %1").arg(sample);
        text += "\n";
        for (const QString& line : block.lines)
            text += "  " + line + "\n";
    }
    return text.toStdString();
}

const char* const c_Hyphens = "---------------------------------------------------\n";

struct Case_T
{
    const char* name;
    std::string text;
    const char* expected;
};

const Case_T c_Cases[] = {
    {"xk ping, comma block with its trailing comma and the lines after it",
     "cat /corvane/Application/QuenlorSounder/FPGAFirmware/QL6M_A4* > /dev/LSfpga0\n\n"
     "<SonarFPGAData>247,8,4,15,<EndSonarFPGAData>\n"
     "Channel: 0 Element: 1 Centre Freq: 1503 & RxBand: PingConfigRxBand_HF\n\nSamples: 1024 Buffer Bytes: 2048\n" +
         std::string(c_Hyphens) +
         "./sonarbench xkping 200kHPShort.txt 0 256 \n\nTest Output: \nLoading FPGA...\nTest Result: Test Passed.\n",
     "verdict=passed\ncommand=./sonarbench xkping 200kHPShort.txt 0 256\nblock comma: 247 8 4 15\n"
     "  Channel: 0 Element: 1 Centre Freq: 1503 & RxBand: PingConfigRxBand_HF\n"
     "  Samples: 1024 Buffer Bytes: 2048\n"},
    {"two-channel ping, three-digit block with a negative sample, the parameters before it",
     "3\nIf unit segfaults below\n\nParameters:\nCh0Period = 45; Ch1Period = 0 ; Samples = 993\n\n"
     "<SonarFPGAData>247242-05000999<EndSonarFPGAData>\n" +
         std::string(c_Hyphens) +
         "./sonarbench ping 200000 210000 10 45 0 high \n\nTest Output: \nFirmware Version: 1.4\n"
         "Test Result: Test Passed.\n",
     "verdict=passed\ncommand=./sonarbench ping 200000 210000 10 45 0 high\n"
     "block digits: 247 242 -5 0 999\n  Ch0Period = 45; Ch1Period = 0 ; Samples = 993\n"},
    {"a reading, Windows line ends",
     std::string(c_Hyphens) + "./sonarbench batteryvoltage \r\n\r\nTest Output: \r\n3012\r\n\r\n"
                              "Test Result: Operation Performed.\r\n",
     "verdict=performed\ncommand=./sonarbench batteryvoltage\nreading=3012\n"},
    {"water temperature with a fraction after the firmware line",
     std::string(c_Hyphens) + "./sonarbench watertemperature \n\nTest Output: \nFirmware Version: 1.2\n27.7727\n"
                              "Test Result: Operation Performed.\n",
     "verdict=performed\ncommand=./sonarbench watertemperature\nreading=27.7727\n"},
    {"no number shown: no reading",
     std::string(c_Hyphens) + "./sonarbench sensepin \n\nTest Output: \nEmpty File.\nTest Result: Tests Failed.\n",
     "verdict=failed\ncommand=./sonarbench sensepin\n"},
    {"failed run: messages before the hyphen line and the unit data block",
     "ERROR: Path does not exist: /sys/devices/platform/varrow/sonar_power\n" + std::string(c_Hyphens) +
         "./sonarbench batteryvoltage \n\nTest Output: \nERROR: Cannot enable Sonar.\n\n\n\n"
         "//////////////////////////////////\nUnit Data for bug reports: \n"
         "Command:\t\t\t./sonarbench batteryvoltage \nPlatfrom: \t\t\tVarrow\n\nTest App Build ID:\t\t\n"
         "Test App Version:\t\t0.0\nMFD Application Version: \t2.14.0\nPlatform Version: \t\t1.8.3\n"
         "Serial Number: \t\t\t0412345678\n//////////////////////////////////\nTest Result: Tests Failed.\n",
     "verdict=failed\ncommand=./sonarbench batteryvoltage\n"
     "error=ERROR: Path does not exist: /sys/devices/platform/varrow/sonar_power\n"
     "error=ERROR: Cannot enable Sonar.\nunit Command=./sonarbench batteryvoltage\nunit Platfrom=Varrow\n"
     "unit Test App Build ID=\nunit Test App Version=0.0\nunit MFD Application Version=2.14.0\n"
     "unit Platform Version=1.8.3\nunit Serial Number=0412345678\n"},
    {"unknown command: the help and no verdict line",
     std::string(c_Hyphens) + "./sonarbench foo \n\nTest Output: \n\nTest App Build ID: \nTest App Version: 0.0\n\n\n"
                              "ERROR: First Parameter not recognized: ./sonarbench foo \n\n"
                              "Valid arguments are as follows: \n\n"
                              "./sonarbench batteryvoltage (Example: ../sonarbench batteryvoltage)\n",
     "verdict=unrecognised\ncommand=./sonarbench foo\nerror=ERROR: First Parameter not recognized: ./sonarbench foo "
     "\n"},
    {"a handler's result out of range",
     std::string(c_Hyphens) + "./sonarbench speed 1 \n\nTest Output: \nNO VALID RETURN VALUE\n",
     "verdict=none\ncommand=./sonarbench speed 1\n"},
    {"cut short inside a block: what arrived is kept", "\n<SonarFPGAData>24724x22",
     "verdict=none\ncommand=\nblock digits cut malformed: 247\n"},
    {"comma block with an empty field and a value too large",
     "<SonarFPGAData>1,,99999999999,2<EndSonarFPGAData>\n<SonarFPGAData><EndSonarFPGAData>\n",
     "verdict=none\ncommand=\nblock comma malformed: 1 2\nblock digits:\n"},
    {"not a report at all", "\x01\x02binary\n\n", "verdict=none\ncommand=\n"},
};

TEST(ReportParser, ReadsEveryKindOfReport)
{
    for (const Case_T& c : c_Cases)
        EXPECT_EQ(Describe(CReportParser().Parse(QByteArray::fromStdString(c.text))), c.expected) << c.name;
}

TEST(ReportParser, ReadsAThousandSamplesInBothFormats)
{
    QByteArray digits = "<SonarFPGAData>";
    QByteArray commas = "<SonarFPGAData>";
    for (int i = 0; i < 1024; ++i)
    {
        digits += QByteArray::number(i % 1000).rightJustified(3, '0');
        commas += QByteArray::number(i * 60) + ",";
    }
    const StepReport_T report =
        CReportParser().Parse(digits + "<EndSonarFPGAData>\n" + commas + "<EndSonarFPGAData>\n");
    ASSERT_EQ(report.blocks.size(), 2u);
    for (int i = 0; i < 1024; ++i)
    {
        ASSERT_EQ(report.blocks[0].samples.at(i), i % 1000);
        ASSERT_EQ(report.blocks[1].samples.at(i), i * 60);
    }
}
}
