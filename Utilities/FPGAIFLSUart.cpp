#include "FPGAIFLSUart.h"

#include "LSFpgaCodec.h"
#include "OSSFactory.h"
#include "OSSFile.h"

#include <cassert>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>
#include <vector>

using namespace LSFpga;

std::string CFPGAIFLSUart::DevicePathOrDefault(const std::string& DevicePath, LSChannel_T Channel)
{
    if (!DevicePath.empty())
        return DevicePath;
    return Channel == c_Channel0 ? c_DefaultChannel0Device : c_DefaultChannel1Device;
}

CFPGAIFLSUart::CFPGAIFLSUart(const std::string& SerialDevicePath, IOSSFactory* pFactory)
    : m_ErrorCode(c_TSQ_Success), m_SerialPort(nullptr), m_pFactory(pFactory), m_SerialDevicePath(SerialDevicePath)
{
    assert(pFactory && "No Factory Passed to LowscanIF");
    assert(SerialDevicePath.length() != 0 && "Zero Length Serial Device Passed to CFPGAIFLSUart");

    m_SerialPort = m_pFactory->CreateFile(m_SerialDevicePath.c_str(), O_RDWR, 0);
    assert(m_SerialPort);
    // A failed open leaves the file's error code as this object's.
    m_ErrorCode = m_SerialPort->GetErrorCode();
    if (m_ErrorCode == c_TSQ_Success)
    {
        m_ErrorCode = ConfigureSerialPort(m_SerialPort->GetFileDescriptor());
        if (m_ErrorCode != c_TSQ_Success)
            Report(m_ErrorCode, "CFPGAIFLSUart::CFPGAIFLSUart", "Constructor failed to configure UART ");
    }
}

CFPGAIFLSUart::~CFPGAIFLSUart()
{
    delete m_SerialPort;
    m_SerialPort = nullptr;
}

void CFPGAIFLSUart::Report(TSQEventCode_T Code, const char* Origin, const std::string& Text)
{
    const std::string Message = Text + m_SerialDevicePath;
    m_pFactory->SendEvent(3, Code, Origin, Message.c_str());
}

TSQEventCode_T CFPGAIFLSUart::ConfigureSerialPort(int descriptor)
{
    static const char* const c_Origin = "CFPGAIFLSUart::ConfigureSerialPort";
    TSQEventCode_T Error;
    if (!isatty(descriptor))
    {
        Error = errno;
        const std::string Message = m_SerialDevicePath + " is not a serial port";
        m_pFactory->SendEvent(3, Error, c_Origin, Message.c_str());
        return Error;
    }

    struct termios Options;
    memset(&Options, 0, sizeof(Options));
    tcgetattr(descriptor, &Options);  // result not examined
    if (cfsetispeed(&Options, B3000000) != 0)
    {
        Error = errno;
        Report(Error, c_Origin, "Set ip speed failed on UART ");
        return Error;
    }
    if (cfsetospeed(&Options, B3000000) != 0)
    {
        Error = errno;
        Report(Error, c_Origin, "Set op speed failed on UART ");
        return Error;
    }
    if (tcsetattr(descriptor, TCSANOW, &Options) != 0)
    {
        Error = errno;
        Report(Error, c_Origin, "Set Attributes failed on UART ");
        return Error;
    }

    tcflush(descriptor, TCOFLUSH);
    if (tcgetattr(descriptor, &Options) != 0)
    {
        Error = errno;
        Report(Error, c_Origin, "Get Attributes failed on UART ");
        return Error;
    }

    // 8 data bits, no parity, one stop bit; no output XON/XOFF, input flow
    // control on; no input translation, so a sample byte 0x0D stays 0x0D;
    // non-canonical without echo or signals; no output processing. Every
    // other flag stays as the driver had it.
    Options.c_cflag &= ~(CSIZE | CSTOPB | PARENB);
    Options.c_cflag |= CS8;
    Options.c_iflag &= ~(IXON | ICRNL | INLCR | IGNCR | ISTRIP);
    Options.c_iflag |= IXOFF;
    Options.c_lflag &= ~(ICANON | ECHO | ECHOE | ISIG);
    Options.c_oflag &= ~OPOST;

    tcflush(descriptor, TCOFLUSH);
    if (tcsetattr(descriptor, TCSANOW, &Options) != 0)
    {
        Error = errno;
        Report(Error, c_Origin, "Final Set Attributes failed on UART ");
        return Error;
    }
    return c_TSQ_Success;
}

