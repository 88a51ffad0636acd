#include "FPGAIFCorSPI.h"

#include "AssertAt.h"

#include <cstdio>

namespace
{
// The register checks belong to the transport's file in every report.
const char c_AssertSource[] = "Utilities/FPGAIFCorSPI.cpp";

enum CorRegister_T : CorFPGAAddress_T
{
    eCommand = 0,
    eStatus = 1,
    eAdcFrequency = 4,
    eBoostLevel = 8,
    eNumberOfSamples = 16,
    eChannelFilter = 18,
    eOutputDataToLog = 24,
    eBaseBandCentreFreq = 32,
    eBaseBandSelection = 36,
    eBaseBandScaling = 37,
    eBaseBandSubSample = 38,
    eCorrelationLength = 48,
    eCorrelationScaling = 50,
    eCorrelationDownShift = 51,
    eSubSampleRate = 52,
    eSubSampleMode = 53,
    eSubSampleThreshold = 56,
    eSpeedA = 64,
    eSpeedB = 65,
    eTransducerDataIn = 66,
    eTransducerDataOut = 67,
    eSync = 96,
    eTVGLength = 256,
    eChirpLength = 512,
    eTVGTable = 0x3000,
    eChirpTable = 0x4000,
    eCorrelationTable = 0x8000
};
}

// Start ping goes out at once, and so does a transducer-identification
// command when the interrupt is to be awaited; anything else waits for the
// next UpdateFPGA. A missing interrupt shows only in GetErrorCode.
TSQEventCode_T CFPGAIFCorSpi::SetCommandRegister(bFpgaCommandByte Command)
{
    TSQEventCode_T Result = QueueByte(eCommand, Command.Value);
    const bool bIdentify = m_bUseTransducerInterrupt && (Command.Value & c_FpgaCommandTransducerId) != 0;
    if (!(Command.Value & c_FpgaCommandStartPing) && !bIdentify)
        return Result;

    Result = SendNow(Result);
    if (bIdentify && WaitOnInterrupt() == 0)
    {
        m_ErrorCode = c_TSQ_TransducerIdIrqMissing;
        Report(3, c_TSQ_TransducerIdIrqMissing, "SetCommandRegister", "FPGA Transducer ID Interrupt never occurred");
    }
    return Result;
}

TSQEventCode_T CFPGAIFCorSpi::PingNow(bFpgaCommandByte Command)
{
    if (!(Command.Value & c_FpgaCommandStartPing))
        return 0;
    return SetCommandRegister(Command);
}

TSQEventCode_T CFPGAIFCorSpi::GetStatusRegister(bFpgaStatusByte* Status)
{
    ASSERT_AT(c_AssertSource, 176, Status && "no location to store status word");
    return ReadBytes(&Status->Value, 1, eStatus, false);
}

TSQEventCode_T CFPGAIFCorSpi::GetVersion(SWVersion_T* SwVersion)
{
    ASSERT_AT(c_AssertSource, 117, SwVersion && "no location to store SwVersion word");
    return ReadVersion(SwVersion);
}

TSQEventCode_T CFPGAIFCorSpi::SetADCFrequencyRegister(eFpgaAdcFrequency_T Frequency)
{
    return QueueByte(eAdcFrequency, Frequency);
}

TSQEventCode_T CFPGAIFCorSpi::SetBoostLevel(unsigned char Level)
{
    return QueueByte(eBoostLevel, Level);
}

// The FPGA counts in blocks of 16 samples.
TSQEventCode_T CFPGAIFCorSpi::SetNumberOfSamplesToReceive(FpgaAdcSamples_T NumberOf32bitSamples)
{
    ASSERT_AT(c_AssertSource, 321, ((NumberOf32bitSamples % 16) == 0) && "Number of Rx samples not a multiple of 16");
    ASSERT_AT(c_AssertSource, 322,
              ((NumberOf32bitSamples / 16) <= 0x0000FFFF) && "Number of Rx Samples requested is too large");
    return QueueValue(eNumberOfSamples, NumberOf32bitSamples / 16, 2, eStopAtFirstFailure);
}

