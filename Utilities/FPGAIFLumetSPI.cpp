#include "FPGAIFLumetSPI.h"

#include <fcntl.h>

#include <cassert>
#include <cstring>

namespace
{
constexpr UINT32 c_LumetClockHz = 71000000;

enum LumetRegister_T : CorFPGAAddress_T
{
    eCommand = 0,
    eStatus = 1,
    eBoostLevel = 8,
    eSync = 96,
    eWifiLed = 113,
    eAdcReference = 128,
    eWaterTemp = 132,
    eSenseResistor = 136
};

// Offsets inside a channel's register block.
enum LumetChannelRegister_T : CorFPGAAddress_T
{
    eNumberOfSamples = 0x10,
    eSteppedGain = 0x12,
    eBaseBandCentreFreq = 0x20,
    eCorrelationScaling = 0x40,
    eCorrelationDownShift = 0x41,
    eSubSampleRate = 0x42,
    ePingFifo = 0x50,
    eFifoControl = 0x51,
    eFifoStatus = 0x52,
    eStartFreq = 0x200,
    eChirpIncrement = 0x204,
    eBurstLength = 0x208,
    eCorrelationTable = 0x2000
};

CorFPGAAddress_T ChannelRegister(FPGAChannel_T Channel, LumetChannelRegister_T Offset)
{
    return static_cast<CorFPGAAddress_T>((Channel == 1 ? 0x8000 : 0x4000) + Offset);
}

// Correlation tables go out in whole multiples of this many sets.
constexpr size_t c_CorrelationPage = 512;
}

CFPGAIFLumetSPI::CFPGAIFLumetSPI(const std::string& SerialDevicePath, IOSSFactory* pFactory)
    : CCorSpiPacketLink("CFPGAIFLumetSPI", SerialDevicePath, pFactory, c_LumetClockHz)
{
    assert(pFactory && "No Factory passed into CFPGAIFLumetSPI");
    assert(SerialDevicePath.length() != 0 && "Zero Length Serial Device Passed to CFPGAIFLumetSPI");
    m_SerialPort = m_pFactory->CreateFile(m_DevicePath.c_str(), O_RDWR, 0);
    assert(m_SerialPort);
    ConfigureDevice();
}

CFPGAIFLumetSPI::~CFPGAIFLumetSPI() {}

// Only a start-ping command goes out at once.
TSQEventCode_T CFPGAIFLumetSPI::SetCommandRegister(bLumetCommandByte Command)
{
    const TSQEventCode_T Result = QueueByte(eCommand, Command.Value);
    if (!(Command.Value & c_FpgaCommandStartPing))
        return Result;
    return SendNow(Result);
}

TSQEventCode_T CFPGAIFLumetSPI::PingNow(bLumetCommandByte Command)
{
    if (!(Command.Value & c_FpgaCommandStartPing))
        return 0;
    return SetCommandRegister(Command);
}

TSQEventCode_T CFPGAIFLumetSPI::GetStatusRegister(bLumetStatusByte* Status)
{
    assert(Status && "no location to store status word");
    return ReadBytes(&Status->Value, 1, eStatus, false);
}

TSQEventCode_T CFPGAIFLumetSPI::GetVersion(SWVersion_T* SwVersion)
{
    assert(SwVersion && "no location to store SwVersion word");
    return ReadVersion(SwVersion);
}

TSQEventCode_T CFPGAIFLumetSPI::SetBoostLevel(unsigned char Level)
{
    return QueueByte(eBoostLevel, Level);
}

TSQEventCode_T CFPGAIFLumetSPI::SetSyncRegister(bFpgaPSUSyncRegister Sync)
{
    return SendNow(QueueByte(eSync, Sync.Value));
}

TSQEventCode_T CFPGAIFLumetSPI::SetWifiLEDRegister(FpgaWifiLEDRegister_T Leds)
{
    UINT8 Bytes[2] = {static_cast<UINT8>(Leds.Value & 0xFF), static_cast<UINT8>(Leds.Value >> 8)};
    Buffer_Bytes_T Buffer(Bytes, sizeof(Bytes));
    return SendNow(CreateCommandPacket(&Buffer, eWifiLed, false, true, false));
}

