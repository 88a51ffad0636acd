#ifndef FPGAIFLSUART_H
#define FPGAIFLSUART_H

#include "ByteBuffer.h"
#include "FPGAIFTypes.h"
#include "LSFpgaTypes.h"
#include "TSQEventCodes.h"

#include <string>

class IOSSFactory;
class IOSSFile;

// The Lowscan FPGA over a serial device node: a raw 3,000,000-baud
// 8N1 line, registers written as 8-byte frames, ping return packets read back
// with 1000 ms polls. Every operation returns a TSQEventCode_T (0 success) and
// keeps it for GetErrorCode(); failures are also reported through the
// factory's SendEvent at level 3.
class CFPGAIFLSUart
{
public:
    // The device nodes of the two FPGA channels when the product environment
    // names none (the facade passes them; see DevicePathOrDefault).
    static constexpr const char* c_DefaultChannel0Device = "/dev/ttyO1";
    static constexpr const char* c_DefaultChannel1Device = "/dev/ttyO3";
    // DevicePath itself, or the channel's default device when it is empty
    // (channel 0 for c_Channel0, channel 1 for any other).
    static std::string DevicePathOrDefault(const std::string& DevicePath, LSChannel_T Channel);

    CFPGAIFLSUart(const std::string& SerialDevicePath, IOSSFactory* pFactory);
    ~CFPGAIFLSUart();
    CFPGAIFLSUart(const CFPGAIFLSUart&) = delete;
    CFPGAIFLSUart& operator=(const CFPGAIFLSUart&) = delete;

    TSQEventCode_T SetRegister(unsigned short address, unsigned int value);
    TSQEventCode_T SendData(Buffer_Bytes_T* Buffer);
    TSQEventCode_T ReceiveData(Buffer_Bytes_T* Buffer);
    TSQEventCode_T Echo(const std::string& Text);
    TSQEventCode_T Flush();
    TSQEventCode_T PingNow();
    TSQEventCode_T GetVersion(SWVersion_T* pVersion);
    TSQEventCode_T SetPulse(LSChannel_T Channel, LSPeriod_T Period, LSFrequency_Hz_T StartFrequency,
                            LSFrequency_Hz_T EndFrequency);
    TSQEventCode_T SetSampling(LSChannel_T Channel, LSFpgaSamples_T First, LSFpgaSamples_T Second,
                               LSDecimationRate_T Decimation);
    TSQEventCode_T SetGainAndColourGain(LSChannel_T Channel, LSGain_T Gain, LSColourGain_T ColourGain);
    TSQEventCode_T SetAnalogueGainLevel(unsigned char level);
    TSQEventCode_T SetBoostLevel(unsigned char level, bool enable);
    TSQEventCode_T setUpForPing(LSFpgaCompleteConfigure_T Configuration);
    TSQEventCode_T GetPing(LSChannel_T Channel, Buffer_Bytes_T* Samples, Buffer_Bytes_T* Values);
    TSQEventCode_T GetErrorCode() const;

    // Raw 3,000,000-baud 8N1 set-up of an open descriptor; 0 or the errno of
    // the step that failed.
    TSQEventCode_T ConfigureSerialPort(int descriptor);

private:
    void Report(TSQEventCode_T Code, const char* Origin, const std::string& Text);

    TSQEventCode_T m_ErrorCode;
    IOSSFile* m_SerialPort;
    IOSSFactory* m_pFactory;
    std::string m_SerialDevicePath;
};

#endif
