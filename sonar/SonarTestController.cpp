#include "SonarTestController.h"

#include "ProductCatalogue.h"

#include <QFile>

#include <cstdio>
#include <cstring>

CSonarTestController::~CSonarTestController() {}

int CSonarTestController::EnableSonar(std::string* output)
{
    QString powerSwitch;
    switch (ProductCatalogue::Find(GetProductId()).Power)
    {
    case ProductCatalogue::POWER_VARROW:
        powerSwitch = m_VarrowSonarPowerSwitch;
        break;
    case ProductCatalogue::POWER_PELION:
        powerSwitch = m_PelionSonarPowerSwitch;
        break;
    case ProductCatalogue::POWER_NONE:
        return OPERATION_PERFORMED;
    case ProductCatalogue::POWER_NOTICE:
        Message(std::string("Non-Varrow platform. Sonar may not be enabled.\n"), output, false, true);
        return OPERATION_PERFORMED;
    }

    if (!QFile::exists(powerSwitch))
    {
        Message(QString("ERROR: Path does not exist: %1\n").arg(powerSwitch), nullptr, true, false);
        return TEST_FAILED;
    }
    return WriteToFile(powerSwitch, QByteArray("1"), output) ? OPERATION_PERFORMED : TEST_FAILED;
}

int CSonarTestController::BatteryVoltage(std::string& output)
{
    return ShowFileContents(m_BatteryVoltageFile, &output);
}

int CSonarTestController::LCDTemperature(std::string& output)
{
    return ShowFileContents(m_LcdTemperatureFile, &output);
}

int CSonarTestController::SensePin(std::string& output)
{
    return ShowFileContents(m_SensePinFile, &output);
}

void CSonarTestController::HandleReturn(int code, TestResult_T& result)
{
    if (code == 0)
        return;
    result = TEST_FAILED;
    Message(QString("Call to Lowscan function from CSonarTestController Failed, return value: %1\n").arg(code), nullptr,
            false, true);
}

char* CSonarTestController::StringFromQString(QString text)
{
    const QByteArray bytes = text.toLatin1();
    char* copy = new char[bytes.size() + 1];
    memcpy(copy, bytes.constData(), bytes.size());
    copy[bytes.size()] = '\0';
    return copy;
}

void CSonarTestController::ShowValidArguments(std::string* text)
{
    // The examples' "../" and "./" and the "6mping" line are the stations' help as it always was.
    static const char* const c_UsageLines[] = {
        "./sonarbench batteryvoltage (Example: ../sonarbench batteryvoltage)\n",
        "./sonarbench lcdtemperature (Example: ../sonarbench lcdtemperature)\n",
        "./sonarbench watertemperature (Example: ../sonarbench watertemperature)\n",
        "./sonarbench speed <duration> (0 = infinite) (Example: ../sonarbench speed 5)\n",
        "./sonarbench sensepin (Example: ../sonarbench sensepin)\n",
        "./sonarbench loadfpgabinary (Example: ./sonarbench loadfpgabinary)\n",
        ("./sonarbench ping <Start Frequency> <End Frequency> <Depth> <Period> <Channel> <AnalogueGain: high | Medium "
         "| low> (Example: ./sonarbench ping 200000 210000 27 45 0 medium)\n"),
        "./sonarbench lowscanping <Freq 200 | 350 | 200long | 350long > (Example: ./sonarbench lowscanping 200long )\n",
        "./sonarbench xkping Filename Channel IncrementBy (Example: ./sonarbench xkping 200kHPShort.txt 0 5)\n",
        "./sonarbench 6mping <channel> (Example: ./sonarbench 6mping 0 )\n",
    };

    const QString version = "\n" + AppVersionText() + "\n\n\n";
    printf("%s", version.toLatin1().constData());
    fflush(stdout);
    printf("%s", text ? text->c_str() : "");
    fflush(stdout);
    printf("%s", m_OutputStrings[OUT_VALID_ARGUMENTS_HEADER].c_str());
    fflush(stdout);
    for (const char* line : c_UsageLines)
        Message(std::string(line), nullptr, true, false);
}
