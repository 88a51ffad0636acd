#ifndef TESTCONTROLLERBASE_H
#define TESTCONTROLLERBASE_H

#include <QByteArray>
#include <QString>

#include <map>
#include <string>

class QProcess;

// Verdict of a run and return value of every command handler.
enum TestResult_T : int
{
    TEST_PASSED = 0,
    TEST_FAILED = 1,
    OPERATION_PERFORMED = 2,
    NOT_RECOGNIZED = 3
};

// Keys of the message table shared by every test program of the family.
enum OutputStrings_T
{
    OUT_TEST_PASSED = 0,
    OUT_TESTS_FAILED = 1,
    OUT_OPERATION_PERFORMED = 2,
    OUT_FIRST_PARAMETER_NOT_RECOGNIZED = 3,
    OUT_NO_VALID_RETURN_VALUE = 4,
    OUT_DEFAULT_DURATION = 5,
    OUT_COMPOSITE_VIDEO_SHOWN = 6,
    OUT_SERIAL_USAGE = 7,
    OUT_CHARACTERS_WRITTEN_BACK = 8,
    OUT_CHARACTERS_READ_IN = 9,
    OUT_WRITE_FAILED = 10,
    OUT_READ_FAILED = 11,
    OUT_VALID_ARGUMENTS = 12,
    OUT_EXPECTED_KEY = 13,
    OUT_ACTUAL_KEY = 14,
    OUT_NO_KEY_PRESS = 15,
    OUT_CORRECTLY_PRESSED = 16,
    OUT_INCORRECT_KEY_PRESS = 17,
    OUT_BUZZER_SOUNDED = 18,
    OUT_BUZZER_FAILED = 19,
    OUT_FAILED_TO_OPEN_PORT = 20,
    OUT_COLOUR_SHOWN = 21,
    OUT_LINEARIZATION_BASE64_SIZE = 22,
    OUT_FAILED_TO_WRITE_FILE = 23,
    OUT_INVALID_BRIGHTNESS = 24,
    OUT_INCORRECT_PARAMETER_COUNT = 25,
    OUT_FILE_NOT_FOUND = 26,
    OUT_CALIBRATION_ENDED = 27,
    OUT_TEST_ENDED = 28,
    OUT_FAILED_TO_OPEN_FILE = 29,
    OUT_LINEARIZATION_NOT_APPLIED = 30,
    OUT_LINEARIZATION_BINARY_SIZE = 31,
    OUT_NOT_EOL_TESTS = 32,
    OUT_CHECK_IF_TEST_FAILS = 33,
    OUT_TOUCHSCREEN_NOT_CALIBRATED = 34,
    OUT_VALID_ARGUMENTS_HEADER = 35,
    OUT_INCORRECT_FILE_CONTENTS = 36,
    OUT_EMPTY_FILE = 37,
    OUT_WIFI_CHANNEL_RANGE = 38,
    OUT_WIFI_RATE_RANGE = 39,
    OUT_WIFI_POWER_RANGE = 40,
    OUT_WIFI_REF_POWER_RANGE = 41,
    OUT_WIFI_REF_LEVEL_RANGE = 42,
    OUT_WIFI_BAND_RANGE = 43,
    OUT_GPS_WRITE_FAILED = 44,
    OUT_GATHERING_RECEIVE_STATISTICS = 45,
    OUT_DRIVER_RESTART_FAILED = 46,
    OUT_TOUCHSCREEN_TRACE = 47,
    OUT_MAC_ADDRESS_FORMAT = 50,
    OUT_IP_ADDRESS_FORMAT = 51,
    OUT_WIFI_USAGE = 52,
    OUT_INVALID_ENCRYPTION_KEY = 53,
    OUT_WIFI_CALIBRATION_MISSING = 54,
    OUT_SD_CARD_USAGE = 55,
    OUT_TOO_MANY_CHARACTERS = 56,
    OUT_SD_CARDS_NOT_MOUNTED = 57,
    OUT_LINEARIZATION_CONVERSION_FAILED = 58,
    OUT_REBOOT_UNIT = 59,
    OUT_NO_TOUCH_TOP_MIDDLE = 60,
    OUT_NO_TOUCH_BOTTOM_MIDDLE = 61,
    OUT_NO_TOUCH_LEFT_MIDDLE = 62,
    OUT_NO_TOUCH_RIGHT_MIDDLE = 63,
    OUT_NO_TOUCH_TOP_LEFT = 64,
    OUT_NO_TOUCH_BOTTOM_RIGHT = 65,
    OUT_NO_TOUCH_TOP_RIGHT = 66,
    OUT_NO_TOUCH_BOTTOM_LEFT = 67,
    OUT_ASCII_ENCODE_FAILED = 68,
    OUT_IMAGE_SIZE_MISMATCH = 69,
    OUT_SUSPECT_ADJ_CHANNEL = 70,
    OUT_NO_TOUCHSCREEN_INIT_RECORD = 71
};