TSQEventCode_T CFPGAIFLumetSPI::GetADCReference(CorFPGA24BitADCValue_T* AdcValue)
{
    assert(AdcValue && "no location to store ADC Value");
    return GetADCValue(eAdcReference, AdcValue);
}

TSQEventCode_T CFPGAIFLumetSPI::GetWaterTemp(CorFPGA24BitADCValue_T* AdcValue)
{
    assert(AdcValue && "no location to store ADC Value");
    return GetADCValue(eWaterTemp, AdcValue);
}

TSQEventCode_T CFPGAIFLumetSPI::GetSenseResistor(CorFPGA24BitADCValue_T* AdcValue)
{
    assert(AdcValue && "no location to store ADC Value");
    return GetADCValue(eSenseResistor, AdcValue);
}

TSQEventCode_T CFPGAIFLumetSPI::GetADCValue(CorFPGAAddress_T Address, CorFPGA24BitADCValue_T* AdcValue)
{
    UINT8 Bytes[3] = {0, 0, 0};
    const TSQEventCode_T Result = ReadBytes(Bytes, sizeof(Bytes), Address, true);
    if (Result == c_TSQ_NoBytesTransferred)
        return Result;
    *AdcValue = Bytes[0] | (Bytes[1] << 8) | (static_cast<UINT32>(Bytes[2]) << 16);
    return Result;
}

// Unlike the Cor FPGA, this one answers a debug write: the reply is awaited
// and read into the value's own copy.
TSQEventCode_T CFPGAIFLumetSPI::SetDebugRegister(bLumetStatusByte Value, CorFPGAAddress_T Address)
{
    Buffer_Bytes_T Buffer(&Value.Value, 1);
    const TSQEventCode_T Result = CreateCommandPacket(&Buffer, Address, false, false, false);
    return ReceiveDataFromFPGA(&Buffer) != 0 ? Result : c_TSQ_NoBytesTransferred;
}

TSQEventCode_T CFPGAIFLumetSPI::GetDebugRegister(bLumetStatusByte* Status, CorFPGAAddress_T Address)
{
    assert(Status && "no location to store status word");
    return ReadBytes(&Status->Value, 1, Address, false);
}

TSQEventCode_T CFPGAIFLumetSPI::SetNumberOfSamplesToReceive(FpgaAdcSamples_T NumberOf32bitSamples,
                                                            FPGAChannel_T Channel)
{
    assert(((NumberOf32bitSamples % 16) == 0) && "Number of Rx samples not a multiple of 16");
    assert(((NumberOf32bitSamples / 16) <= 0x0000FFFF) && "Number of Rx Samples requested is too large");
    return QueueValue(ChannelRegister(Channel, eNumberOfSamples), NumberOf32bitSamples / 16, 2, eStopAtFirstFailure);
}

TSQEventCode_T CFPGAIFLumetSPI::SetSteppedAnalogueGain(unsigned char Gain, FPGAChannel_T Channel)
{
    return QueueByte(ChannelRegister(Channel, eSteppedGain), Gain);
}

// Already an FPGA word: no conversion with the clock here.
TSQEventCode_T CFPGAIFLumetSPI::SetBaseBandFilterCentreFreq(UINT32 Value, FPGAChannel_T Channel)
{
    return QueueValue(ChannelRegister(Channel, eBaseBandCentreFreq), Value, 4, eQueueEveryByte);
}

TSQEventCode_T CFPGAIFLumetSPI::SetCorralationScaling(unsigned char Value, FPGAChannel_T Channel)
{
    return QueueByte(ChannelRegister(Channel, eCorrelationScaling), Value);
}

TSQEventCode_T CFPGAIFLumetSPI::SetCorralationDownShift(unsigned char Value, FPGAChannel_T Channel)
{
    return QueueByte(ChannelRegister(Channel, eCorrelationDownShift), Value);
}

