#include "FPGAIFCorSPI.h"

#include "AssertAt.h"

#include <fcntl.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{
const char c_AssertSource[] = "Utilities/FPGAIFCorSPI.cpp";
constexpr UINT32 c_ClockHz = 69248000;
constexpr UINT32 c_LargeFpgaClockHz = 86560000;

constexpr CorFPGAAddress_T c_PingFifoAddress = 80;
constexpr CorFPGAAddress_T c_FifoControlAddress = 81;
constexpr CorFPGAAddress_T c_FifoStatusAddress = 82;
}

CFPGAIFCorSpi::CFPGAIFCorSpi(bool UseTransducerInterrupt, const std::string& SerialDevicePath, IOSSFactory* pFactory)
    : CCorSpiPacketLink("CFPGAIFCorSpi", SerialDevicePath, pFactory, c_ClockHz),
      m_bUseTransducerInterrupt(UseTransducerInterrupt)
{
    ASSERT_AT(c_AssertSource, 67, pFactory && "No Factory passed into CFPGAIFCorSpi");
    ASSERT_AT(c_AssertSource, 70,
              SerialDevicePath.length() != 0 && "Zero Length Serial Device Passed to CFPGAIFCorSpi");
    m_SerialPort = m_pFactory->CreateFile(m_DevicePath.c_str(), O_RDWR, 0);
    ASSERT_AT(c_AssertSource, 72, m_SerialPort);
    ConfigureDevice();

    // The larger FPGA of the QL3B board runs from a faster clock.
    const char* pFpgaSize = m_pFactory->GetEnv("QL3B_FPGA_SIZE");
    if (pFpgaSize && strtol(pFpgaSize, nullptr, 10) == 1)
        m_FpgaClockHz = c_LargeFpgaClockHz;
}

CFPGAIFCorSpi::~CFPGAIFCorSpi() {}

// With the driver in ping-read mode the write of Data fills it from the FIFO.
TSQEventCode_T CFPGAIFCorSpi::GetPing(Buffer_Bytes_T* Data)
{
    m_ErrorCode = 0;
    const TSQEventCode_T Result = ReadPingFifo(Data, c_PingFifoAddress, 0);
    ValidateDataCollection();
    return Result == 0 ? static_cast<TSQEventCode_T>(Data->size()) : 0;
}

TSQEventCode_T CFPGAIFCorSpi::GetPingSection(Buffer_Bytes_T* Data)
{
    if (CreateCommandPacket(Data, c_PingFifoAddress, true, false, true) != 0)
        return 0;
    return static_cast<TSQEventCode_T>(ReceivePingDataFromFPGA(Data));
}

// Only sends the request; the data itself is not read back here.
size_t CFPGAIFCorSpi::ReceivePingDataFromFPGA(Buffer_Bytes_T* Data)
{
    const size_t Written = SendAssembledTransfer();
    if (Written != 0)
        printf("Will need to copy %zu bytes into Buffer of size %zu bytes\n", Written, Data->size());
    return Written;
}

// A FIFO that is not back in its idle state after a ping is emptied, so the
// next ping starts clean. A status that cannot be read counts as not idle.
TSQEventCode_T CFPGAIFCorSpi::ValidateDataCollection()
{
    unsigned char Status = 0;
    GetDebugRegister(&Status, c_FifoStatusAddress);
    if (Status == c_CorFifoStatusIdle)
        return 0;

    char Text[64];
    snprintf(Text, sizeof(Text), "FIFO ERROR:: clearing fifo because fifoStatus 0x%x", Status);
    Report(3, 0, "ValidateDataCollection", Text);
    SetDebugRegister(c_CorFifoControlClear, c_FifoControlAddress);
    return 0;
}

TSQEventCode_T CFPGAIFCorSpi::HasPingDataTransferCompleted()
{
    return 0;
}

TSQEventCode_T CFPGAIFCorSpi::SetDebugRegister(unsigned char Value, CorFPGAAddress_T Address)
{
    return SendNow(QueueByte(Address, Value));
}

TSQEventCode_T CFPGAIFCorSpi::GetDebugRegister(unsigned char* RegisterContents, CorFPGAAddress_T Address)
{
    ASSERT_AT(c_AssertSource, 1077, RegisterContents && "no location to store status word");
    return ReadBytes(RegisterContents, 1, Address, false);
}
