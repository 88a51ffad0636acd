#include "FPGAIFLSSPI.h"

#include "LSFpgaCodec.h"
#include "OSSFactory.h"
#include "OSSFile.h"

#include <cassert>
#include <cstring>
#include <fcntl.h>
#include <vector>

using namespace LSFpga;

CFPGAIFLSSPI::CFPGAIFLSSPI(const std::string& SerialDevicePath, IOSSFactory* pFactory)
    : m_ErrorCode(c_TSQ_Success), m_SerialPort(nullptr), m_pFactory(pFactory), m_DevicePath(SerialDevicePath)
{
    assert(pFactory && "No Factory Passed to CFPGAIFLSSPI");
    assert(SerialDevicePath.length() != 0 && "Zero Length Serial Device Passed to CFPGAIFLSSPI");

    m_SerialPort = m_pFactory->CreateFile(m_DevicePath.c_str(), O_RDWR, 0);
    assert(m_SerialPort);
    m_ErrorCode = m_SerialPort->GetErrorCode();
    if (m_ErrorCode != c_TSQ_Success)
        return;
    // The configure request's own result is not kept, so the report below
    // never goes out on this path (as in the Cor transport).
    m_SerialPort->Ioctl(c_IoctlConfigure, nullptr);
    if (m_ErrorCode != c_TSQ_Success)
    {
        const std::string Message = "Constructor failed to configure SPI " + m_DevicePath;
        m_pFactory->SendEvent(3, m_ErrorCode, "CFPGAIFLSSPI::CFPGAIFLSSPI", Message.c_str());
    }
}

CFPGAIFLSSPI::~CFPGAIFLSSPI()
{
    delete m_SerialPort;
    m_SerialPort = nullptr;
    m_pFactory = nullptr;
}

TSQEventCode_T CFPGAIFLSSPI::SetRegister(SetRegisterData_T* record, unsigned short address, unsigned int value)
{
    assert(record);
    record->Address[0] = static_cast<UINT8>(address >> 8);
    record->Address[1] = static_cast<UINT8>(address);
    record->Value[0] = static_cast<UINT8>(value >> 24);
    record->Value[1] = static_cast<UINT8>(value >> 16);
    record->Value[2] = static_cast<UINT8>(value >> 8);
    record->Value[3] = static_cast<UINT8>(value);
    m_ErrorCode = c_TSQ_Success;
    return m_ErrorCode;
}

TSQEventCode_T CFPGAIFLSSPI::SetPulse(SetRegisterData_T* records, LSChannel_T Channel, LSPeriod_T Period,
                                      LSFrequency_Hz_T StartFrequency, LSFrequency_Hz_T EndFrequency)
{
    assert(Period != c_PeriodUnknown);
    assert((Channel == c_Channel0) || (Channel == c_Channel1));
    assert(records);
    const PulseWords_T Words = EncodePulse(Period, StartFrequency, EndFrequency);
    SetRegister(&records[0], PulseARegister(Channel), Words.A);
    return SetRegister(&records[1], PulseBRegister(Channel), Words.B);
}

TSQEventCode_T CFPGAIFLSSPI::SetSampling(SetRegisterData_T* records, LSChannel_T Channel, LSFpgaSamples_T SamplesA,
                                         LSFpgaSamples_T SamplesB, LSDecimationRate_T Rate)
{
    assert(((Channel == c_Channel0) || (Channel == c_Channel1)));
    assert(records);
    SetRegister(&records[0], SamplingARegister(Channel), SamplingA(Rate));
    return SetRegister(&records[1], SamplingBRegister(Channel), SamplingB(SamplesA, SamplesB));
}

TSQEventCode_T CFPGAIFLSSPI::SetGainAndColourGain(SetRegisterData_T* records, LSChannel_T Channel, LSGain_T Gain,
                                                  LSColourGain_T ColourGain)
{
    assert((Channel == c_Channel0) || (Channel == c_Channel1));
    assert(records);
    SetRegister(&records[0], GainRegister(Channel), GainWord(Gain, 16.0));
    return SetRegister(&records[1], ColourGainRegister(Channel), GainWord(ColourGain, 1024.0));
}

TSQEventCode_T CFPGAIFLSSPI::SetAnalogueGainLevel(SetRegisterData_T* record, unsigned char level)
{
    return SetRegister(record, c_RegAnalogueGain, level);
}

TSQEventCode_T CFPGAIFLSSPI::SetBoostLevel(SetRegisterData_T* record, unsigned char level, bool enable)
{
    return SetRegister(record, c_RegBoost, BoostValue(level, enable));
}

TSQEventCode_T CFPGAIFLSSPI::setUpForPing(LSFpgaCompleteConfigure_T config)
{
    // Six records per channel block, then analogue gain and boost.
    SetRegisterData_T Records[14];
    SetRegisterData_T* pRecord = Records;
    for (const LSChannelConfigure_T& Block : config.Channels)
    {
        SetPulse(pRecord, Block.Channel, Block.Period, Block.StartFrequency, Block.EndFrequency);
        SetSampling(pRecord + 2, Block.Channel, Block.NumberOfSamples, Block.SampleDelay, Block.DecimationRate);
        SetGainAndColourGain(pRecord + 4, Block.Channel, Block.Gain, Block.ColourGain);
        pRecord += 6;
    }
    SetAnalogueGainLevel(pRecord++, config.AnalogueGainLevel);
    SetBoostLevel(pRecord, config.BoostLevel, config.BoostEnable != 0);

    UINT8 Request[c_RegisterBlockLength];
    static_assert(sizeof(Request) == 1 + sizeof(Records), "the register block request is 85 bytes");
    Request[0] = c_RequestRegisterBlock;
    memcpy(Request + 1, Records, sizeof(Records));
    Buffer_Bytes_T Buffer(Request, sizeof(Request));
    return SendData(&Buffer);
}