TSQEventCode_T CFPGAIFLumetSPI::SetSubSampleRate(UINT32 Rate, FPGAChannel_T Channel)
{
    return QueueByte(ChannelRegister(Channel, eSubSampleRate), static_cast<UINT8>(Rate));
}

TSQEventCode_T CFPGAIFLumetSPI::SetFifoCntrlRegister(bCorFifoCntrlByte Control, FPGAChannel_T Channel)
{
    return QueueByte(ChannelRegister(Channel, eFifoControl), Control.Value);
}

TSQEventCode_T CFPGAIFLumetSPI::GetFifoStatusRegister(bCorFifoStatusByte* Status, FPGAChannel_T Channel)
{
    assert(Status && "no location to store status word");
    return ReadBytes(&Status->Value, 1, ChannelRegister(Channel, eFifoStatus), false);
}

TSQEventCode_T CFPGAIFLumetSPI::SetStartFreq(UINT32 Value, FPGAChannel_T Channel)
{
    return QueueValue(ChannelRegister(Channel, eStartFreq), Value, 4, eQueueEveryByte);
}

TSQEventCode_T CFPGAIFLumetSPI::SetChirpIncrement(UINT32 Value, FPGAChannel_T Channel)
{
    return QueueValue(ChannelRegister(Channel, eChirpIncrement), Value, 4, eQueueEveryByte);
}

TSQEventCode_T CFPGAIFLumetSPI::SetBurstLength(UINT32 FullCycles, FPGAChannel_T Channel)
{
    return QueueValue(ChannelRegister(Channel, eBurstLength), FullCycles, 2, eQueueEveryByte);
}

// No length register is written. An empty table stays empty.
TSQEventCode_T CFPGAIFLumetSPI::SetCorrelationFilter(const CorrelationFilterCoefficients_T& CorrelationFilter,
                                                     FPGAChannel_T Channel)
{
    assert((CorrelationFilter.size() <= Sizeof_CorrelationFilter) && "Correlation Filter table too long");
    CorrelationFilterCoefficients_T Padded(CorrelationFilter);
    const size_t Partial = Padded.size() % c_CorrelationPage;
    if (Partial != 0)
        Padded.resize(Padded.size() + c_CorrelationPage - Partial, CorrelationFilterCoefficientSet_T{0, 0});
    std::vector<UINT8> Bytes = TableBytes(Padded);
    Buffer_Bytes_T Buffer(Bytes.data(), Bytes.size());
    return CreateCommandPacket(&Buffer, ChannelRegister(Channel, eCorrelationTable), false, true, false);
}

TSQEventCode_T CFPGAIFLumetSPI::GetPing(FPGAChannel_T Channel, Buffer_Bytes_T* Data, InterruptMode_T Mode)
{
    m_ErrorCode = 0;
    const size_t totalBytesWanted = Data->size();
    assert(totalBytesWanted <= c_MaxSamplesFromLumetFPGA);

    UINT8 Fifo[c_MaxSamplesFromLumetFPGA] = {};
    Buffer_Bytes_T FifoBuffer(Fifo, sizeof(Fifo));
    FifoBuffer.size(totalBytesWanted);
    const TSQEventCode_T Result =
        ReadPingFifo(&FifoBuffer, ChannelRegister(Channel, ePingFifo), static_cast<UINT32>(Mode));
    ValidateDataCollection(Channel);
    if (Result != 0)
        return Result;

    // The caller's storage need not be aligned for floats.
    for (size_t i = 0; i < totalBytesWanted; ++i)
    {
        const float Sample = Fifo[i];
        memcpy(Data->data() + i * sizeof(float), &Sample, sizeof(float));
    }
    return 0;
}

// Both registers are read but not judged; unlike the Cor FPGA's check this
// one never clears the FIFO.
TSQEventCode_T CFPGAIFLumetSPI::ValidateDataCollection(FPGAChannel_T Channel)
{
    bLumetStatusByte Status = {0};
    bCorFifoStatusByte FifoStatus = {0};
    GetStatusRegister(&Status);
    GetFifoStatusRegister(&FifoStatus, Channel);
    return 0;
}