TSQEventCode_T CFPGAIFLSUart::SetRegister(unsigned short address, unsigned int value)
{
    UINT8 Frame[8] = {0xF5,
                      static_cast<UINT8>(address >> 8),
                      static_cast<UINT8>(address),
                      static_cast<UINT8>(value >> 24),
                      static_cast<UINT8>(value >> 16),
                      static_cast<UINT8>(value >> 8),
                      static_cast<UINT8>(value),
                      0};
    unsigned int Sum = 0;
    for (int i = 0; i < 7; ++i)
        Sum += Frame[i];
    Frame[7] = static_cast<UINT8>(Sum);
    Buffer_Bytes_T Buffer(Frame, sizeof(Frame));
    return SendData(&Buffer);
}

TSQEventCode_T CFPGAIFLSUart::SendData(Buffer_Bytes_T* Buffer)
{
    assert(Buffer);
    m_ErrorCode = c_TSQ_Success;
    if (!m_SerialPort->Write(Buffer))
    {
        m_ErrorCode = m_SerialPort->GetErrorCode();
        Report(m_ErrorCode, "CFPGAIFLSUart::SendData", "failed to send data to UART ");
    }
    return m_ErrorCode;
}

TSQEventCode_T CFPGAIFLSUart::ReceiveData(Buffer_Bytes_T* Buffer)
{
    assert(Buffer);
    m_ErrorCode = c_TSQ_Success;
    const size_t bytesWanted = Buffer->size();
    assert(bytesWanted <= sizeof(LSPingReturnPacket_T));
    m_ErrorCode = ReceiveLoop(m_SerialPort, m_pFactory, m_SerialDevicePath, "CFPGAIFLSUart::ReceiveData", Buffer);
    return m_ErrorCode;
}

TSQEventCode_T CFPGAIFLSUart::Echo(const std::string& Text)
{
    std::vector<UINT8> Bytes(Text.begin(), Text.end());
    Bytes.push_back(0);
    Buffer_Bytes_T Buffer(Bytes.data(), Bytes.size());
    return SendData(&Buffer);
}

TSQEventCode_T CFPGAIFLSUart::Flush()
{
    m_ErrorCode = c_TSQ_Success;
    if (tcflush(m_SerialPort->GetFileDescriptor(), TCIFLUSH) != 0)
    {
        m_ErrorCode = c_TSQ_UartFlushFailed;
        Report(m_ErrorCode, "CFPGAIFLSUart::Flush", "Flush failed on UART ");
    }
    return m_ErrorCode;
}

TSQEventCode_T CFPGAIFLSUart::PingNow()
{
    return SetRegister(c_RegCommand, c_CommandPingNow);
}

// The send's result does not stop the read: an FPGA that got no request
// stays silent and the read ends with -171.
TSQEventCode_T CFPGAIFLSUart::GetVersion(SWVersion_T* pVersion)
{
    assert(pVersion);
    SetRegister(c_RegCommand, c_CommandReportVersion);
    UINT8 Reply[1024] = {};
    Reply[2] = 0xFF;
    Reply[3] = 0xFF;
    Buffer_Bytes_T Buffer(Reply, sizeof(Reply));
    if (ReceiveData(&Buffer) == c_TSQ_Success)
    {
        pVersion->Major = Reply[2];
        pVersion->Minor = Reply[3];
    }
    return m_ErrorCode;
}

TSQEventCode_T CFPGAIFLSUart::SetPulse(LSChannel_T Channel, LSPeriod_T Period, LSFrequency_Hz_T StartFrequency,
                                       LSFrequency_Hz_T EndFrequency)
{
    assert(Period != c_PeriodUnknown);
    assert((Channel == c_Channel0) || (Channel == c_Channel1));
    m_ErrorCode = c_TSQ_Success;
    const PulseWords_T Words = EncodePulse(Period, StartFrequency, EndFrequency);
    if (SetRegister(PulseARegister(Channel), Words.A) == c_TSQ_Success)
        SetRegister(PulseBRegister(Channel), Words.B);
    return m_ErrorCode;
}