// Product codes of GetProductId(); 0 is "no product recognised", 27 is never produced.
enum ProductCode_T : unsigned int
{
    PRODUCT_NONE = 0,
    PRODUCT_HY05 = 1,
    PRODUCT_HX10 = 2,
    PRODUCT_HX05 = 3,
    PRODUCT_HY10 = 4,
    PRODUCT_HY20 = 5,
    PRODUCT_HY03 = 6,
    PRODUCT_HZ02 = 7,
    PRODUCT_HZ03 = 8,
    PRODUCT_HZ05 = 9,
    PRODUCT_HZ10 = 10,
    PRODUCT_VARROW = 11,
    PRODUCT_VARROWX = 12,
    PRODUCT_TQ = 13,
    PRODUCT_HALVARD_KEYBOARD = 14,
    PRODUCT_QL1A = 15,
    PRODUCT_QL2A = 16,
    PRODUCT_QL4K = 17,
    PRODUCT_QL5K = 18,
    PRODUCT_QL6M = 19,
    PRODUCT_LUMETV4 = 20,
    PRODUCT_LUMETV1 = 21,
    PRODUCT_LUMETV2 = 22,
    PRODUCT_LUMETV3 = 23,
    PRODUCT_LUMETV5 = 24,
    PRODUCT_LUMETV6 = 25,
    PRODUCT_TESSFINV1 = 26,
    PRODUCT_NR1 = 28,
    PRODUCT_NR2 = 29,
    PRODUCT_NR3 = 30
};

// The part every test program of the family shares: message table, report,
// file and process helpers, unit identification and the fixed paths.
class TestControllerBase
{
public:
    TestControllerBase();
    virtual ~TestControllerBase();

    virtual void ShowValidArguments(std::string* text);

    bool Message(std::string text, std::string* output, bool printNow, bool addToOutput, bool unused = false);
    bool Message(QString text, std::string* output, bool printNow, bool addToOutput, bool unused = false);

    void ReportResult(std::string output, std::string commandLine, TestResult_T result);

    int GetFileContents(QString path, QByteArray& contents, std::string* output);
    QString ReadFileContents(QString path);
    bool CheckFileContents(QString path, QByteArray expected, std::string* output);
    bool WriteToFile(QString path, QByteArray data, std::string* output);
    int ShowFileContents(QString path, std::string* output);
    int RunProcess(QString command, std::string* output = nullptr,
                   unsigned int timeoutSeconds = c_DefaultProcessTimeoutSeconds, QProcess** process = nullptr,
                   bool keepRunning = false, int quiet = 0);

    // A row of the message table, for the front end's own messages.
    std::string OutputText(OutputStrings_T key) { return m_OutputStrings[key]; }

    unsigned int GetProductId();
    QString GetUnitData(QString command);

    static unsigned int CharToUnsignedInt(const char* text);

    // "Test App Build ID: ...\nTest App Version: x.y" of the help and the unit data.
    static QString AppVersionText();

    // Waiting for a child process without limit would hang a factory station.
    static const unsigned int c_DefaultProcessTimeoutSeconds = 30;

protected:
    std::map<OutputStrings_T, std::string> m_OutputStrings;

    // Unit identification and bug-report data.
    QString m_VarrowProductIdFile;
    QString m_PelionProductIdFile;
    QString m_PelionModuleIdFile;
    QString m_SonarBoardIdChannel;
    QString m_ApplicationVersionFile;
    QString m_PlatformVersionFile;
    QString m_SerialNumberFile;

    // ADC channels.
    QString m_AdcChannel0;
    QString m_AdcChannel1;
    QString m_AdcChannel2;
    QString m_AdcChannel3;
    QString m_AdcChannel4;
    QString m_BatteryVoltageFile;
    QString m_LcdTemperatureFile;
    QString m_SensePinFile;

    // Serial ports, SPI and FPGA device nodes.
    QString m_SerialPort0;
    QString m_SerialPort1;
    QString m_SerialPort3;
    QString m_UartChannel0Device;
    QString m_UartChannel1Device;
    QString m_SpiDevice;
    QString m_LowscanFpga0Device;
    QString m_LowscanFpga1Device;
    QString m_NxpSerialPort;

    // Sonar power, sensors and GPIOs.
    QString m_VarrowSonarPowerSwitch;
    QString m_PelionSonarPowerSwitch;
    QString m_VarrowGpsPowerSwitch;
    QString m_PelionGpsPowerSwitch;
    QString m_WaterTemperatureFile;
    QString m_Gpio84Value;
    QString m_Gpio44Value;
    QString m_TemperatureSensorTool;

    // Sounder application.
    QString m_QLFirmwareFolder;
    QString m_FirmwareFolder;
    QString m_KillSounderScript;
    QString m_KillSounderModuleScript;

    // Paths of the family's other test programs (display, input, storage, wireless).
    QString m_LedBrightness;
    QString m_Backlight;
    QString m_FrameBuffer;
    QString m_CompositeVideo;
    QString m_KeypadEvents;
    QString m_TouchscreenEvents;
    QString m_SerialNumberPartition;
    QString m_WifiConfigFolder;
    QString m_WifiCalibrationFile;

private:
    void FillMessageTable();
    void FillPathTable();
    void ReportOpenFailure(const QString& path, std::string* output);
};

#endif
