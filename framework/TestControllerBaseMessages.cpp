#include "TestControllerBase.h"

// The family's shared message table. Texts are part of the stations' report
// format and are kept exactly, odd wording and spelling included.
void TestControllerBase::FillMessageTable()
{
    m_OutputStrings[OUT_TEST_PASSED] = "Test Result: Test Passed.\n";
    m_OutputStrings[OUT_TESTS_FAILED] = "Test Result: Tests Failed.\n";
    m_OutputStrings[OUT_OPERATION_PERFORMED] = "Test Result: Operation Performed.\n";
    m_OutputStrings[OUT_FIRST_PARAMETER_NOT_RECOGNIZED] = "ERROR: First Parameter not recognized: ";
    m_OutputStrings[OUT_NO_VALID_RETURN_VALUE] = "NO VALID RETURN VALUE\n";
    m_OutputStrings[OUT_DEFAULT_DURATION] = "Illegal or missing duration parameter. Using default value: 3.";
    m_OutputStrings[OUT_COMPOSITE_VIDEO_SHOWN] = "Composite video has been shown.\n";
    // Usage texts of other test programs of the family; this program never shows them.
    m_OutputStrings[OUT_SERIAL_USAGE] = "";
    m_OutputStrings[OUT_CHARACTERS_WRITTEN_BACK] = "Characters written back: ";
    m_OutputStrings[OUT_CHARACTERS_READ_IN] = "Characters read in: ";
    m_OutputStrings[OUT_WRITE_FAILED] = "ERROR: Write failed.\n";
    m_OutputStrings[OUT_READ_FAILED] = "ERROR: Read failed.\n";
    m_OutputStrings[OUT_VALID_ARGUMENTS] = "\n\nValid arguments are as follows: \n\n";
    m_OutputStrings[OUT_EXPECTED_KEY] = "Expected key: ";
    m_OutputStrings[OUT_ACTUAL_KEY] = "\nActual key: ";
    m_OutputStrings[OUT_NO_KEY_PRESS] = "\nNo Key press detected.\n";
    m_OutputStrings[OUT_CORRECTLY_PRESSED] = " correctly pressed.\n";
    m_OutputStrings[OUT_INCORRECT_KEY_PRESS] = "ERROR: Incorrect Key Press.\n";
    m_OutputStrings[OUT_BUZZER_SOUNDED] = "Buzzer sounded.\n";
    m_OutputStrings[OUT_BUZZER_FAILED] = "ERROR: Failed to start buzzer.\n";
    m_OutputStrings[OUT_FAILED_TO_OPEN_PORT] = "ERROR: Failed to open port.\n";
    m_OutputStrings[OUT_COLOUR_SHOWN] = "Colour successfully shown.\n";
    m_OutputStrings[OUT_LINEARIZATION_BASE64_SIZE] = "ERROR: Input (Base64) Linearization data must be 136 bytes.\n";
    m_OutputStrings[OUT_FAILED_TO_WRITE_FILE] = "ERROR: Failed to write to file:";
    m_OutputStrings[OUT_INVALID_BRIGHTNESS] = "ERROR: Invalid brightness level.\n";
    m_OutputStrings[OUT_INCORRECT_PARAMETER_COUNT] = "ERROR: Incorrect Parameter Count.\n";
    m_OutputStrings[OUT_FILE_NOT_FOUND] = "ERROR: File not found:";
    m_OutputStrings[OUT_CALIBRATION_ENDED] = "Calibration Ended.\n";
    m_OutputStrings[OUT_TEST_ENDED] = "Test Ended.\n";
    m_OutputStrings[OUT_FAILED_TO_OPEN_FILE] = "ERROR: Failed to open file:";
    m_OutputStrings[OUT_LINEARIZATION_NOT_APPLIED] = "ERROR: LINEARIZATION data not applied.\n";
    m_OutputStrings[OUT_LINEARIZATION_BINARY_SIZE] = "ERROR: Binary Linearization data must be 100 bytes.\n";
    m_OutputStrings[OUT_NOT_EOL_TESTS] = "\n\nThe following Tests are not EOL tests.\n";
    m_OutputStrings[OUT_CHECK_IF_TEST_FAILS] = "\nCheck the following if test fails or behaves unexpectedly:\n\n";
    m_OutputStrings[OUT_TOUCHSCREEN_NOT_CALIBRATED] = "ERROR: Touchscreen must be calibrated before running tests.\n";
    m_OutputStrings[OUT_VALID_ARGUMENTS_HEADER] = "\n\nValid arguments are as follows: \n\n";
    m_OutputStrings[OUT_INCORRECT_FILE_CONTENTS] = "ERROR: Incorrect File Contents.\n";
    m_OutputStrings[OUT_EMPTY_FILE] = "Empty File.\n";
    m_OutputStrings[OUT_WIFI_CHANNEL_RANGE] = "Channel Out Of Range (1-14)";
    m_OutputStrings[OUT_WIFI_RATE_RANGE] =
        "Rate Out Of Range (1 (1Mbps), 2 (2Mbps), 4 (5.5Mbps), 8 (6Mbps),\n 16 (9Mbps), 32 (11Mbps), 64 (12Mbps), "
        "128 (18Mbps), \n512 (24Mbps), 1024 (36Mbps), 2048 (48Mbps), 4096 (54Mbps))\n";
    m_OutputStrings[OUT_WIFI_POWER_RANGE] = "Power Out Of Range (0 to 20000 (dBm * 1000))\n";
    m_OutputStrings[OUT_WIFI_REF_POWER_RANGE] = "Ref Power Out Of Range (0-999)\n";
    m_OutputStrings[OUT_WIFI_REF_LEVEL_RANGE] = "Ref Level Out Of Range (0-999)\n";
    m_OutputStrings[OUT_WIFI_BAND_RANGE] = "Band Out Of Range (x-xxx)\n";
    m_OutputStrings[OUT_GPS_WRITE_FAILED] = "ERROR: Failed to write to GPS device node.\n";
    m_OutputStrings[OUT_GATHERING_RECEIVE_STATISTICS] = "Gathering Receive Statistics: Hit any Key when complete.\n";
    m_OutputStrings[OUT_DRIVER_RESTART_FAILED] = "Driver restart failed.\n";
    m_OutputStrings[OUT_TOUCHSCREEN_TRACE] =
        "Touchscreen operational, trace finger around screen edge now. screen now. Ensure the cursor always "
        "follows finger.\n";
    m_OutputStrings[OUT_MAC_ADDRESS_FORMAT] = "ERROR: MAC Address illegal format. Valid format is xx:xx:xx:xx:xx:xx\n";
    m_OutputStrings[OUT_IP_ADDRESS_FORMAT] =
        "ERROR: IP Address illegal format. Valid format is IPv4 Dot Decimal xxx.xxx.xxx.xxx.xxx\n";
    m_OutputStrings[OUT_WIFI_USAGE] = "";
    m_OutputStrings[OUT_INVALID_ENCRYPTION_KEY] = "ERROR: Invalid Encryption Key.\n";
    m_OutputStrings[OUT_WIFI_CALIBRATION_MISSING] =
        "ERROR: WiFi Calibration file does not exist, failed to generate reference file.\n";
    m_OutputStrings[OUT_SD_CARD_USAGE] = "";
    m_OutputStrings[OUT_TOO_MANY_CHARACTERS] = "ERROR: Too many characters. Arbitary paramter limit of 300 characters.";
    m_OutputStrings[OUT_SD_CARDS_NOT_MOUNTED] =
        "ERROR: One or both SD cards not mounted. Ensure an SD Card is present in each slot.\n";
    m_OutputStrings[OUT_LINEARIZATION_CONVERSION_FAILED] = "Linearization conversion failed.\n";
    m_OutputStrings[OUT_REBOOT_UNIT] = "IMPORTANT: Reboot unit.\n";
    m_OutputStrings[OUT_NO_TOUCH_TOP_MIDDLE] = "No touch detected: Top Middle.\n";
    m_OutputStrings[OUT_NO_TOUCH_BOTTOM_MIDDLE] = "No touch detected: Bottom Middle.\n";
    m_OutputStrings[OUT_NO_TOUCH_LEFT_MIDDLE] = "No touch detected: Left Middle.\n";
    m_OutputStrings[OUT_NO_TOUCH_RIGHT_MIDDLE] = "No touch detected: Right Middle.\n";
    m_OutputStrings[OUT_NO_TOUCH_TOP_LEFT] = "No touch detected: TopLeft Corner.\n";
    m_OutputStrings[OUT_NO_TOUCH_BOTTOM_RIGHT] = "No touch detected: BottomRight Corner.\n";
    m_OutputStrings[OUT_NO_TOUCH_TOP_RIGHT] = "No touch detected: TopRight Corner.\n";
    m_OutputStrings[OUT_NO_TOUCH_BOTTOM_LEFT] = "No touch detected: BottomLeft Corner.\n";
    m_OutputStrings[OUT_ASCII_ENCODE_FAILED] = "Failed to ASCII encode binary.\n";
    m_OutputStrings[OUT_IMAGE_SIZE_MISMATCH] =
        "Image Size Does Not Match Screen Res, this will not cause test will not fail.\nDetails:\n";
    m_OutputStrings[OUT_SUSPECT_ADJ_CHANNEL] = "Suspect ADJ Channel. (Check /corvane/Data/Log/syslog/current.)\n";
    m_OutputStrings[OUT_NO_TOUCHSCREEN_INIT_RECORD] =
        "No record of Touchscreen Initialisation. (Check /corvane/Data/Log/syslog/current.)\n";
}
