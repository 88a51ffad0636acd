#include "TestControllerBase.h"

#include <cstdio>
#include <cstdlib>

TestControllerBase::TestControllerBase()
{
    FillMessageTable();
    FillPathTable();
}

TestControllerBase::~TestControllerBase() {}

void TestControllerBase::ShowValidArguments(std::string*) {}

bool TestControllerBase::Message(std::string text, std::string* output, bool printNow, bool addToOutput, bool)
{
    if (addToOutput && output)
        output->append(text);
    if ((addToOutput && !output) || printNow)
    {
        printf("%s", text.c_str());
        fflush(stdout);
    }
    return true;
}

bool TestControllerBase::Message(QString text, std::string* output, bool printNow, bool addToOutput, bool unused)
{
    return Message(std::string(text.toLatin1().constData()), output, printNow, addToOutput, unused);
}

void TestControllerBase::ReportResult(std::string output, std::string commandLine, TestResult_T result)
{
    auto printWithVerdict = [&](OutputStrings_T verdict) {
        output.append(m_OutputStrings[verdict]);
        printf("%s", output.c_str());
        fflush(stdout);
    };

    // For unknown commands and out-of-range results the stations' report format
    // hands the output text to printf as its format: a '%' in it is interpreted.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
    switch (result)
    {
    case TEST_PASSED:
        printWithVerdict(OUT_TEST_PASSED);
        break;
    case TEST_FAILED:
        // Only failed runs carry the unit data for bug reports.
        output.append(GetUnitData(QString::fromLatin1(commandLine.c_str())).toLatin1().constData());
        printWithVerdict(OUT_TESTS_FAILED);
        break;
    case OPERATION_PERFORMED:
        printWithVerdict(OUT_OPERATION_PERFORMED);
        break;
    case NOT_RECOGNIZED:
    {
        printf(output.c_str());
        std::string text;
        if (!commandLine.empty())
            text = m_OutputStrings[OUT_FIRST_PARAMETER_NOT_RECOGNIZED] + commandLine;
        ShowValidArguments(&text);
        break;
    }
    default:
        output.append(m_OutputStrings[OUT_NO_VALID_RETURN_VALUE]);
        printf(output.c_str());
        fflush(stdout);
        break;
    }
#pragma GCC diagnostic pop
}

QString TestControllerBase::AppVersionText()
{
    // This program carries no build identifier and version 0.0.
    return QString("Test App Build ID: %1\nTest App Version: %2.%3").arg(QString()).arg(0).arg(0);
}

unsigned int TestControllerBase::CharToUnsignedInt(const char* text)
{
    // Deliberately lax: handlers do their own range checks.
    return static_cast<unsigned int>(strtol(text, nullptr, 10));
}

void TestControllerBase::FillPathTable()
{
    const QString adc = "/sys/devices/platform/omap/ti_tscadc/tiadc/iio:device0/";
    m_AdcChannel0 = adc + "in_voltage0_raw";
    m_AdcChannel1 = adc + "in_voltage1_raw";
    m_AdcChannel2 = adc + "in_voltage2_raw";
    m_AdcChannel3 = adc + "in_voltage3_raw";
    m_AdcChannel4 = adc + "in_voltage4_raw";
    m_BatteryVoltageFile = m_AdcChannel0;
    m_LcdTemperatureFile = m_AdcChannel1;
    m_SensePinFile = m_AdcChannel4;
    // The sonar board's identity is a resistor divider on the LCD temperature channel.
    m_SonarBoardIdChannel = m_AdcChannel1;

    m_VarrowProductIdFile = "/sys/devices/platform/varrow/product_id";
    m_PelionProductIdFile = "/sys/devices/platform/pelion/product_id";
    m_PelionModuleIdFile = "/sys/devices/platform/pelion/module_id";
    m_ApplicationVersionFile = "/corvane/Application/VERSION";
    m_PlatformVersionFile = "/VERSION";
    m_SerialNumberFile = "/corvane/Config/SerialNumber";

    m_SerialPort0 = "/dev/ttyO0";
    m_SerialPort1 = "/dev/ttyO1";
    m_SerialPort3 = "/dev/ttyO3";
    // Never assigned: the UART transport falls back to its own device names.
    m_UartChannel0Device = QString();
    m_UartChannel1Device = QString();
    m_SpiDevice = "/dev/spidev2.0";
    m_LowscanFpga0Device = "/dev/LSfpga0";
    m_LowscanFpga1Device = "/dev/LSfpga1";
    m_NxpSerialPort = "/dev/ttyNXP0";

    m_VarrowSonarPowerSwitch = "/sys/devices/platform/varrow/sonar_power";
    m_PelionSonarPowerSwitch = "/sys/devices/platform/pelion/sonar_power";
    m_VarrowGpsPowerSwitch = "/sys/devices/platform/varrow/gps_power";
    m_PelionGpsPowerSwitch = "/sys/devices/platform/pelion/gps_power";
    m_WaterTemperatureFile = "/sys/devices/platform/varrow/water_temperature";
    m_Gpio84Value = "/sys/class/gpio/gpio84/value";
    m_Gpio44Value = "/sys/class/gpio/gpio44/value";
    m_TemperatureSensorTool = "/usr/bin/read-temp-sensors";

    m_QLFirmwareFolder = "/corvane/Application/QuenlorSounder/FPGAFirmware";
    m_FirmwareFolder = "/corvane/Application/FPGAFirmware";
    m_KillSounderScript = "/corvane/Application/KillQLSounder";
    m_KillSounderModuleScript = "/corvane/Application/QuenlorSounder/KillQLSounder";

    m_LedBrightness = "/sys/class/leds/keypad/brightness";
    m_Backlight = "/sys/class/backlight/pwm-backlight/brightness";
    m_FrameBuffer = "/dev/fb0";
    m_CompositeVideo = "/dev/video1";
    m_KeypadEvents = "/dev/input/event0";
    m_TouchscreenEvents = "/dev/input/event1";
    m_SerialNumberPartition = "/dev/mmcblk0p11";
    m_WifiConfigFolder = "/corvane/Config/Wireless";
    m_WifiCalibrationFile = "/corvane/Config/Wireless/calibration.ref";
}