TSQEventCode_T CFPGAIFLSUart::SetSampling(LSChannel_T Channel, LSFpgaSamples_T First, LSFpgaSamples_T Second,
                                          LSDecimationRate_T Decimation)
{
    assert(((Channel == c_Channel0) || (Channel == c_Channel1)));
    m_ErrorCode = c_TSQ_Success;
    if (SetRegister(SamplingARegister(Channel), SamplingA(Decimation)) == c_TSQ_Success)
        SetRegister(SamplingBRegister(Channel), SamplingB(First, Second));
    return m_ErrorCode;
}

TSQEventCode_T CFPGAIFLSUart::SetGainAndColourGain(LSChannel_T Channel, LSGain_T Gain, LSColourGain_T ColourGain)
{
    assert((Channel == c_Channel0) || (Channel == c_Channel1));
    m_ErrorCode = c_TSQ_Success;
    if (SetRegister(GainRegister(Channel), GainWord(Gain, 16.0)) == c_TSQ_Success)
        SetRegister(ColourGainRegister(Channel), GainWord(ColourGain, 1024.0));
    return m_ErrorCode;
}

TSQEventCode_T CFPGAIFLSUart::SetAnalogueGainLevel(unsigned char level)
{
    return SetRegister(c_RegAnalogueGain, level);
}

TSQEventCode_T CFPGAIFLSUart::SetBoostLevel(unsigned char level, bool enable)
{
    return SetRegister(c_RegBoost, BoostValue(level, enable));
}

TSQEventCode_T CFPGAIFLSUart::setUpForPing(LSFpgaCompleteConfigure_T Configuration)
{
    m_ErrorCode = c_TSQ_Success;
    for (const LSChannelConfigure_T& Block : Configuration.Channels)
    {
        if (SetPulse(Block.Channel, Block.Period, Block.StartFrequency, Block.EndFrequency) != c_TSQ_Success ||
            SetSampling(Block.Channel, Block.NumberOfSamples, Block.SampleDelay, Block.DecimationRate) !=
                c_TSQ_Success ||
            SetGainAndColourGain(Block.Channel, Block.Gain, Block.ColourGain) != c_TSQ_Success)
            return m_ErrorCode;
    }
    if (SetAnalogueGainLevel(Configuration.AnalogueGainLevel) != c_TSQ_Success)
        return m_ErrorCode;
    return SetBoostLevel(Configuration.BoostLevel, Configuration.BoostEnable != 0);
}

// The channel selects nothing: the FPGA sends the packet of its last ping.
TSQEventCode_T CFPGAIFLSUart::GetPing(LSChannel_T, Buffer_Bytes_T* Samples, Buffer_Bytes_T* Values)
{
    assert(Samples && Values);
    m_ErrorCode = c_TSQ_Success;
    const size_t numberOfSamplesToGet = Samples->size() / 4;
    const size_t sizeOfRxBuffer = PingPacketLength(numberOfSamplesToGet);
    assert(sizeOfRxBuffer <= sizeof(LSPingReturnPacket_T));
    assert(numberOfSamplesToGet <= c_MaxSamplesFromLowscanFPGA);
    const size_t valuesNeeded = 2 * ((numberOfSamplesToGet + 127) / 128) * sizeof(float);
    assert(valuesNeeded <= Values->capacity() && "Values buffer too small for the ping's value pairs");

    LSPingReturnPacket_T Packet = {};
    Buffer_Bytes_T Buffer(Packet, sizeOfRxBuffer);
    if (ReceiveData(&Buffer) != c_TSQ_Success)
        return m_ErrorCode;
    UnpackPing(Packet, numberOfSamplesToGet, Samples, Values);
    return m_ErrorCode;
}

TSQEventCode_T CFPGAIFLSUart::GetErrorCode() const
{
    return m_ErrorCode;
}