TSQEventCode_T CFPGAIFLSSPI::PingNow()
{
    UINT8 Request[1] = {c_RequestPing};
    Buffer_Bytes_T Buffer(Request, sizeof(Request));
    return SendData(&Buffer);
}

TSQEventCode_T CFPGAIFLSSPI::Echo(const std::string& text)
{
    std::vector<UINT8> Bytes(text.begin(), text.end());
    Bytes.push_back(0);
    Buffer_Bytes_T Buffer(Bytes.data(), Bytes.size());
    return SendData(&Buffer);
}

TSQEventCode_T CFPGAIFLSSPI::WaitForData()
{
    m_ErrorCode = c_TSQ_Success;
    if (!m_SerialPort->Ioctl(c_IoctlWaitForInterrupt, nullptr))
        m_ErrorCode = m_SerialPort->GetErrorCode();
    return m_ErrorCode;
}

TSQEventCode_T CFPGAIFLSSPI::SendData(Buffer_Bytes_T* Buffer)
{
    assert(Buffer);
    m_ErrorCode = c_TSQ_Success;
    if (!m_SerialPort->Write(Buffer))
    {
        m_ErrorCode = m_SerialPort->GetErrorCode();
        // "UART" on this SPI transport too, word for word.
        const std::string Message = "failed to send data to UART " + m_DevicePath;
        m_pFactory->SendEvent(3, m_ErrorCode, "CFPGAIFLSSPI::SendData", Message.c_str());
    }
    return m_ErrorCode;
}

TSQEventCode_T CFPGAIFLSSPI::ReceiveData(Buffer_Bytes_T* Buffer)
{
    assert(Buffer);
    m_ErrorCode = c_TSQ_Success;
    const size_t bytesWanted = Buffer->size();
    assert(bytesWanted <= sizeof(LSPingReturnPacket_T));
    m_ErrorCode = ReceiveLoop(m_SerialPort, m_pFactory, m_DevicePath, "CFPGAIFLSSPI::ReceiveData", Buffer);
    return m_ErrorCode;
}

TSQEventCode_T CFPGAIFLSSPI::GetPing(LSChannel_T channel, Buffer_Bytes_T* samples, Buffer_Bytes_T* values)
{
    assert(samples && values);
    const size_t numberOfSamplesToGet = samples->size() / 4;
    const size_t sizeOfRxBuffer = PingPacketLength(numberOfSamplesToGet);
    assert(sizeOfRxBuffer <= sizeof(LSPingReturnPacket_T));
    assert(numberOfSamplesToGet <= c_MaxSamplesFromLowscanFPGA);
    const size_t valuesNeeded = 2 * ((numberOfSamplesToGet + 127) / 128) * sizeof(float);
    assert(valuesNeeded <= values->capacity() && "Values buffer too small for the ping's value pairs");

    // The request is as long as the packet plus its command byte; the send's
    // result is kept but does not stop the read.
    std::vector<UINT8> Request(sizeOfRxBuffer + 1, 0);
    Request[0] = channel == c_Channel1 ? c_RequestPingDataChannel1 : c_RequestPingDataChannel0;
    Buffer_Bytes_T RequestBuffer(Request.data(), Request.size());
    SendData(&RequestBuffer);

    LSPingReturnPacket_T Packet = {};
    Buffer_Bytes_T Buffer(Packet, sizeOfRxBuffer);
    if (ReceiveData(&Buffer) != c_TSQ_Success)
        return m_ErrorCode;
    UnpackPing(Packet, numberOfSamplesToGet, samples, values);
    return m_ErrorCode;
}

TSQEventCode_T CFPGAIFLSSPI::GetADCReadings(LSADCReadings_T* readings)
{
    assert(readings);
    UINT8 Request[c_ADCRequestLength] = {c_RequestADC};
    Buffer_Bytes_T RequestBuffer(Request, sizeof(Request));
    SendData(&RequestBuffer);  // overwritten by the receive's result

    UINT8 Reply[c_ADCReplyLength] = {};
    Buffer_Bytes_T ReplyBuffer(Reply, sizeof(Reply));
    if (ReceiveData(&ReplyBuffer) == c_TSQ_Success)
    {
        UINT32* const Targets[3] = {&readings->ADCReference, &readings->WaterTemperature, &readings->Auxiliary};
        for (int i = 0; i < 3; ++i)
            *Targets[i] = (static_cast<UINT32>(Reply[3 * i]) << 16) | (static_cast<UINT32>(Reply[3 * i + 1]) << 8) |
                          Reply[3 * i + 2];
    }
    return m_ErrorCode;
}

// As for the ADC readings, the send's result does not stop the read.
TSQEventCode_T CFPGAIFLSSPI::GetVersion(SWVersion_T* version)
{
    assert(version);
    UINT8 Request[5] = {c_RequestVersion, 0x00, 0x00, 0xFF, 0xFF};
    Buffer_Bytes_T RequestBuffer(Request, sizeof(Request));
    SendData(&RequestBuffer);

    UINT8 Reply[4] = {0x00, 0x00, 0xFF, 0xFF};
    Buffer_Bytes_T ReplyBuffer(Reply, sizeof(Reply));
    if (ReceiveData(&ReplyBuffer) == c_TSQ_Success)
    {
        version->Major = Reply[2];
        version->Minor = Reply[3];
    }
    return m_ErrorCode;
}

TSQEventCode_T CFPGAIFLSSPI::GetErrorCode() const
{
    return m_ErrorCode;
}
