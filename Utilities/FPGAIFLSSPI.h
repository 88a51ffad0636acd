#ifndef FPGAIFLSSPI_H
#define FPGAIFLSSPI_H

#include "ByteBuffer.h"
#include "FPGAIFTypes.h"
#include "LSFpgaTypes.h"
#include "TSQEventCodes.h"

#include <string>

class IOSSFactory;
class IOSSFile;

// One register record of a Lowscan SPI request: address and value, both most
// significant byte first.
struct SetRegisterData_T
{
    UINT8 Address[2];
    UINT8 Value[4];
};
static_assert(sizeof(SetRegisterData_T) == 6, "a register record is 6 bytes on the wire");

// The Lowscan FPGA through an SPI device node. The register
// operations only fill 6-byte records in the caller's array; setUpForPing
// sends a whole configuration as one 85-byte request. Every request starts
// with a one-byte command code; replies are read with the UART transport's receive loop.
class CFPGAIFLSSPI
{
public:
    // Request command codes (the first byte of every request).
    static constexpr UINT8 c_RequestPing = 0x01;
    static constexpr UINT8 c_RequestVersion = 0x03;
    static constexpr UINT8 c_RequestRegisterBlock = 0x04;
    static constexpr UINT8 c_RequestADC = 0x05;
    static constexpr UINT8 c_RequestPingDataChannel0 = 0x10;
    static constexpr UINT8 c_RequestPingDataChannel1 = 0x11;
    // Request lengths.
    static constexpr size_t c_RegisterBlockLength = 85;
    static constexpr size_t c_ADCRequestLength = 10;
    static constexpr size_t c_ADCReplyLength = 9;
    // Requests of the sonar FPGA SPI driver.
    static constexpr unsigned long c_IoctlConfigure = 0x80047202;
    static constexpr unsigned long c_IoctlWaitForInterrupt = 0x80047203;

    CFPGAIFLSSPI(const std::string& SerialDevicePath, IOSSFactory* pFactory);
    ~CFPGAIFLSSPI();
    CFPGAIFLSSPI(const CFPGAIFLSSPI&) = delete;
    CFPGAIFLSSPI& operator=(const CFPGAIFLSSPI&) = delete;

    // Record fillers: no I/O, always 0; wrong arguments are assertions.
    TSQEventCode_T SetRegister(SetRegisterData_T* record, unsigned short address, unsigned int value);
    TSQEventCode_T SetPulse(SetRegisterData_T* records, LSChannel_T Channel, LSPeriod_T Period,
                            LSFrequency_Hz_T StartFrequency, LSFrequency_Hz_T EndFrequency);
    TSQEventCode_T SetSampling(SetRegisterData_T* records, LSChannel_T Channel, LSFpgaSamples_T SamplesA,
                               LSFpgaSamples_T SamplesB, LSDecimationRate_T Rate);
    TSQEventCode_T SetGainAndColourGain(SetRegisterData_T* records, LSChannel_T Channel, LSGain_T Gain,
                                        LSColourGain_T ColourGain);
    TSQEventCode_T SetAnalogueGainLevel(SetRegisterData_T* record, unsigned char level);
    TSQEventCode_T SetBoostLevel(SetRegisterData_T* record, unsigned char level, bool enable);

    TSQEventCode_T setUpForPing(LSFpgaCompleteConfigure_T config);
    TSQEventCode_T PingNow();
    TSQEventCode_T Echo(const std::string& text);
    TSQEventCode_T WaitForData();
    TSQEventCode_T SendData(Buffer_Bytes_T* Buffer);
    TSQEventCode_T ReceiveData(Buffer_Bytes_T* Buffer);
    TSQEventCode_T GetPing(LSChannel_T channel, Buffer_Bytes_T* samples, Buffer_Bytes_T* values);
    TSQEventCode_T GetADCReadings(LSADCReadings_T* readings);
    TSQEventCode_T GetVersion(SWVersion_T* version);
    TSQEventCode_T GetErrorCode() const;

private:
    TSQEventCode_T m_ErrorCode;
    IOSSFile* m_SerialPort;
    IOSSFactory* m_pFactory;
    std::string m_DevicePath;
};

#endif