TSQEventCode_T CFPGAIFCorSpi::SetChannelFilterRegister(FpgaChnlFltByte_T const* Filter)
{
    return QueueByte(eChannelFilter, Filter->Value);
}

// The register counts the bands from the top: HF is 0, LF is 2.
TSQEventCode_T CFPGAIFCorSpi::SetFilterSelectionRegister(PingConfigRxBand_T Band)
{
    UINT8 Selection = 0;
    switch (Band)
    {
    case PingConfigRxBand_LF:
        Selection = 2;
        break;
    case PingConfigRxBand_MF:
        Selection = 1;
        break;
    case PingConfigRxBand_HF:
        Selection = 0;
        break;
    default:
        ASSERT_AT(c_AssertSource, 295, false && "Auto is not a valid selection for the filter");
        break;
    }
    return QueueByte(eChannelFilter, Selection);
}

TSQEventCode_T CFPGAIFCorSpi::SetOutputDataToLog()
{
    const TSQEventCode_T Result = SendNow(QueueByte(eOutputDataToLog, 1));
    if (Result == c_TSQ_NoBytesTransferred)
        printf("SetOutputDataToLog\n");
    return Result;
}

// The FPGA wants a phase increment: frequency / clock in units of 2^-32.
TSQEventCode_T CFPGAIFCorSpi::SetBaseBandFilterCentreFreq(unsigned short HundredsOfHz)
{
    const uint64_t Hz = static_cast<uint64_t>(HundredsOfHz) * 100;
    const UINT32 TuningWord = static_cast<UINT32>((Hz << 32) / m_FpgaClockHz);
    return QueueValue(eBaseBandCentreFreq, TuningWord, 4, eStopAtFirstFailure);
}

TSQEventCode_T CFPGAIFCorSpi::SetBaseBandFilterSelectionReg(unsigned char Value)
{
    return QueueByte(eBaseBandSelection, Value);
}

TSQEventCode_T CFPGAIFCorSpi::SetBaseBandFilterScalingReg(unsigned char Value)
{
    return QueueByte(eBaseBandScaling, Value);
}

TSQEventCode_T CFPGAIFCorSpi::SetBaseBandFilterSubSampleReg(unsigned char Value)
{
    return QueueByte(eBaseBandSubSample, Value);
}

TSQEventCode_T CFPGAIFCorSpi::SetCorrelationFilterLength(unsigned char LengthCode)
{
    return QueueByte(eCorrelationLength, LengthCode);
}

TSQEventCode_T CFPGAIFCorSpi::SetCorralationScaling(unsigned char Value)
{
    return QueueByte(eCorrelationScaling, Value);
}

TSQEventCode_T CFPGAIFCorSpi::SetCorralationDownShift(unsigned char Value)
{
    return QueueByte(eCorrelationDownShift, Value);
}

TSQEventCode_T CFPGAIFCorSpi::SetSubSampleRate(unsigned char Rate)
{
    return QueueByte(eSubSampleRate, Rate);
}

TSQEventCode_T CFPGAIFCorSpi::SetSubSampleMode(FpgaSubSampleMode_T Mode)
{
    return QueueByte(eSubSampleMode, Mode);
}

TSQEventCode_T CFPGAIFCorSpi::SetSubSampleThreshold(unsigned short Threshold)
{
    UINT8 Bytes[2] = {static_cast<UINT8>(Threshold & 0xFF), static_cast<UINT8>(Threshold >> 8)};
    Buffer_Bytes_T Buffer(Bytes, sizeof(Bytes));
    return CreateCommandPacket(&Buffer, eSubSampleThreshold, false, false, false);
}

