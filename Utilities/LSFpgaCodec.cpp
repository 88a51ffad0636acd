#include "LSFpgaCodec.h"

#include "OSSFactory.h"
#include "OSSFile.h"

#include <poll.h>

#include <cassert>
#include <cmath>
#include <cstring>

namespace LSFpga
{
UINT32 ToUnsigned(double Value)
{
    if (!(Value >= 0.0))
        return 0;
    if (Value >= 4294967296.0)
        return 0xFFFFFFFFu;
    return static_cast<UINT32>(Value);
}

PulseWords_T EncodePulse(LSPeriod_T Period, LSFrequency_Hz_T StartFrequency, LSFrequency_Hz_T EndFrequency)
{
    const double Start = StartFrequency * c_K;
    double Delta = EndFrequency * c_K - Start;
    const bool Falling = Delta < 0.0;
    Delta = std::fabs(Delta);

    const UINT32 StartWord = ToUnsigned(Start * c_C1 + 0.5) & 0xFFFFu;
    // A period of 0 divides by zero: +infinity saturates, 0/0 gives 0.
    const UINT32 RateWord = ToUnsigned((Delta * c_C2) / static_cast<double>(Period) + 0.5);

    PulseWords_T Words;
    Words.A = StartWord | (RateWord << 16);
    Words.B = (Falling ? 0x80000000u : 0u) | ((Period & 0x3FFu) << 16);
    return Words;
}

UINT32 GainWord(double Value, double Scale)
{
    const UINT32 Word = ToUnsigned(Value * Scale + 0.5);
    return Word > c_MaxGainWord ? c_MaxGainWord : Word;
}

size_t PingPacketLength(size_t NumberOfSamples)
{
    return 132 * (NumberOfSamples / 128) + 3 + NumberOfSamples % 128;
}

namespace
{
void PutFloat(Buffer_Bytes_T* Buffer, size_t Index, float Value)
{
    memcpy(Buffer->data() + Index * sizeof(float), &Value, sizeof(float));
}

// 16-bit big-endian, the value in the top 12 bits.
float BlockValue(const UINT8* pWord)
{
    return static_cast<float>(((pWord[0] << 8) | pWord[1]) >> 4);
}
}

void UnpackPing(const LSPingReturnPacket_T& Packet, size_t NumberOfSamples, Buffer_Bytes_T* Samples,
                Buffer_Bytes_T* Values)
{
    assert(NumberOfSamples <= c_MaxSamplesFromLowscanFPGA);
    const size_t Blocks = NumberOfSamples / 128;
    const size_t Rest = NumberOfSamples % 128;
    for (size_t Block = 0; Block <= Blocks; ++Block)
    {
        const size_t Count = Block < Blocks ? 128 : Rest;
        if (Count == 0)
            break;
        const UINT8* pBlock = Packet + 2 + 132 * Block;
        for (size_t i = 0; i < Count; ++i)
            PutFloat(Samples, 128 * Block + i, static_cast<float>(pBlock[i]));
        // The partial block's pair is read at the whole block's position.
        PutFloat(Values, 2 * Block, BlockValue(pBlock + 128));
        PutFloat(Values, 2 * Block + 1, BlockValue(pBlock + 130));
    }
}

TSQEventCode_T ReceiveLoop(IOSSFile* pPort, IOSSFactory* pFactory, const std::string& DevicePath, const char* Origin,
                           Buffer_Bytes_T* Buffer)
{
    assert(pPort && pFactory && Buffer);
    const size_t BytesWanted = Buffer->size();
    LSPingReturnPacket_T Staging;
    assert(BytesWanted <= sizeof(Staging));
    Buffer_Bytes_T StagingBuffer(Staging, BytesWanted);

    size_t Got = 0;
    size_t Reads = 0;
    bool ReadFailed = false;
    TSQEventCode_T Result = c_TSQ_Success;
    while (Got < BytesWanted)
    {
        if (pPort->Poll(POLLIN, 1000) < 1 || ReadFailed)
        {
            Result = c_TSQ_UartReceiveShortfall;
            break;
        }
        // The staging size is the previous read's count: reads never ask
        // for more than that, nor for more than is still missing.
        if (StagingBuffer.size() > BytesWanted - Got)
            StagingBuffer.size(BytesWanted - Got);
        ++Reads;
        // A read of nothing would make every later read ask for nothing.
        if (!pPort->Read(&StagingBuffer) || StagingBuffer.size() == 0)
        {
            ReadFailed = true;
            continue;
        }
        memcpy(Buffer->data() + Got, Staging, StagingBuffer.size());
        Got += StagingBuffer.size();
    }

    if (Result != c_TSQ_Success)
    {
        const std::string Text = "Error on UART " + DevicePath + "Only Got " + std::to_string(Got) + " out of " +
                                 std::to_string(BytesWanted) + " after " + std::to_string(Reads) + " reads";
        pFactory->SendEvent(3, Result, Origin, Text.c_str());
    }
    Buffer->size(Got);
    return Result;
}
}