// Both bytes land in bits 0 to 7 of the reading, unshifted; kept so on purpose.
TSQEventCode_T CFPGAIFCorSpi::GetSpeedReading(FPGASpeedReading_T* SpeedReading)
{
    ASSERT_AT(c_AssertSource, 625, SpeedReading && "no location to store Speed reading");
    UINT8 SpeedA = 0;
    if (ReadBytes(&SpeedA, 1, eSpeedA, false) == c_TSQ_NoBytesTransferred)
        return c_TSQ_NoBytesTransferred;
    *SpeedReading = SpeedA;

    UINT8 SpeedB = 0;
    Buffer_Bytes_T Buffer(&SpeedB, 1);
    const TSQEventCode_T Result = CreateCommandPacket(&Buffer, eSpeedB, true, false, false);
    ReceiveDataFromFPGA(&Buffer);
    if (Result == 0)
        *SpeedReading |= SpeedB;
    return Result;
}

TSQEventCode_T CFPGAIFCorSpi::GetTransducerData(unsigned char* Data)
{
    return ReadBytes(Data, 1, eTransducerDataIn, false);
}

TSQEventCode_T CFPGAIFCorSpi::SetTransducerData(unsigned char Data)
{
    return SendNow(QueueByte(eTransducerDataOut, Data));
}

TSQEventCode_T CFPGAIFCorSpi::SetSyncRegister(bFpgaPSUSyncRegister Sync)
{
    return SendNow(QueueByte(eSync, Sync.Value));
}

TSQEventCode_T CFPGAIFCorSpi::SetTVGLength(unsigned short Entries)
{
    return QueueValue(eTVGLength, Entries, 2, eStopAtFirstFailure);
}

TSQEventCode_T CFPGAIFCorSpi::SetChirpLength(unsigned short Entries)
{
    return QueueValue(eChirpLength, Entries, 2, eStopAtFirstFailure);
}

TSQEventCode_T CFPGAIFCorSpi::SetTVGTable(const TVGTable_T& TvgTable)
{
    ASSERT_AT(c_AssertSource, 422, (TvgTable.size() <= Sizeof_TVGTable) && "TVG table too long");
    SetTVGLength(static_cast<unsigned short>(TvgTable.size()));
    std::vector<UINT8> Bytes = TableBytes(TvgTable);
    Buffer_Bytes_T Buffer(Bytes.data(), Bytes.size());
    return CreateCommandPacket(&Buffer, eTVGTable, false, true, false);
}

// The chirp table's length is not checked.
TSQEventCode_T CFPGAIFCorSpi::SetChirpTable(const ChirpTable_T& ChirpTable)
{
    SetChirpLength(static_cast<unsigned short>(ChirpTable.size()));
    std::vector<UINT8> Bytes = TableBytes(ChirpTable);
    Buffer_Bytes_T Buffer(Bytes.data(), Bytes.size());
    return CreateCommandPacket(&Buffer, eChirpTable, false, true, false);
}

// The whole filter memory is always written, zero-padded, so the length code
// is always 7 whatever the table's length.
TSQEventCode_T CFPGAIFCorSpi::SetCorrelationFilter(const CorrelationFilterCoefficients_T& CorrelationFilter)
{
    ASSERT_AT(c_AssertSource, 514,
              (CorrelationFilter.size() <= Sizeof_CorrelationFilter) && "Correlation Filter table too long");
    CorrelationFilterCoefficients_T Padded(CorrelationFilter);
    Padded.resize(Sizeof_CorrelationFilter, CorrelationFilterCoefficientSet_T{0, 0});
    std::vector<UINT8> Bytes = TableBytes(Padded);

    const auto LengthCode = static_cast<unsigned char>((Bytes.size() / 2048 - 1) % 256);
    const TSQEventCode_T Result = SetCorrelationFilterLength(LengthCode);
    if (Result != 0)
        return Result;
    Buffer_Bytes_T Buffer(Bytes.data(), Bytes.size());
    return CreateCommandPacket(&Buffer, eCorrelationTable, false, true, false);
}
