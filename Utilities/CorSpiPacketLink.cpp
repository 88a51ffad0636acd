#include "CorSpiPacketLink.h"

#include <poll.h>

#include <algorithm>
#include <cstdio>

namespace
{
constexpr int c_ReplyTimeoutMs = 1000;
constexpr int c_EventError = 3;
// A payload this long (header included) is cut into driver-sized chunks.
constexpr size_t c_SplitFromBytes = 5056;

UINT8 Checksum(const UINT8* pData, size_t Count)
{
    UINT8 Sum = 0;
    for (size_t i = 0; i < Count; ++i)
        Sum = static_cast<UINT8>(Sum + pData[i]);
    return Sum;
}

void AppendLittleEndian(std::vector<UINT8>& Out, UINT32 Value, unsigned Bytes)
{
    for (unsigned i = 0; i < Bytes; ++i)
        Out.push_back(static_cast<UINT8>(Value >> (8 * i)));
}

std::string Hex(unsigned Value)
{
    char Text[16];
    snprintf(Text, sizeof(Text), "%x", Value);
    return Text;
}
}

CCorSpiPacketLink::CCorSpiPacketLink(const char* ClassName, const std::string& SerialDevicePath, IOSSFactory* pFactory,
                                     UINT32 FpgaClockHz)
    : m_ErrorCode(0),
      m_SerialPort(nullptr),
      m_pFactory(pFactory),
      m_DevicePath(SerialDevicePath),
      m_bBusy(false),
      m_FpgaClockHz(FpgaClockHz),
      m_ClassName(ClassName)
{
}

// The device object is deliberately not released: it stays open until the
// process ends.
CCorSpiPacketLink::~CCorSpiPacketLink()
{
    m_pFactory = nullptr;
}

void CCorSpiPacketLink::ConfigureDevice()
{
    m_ErrorCode = m_SerialPort->GetErrorCode();
    if (m_ErrorCode != 0)
        return;  // a failed open is left for the owner to read and report
    // The configure answer is deliberately not kept: the check below sees the
    // open's code, 0 here, so it never reports.
    m_SerialPort->Ioctl(c_CorSpiIoctlConfigure, nullptr);
    if (m_ErrorCode != 0)
        Report(c_EventError, m_ErrorCode, m_ClassName, "Constructor failed to configure SPI " + m_DevicePath);
}

TSQEventCode_T CCorSpiPacketLink::GetErrorCode() const
{
    return m_ErrorCode;
}

TSQEventCode_T CCorSpiPacketLink::SendData(Buffer_Bytes_T* Data)
{
    m_ErrorCode = 0;
    if (!m_SerialPort->Write(Data))
    {
        m_ErrorCode = m_SerialPort->GetErrorCode();
        Report(c_EventError, m_ErrorCode, "SendData", "failed to send data to SPI " + m_DevicePath);
    }
    return m_ErrorCode;
}

// The reply is the data followed by its 8-bit sum. A wrong sum is reported
// but the data is used all the same.
TSQEventCode_T CCorSpiPacketLink::ReceiveData(Buffer_Bytes_T* Data)
{
    const size_t Count = Data->size();
    m_ErrorCode = 0;
    std::vector<UINT8> Reply(Count + 1, 0);
    if (m_SerialPort->Poll(POLLIN, c_ReplyTimeoutMs) <= 0)
        return 0;

    Buffer_Bytes_T ReplyBuffer(Reply.data(), Reply.size());
    if (!m_SerialPort->Read(&ReplyBuffer))
    {
        m_ErrorCode = m_SerialPort->GetErrorCode();
        Report(c_EventError, m_ErrorCode, "ReceiveData", "failed to read data from SPI " + m_DevicePath);
        return m_ErrorCode;
    }
    std::copy(Reply.begin(), Reply.begin() + Count, Data->data());
    const UINT8 Calculated = Checksum(Reply.data(), Count);
    if (Calculated != Reply[Count])
        Report(c_EventError, 0, "ReceiveData",
               "chksum ERROR : calculated " + Hex(Calculated) + " received " + Hex(Reply[Count]));
    return m_ErrorCode;
}

TSQEventCode_T CCorSpiPacketLink::CreateCommandPacket(Buffer_Bytes_T* Data, unsigned short Address, bool bRead,
                                                      bool bBlock, bool bSingleTransfer)
{
    const size_t Count = Data->size();
    if (Count + c_CorFpgaHeaderBytes < c_SplitFromBytes || bSingleTransfer)
        return PopulateCommandPacket(Data, Address, bRead, bBlock, bSingleTransfer);

    TSQEventCode_T Result = 0;
    for (size_t Taken = 0; Taken < Count;)
    {
        const size_t Chunk = std::min(c_CorFpgaMaxPayload, Count - Taken);
        Buffer_Bytes_T Part(Data->data() + Taken, Chunk);
        // The address space is 16 bits; a long table wraps to its start.
        Result =
            PopulateCommandPacket(&Part, static_cast<unsigned short>((Address + Taken) % 65536), bRead, bBlock, false);
        Taken += Chunk;
    }
    return Result;
}

TSQEventCode_T CCorSpiPacketLink::PopulateCommandPacket(Buffer_Bytes_T* Data, unsigned short Address, bool bRead,
                                                        bool bBlock, bool bSingleTransfer)
{
    CorFPGADataHeader_T Header;
    Header.SyncWord = c_CorFpgaSyncWord;
    Header.Address = Address;
    Header.Flags = static_cast<UINT8>((bRead ? c_CorFpgaFlagRead : 0) | (bBlock ? c_CorFpgaFlagBlock : 0));
    Header.LengthMinusOne = static_cast<UINT16>(Data->size() - 1);
    return AddToTransmitBuffer(Data, &Header, bSingleTransfer);
}

TSQEventCode_T CCorSpiPacketLink::AddToTransmitBuffer(Buffer_Bytes_T* Data, CorFPGADataHeader_T* Header,
                                                      bool bSingleTransfer)
{
    const size_t Count = Data->size();
    if (m_TransmitBuffer.size() + Count >= c_CorFpgaMaxTransfer && !bSingleTransfer)
        TransferToDataToGoArray();

    AppendLittleEndian(m_TransmitBuffer, Header->SyncWord, 2);
    AppendLittleEndian(m_TransmitBuffer, Header->Address, 2);
    m_TransmitBuffer.push_back(Header->Flags);
    AppendLittleEndian(m_TransmitBuffer, Header->LengthMinusOne, 2);
    // A read clocks its reply out with zeros.
    if (Header->Flags & c_CorFpgaFlagRead)
    {
        m_TransmitBuffer.insert(m_TransmitBuffer.end(), Count + 1, 0);
    }
    else
    {
        m_TransmitBuffer.insert(m_TransmitBuffer.end(), Data->data(), Data->data() + Count);
        m_TransmitBuffer.push_back(Checksum(Data->data(), Count));
    }
    return 0;
}

void CCorSpiPacketLink::TransferToDataToGoArray()
{
    m_DataToGo.push_back(m_TransmitBuffer);
    m_TransmitBuffer.clear();
}

// A failed transfer does not hold back the ones after it; the total counts
// only what went out.
size_t CCorSpiPacketLink::TransmitDataToFPGA()
{
    size_t Total = 0;
    for (std::vector<UINT8>& Transfer : m_DataToGo)
    {
        Buffer_Bytes_T Buffer(Transfer.data(), Transfer.size());
        if (SendData(&Buffer) == 0)
            Total += Buffer.size();
    }
    m_DataToGo.clear();

    return Total + SendAssembledTransfer();
}

size_t CCorSpiPacketLink::SendAssembledTransfer()
{
    if (m_TransmitBuffer.empty())
        return 0;
    Buffer_Bytes_T Request(m_TransmitBuffer.data(), m_TransmitBuffer.size());
    const size_t Written = SendData(&Request) == 0 ? Request.size() : 0;
    m_TransmitBuffer.clear();
    return Written;
}

// An empty queue looks like a failed write, on purpose.
TSQEventCode_T CCorSpiPacketLink::UpdateFPGA()
{
    return TransmitDataToFPGA() != 0 ? 0 : c_TSQ_NoBytesTransferred;
}

// Sends only the transfer being assembled; older queued transfers wait.
size_t CCorSpiPacketLink::ReceiveDataFromFPGA(Buffer_Bytes_T* Data)
{
    const size_t Written = SendAssembledTransfer();
    if (Written != 0 && Data->size() != 0)
        ReceiveData(Data);
    return Written;
}

TSQEventCode_T CCorSpiPacketLink::WaitOnInterrupt()
{
    return m_SerialPort->Ioctl(c_CorSpiIoctlWaitForInterrupt, nullptr) ? 1 : 0;
}

TSQEventCode_T CCorSpiPacketLink::TestFPGAAccess(Buffer_Bytes_T* Data, unsigned short Address, bool bRead, bool bBlock)
{
    const TSQEventCode_T Result = CreateCommandPacket(Data, Address, bRead, bBlock, false);
    const size_t Moved = bRead ? ReceiveDataFromFPGA(Data) : TransmitDataToFPGA();
    return Moved != 0 ? Result : c_TSQ_NoBytesTransferred;
}

bool CCorSpiPacketLink::IsSpiBusy() const
{
    return m_bBusy;
}

TSQEventCode_T CCorSpiPacketLink::SetBusy()
{
    m_bBusy = true;
    return 0;
}

TSQEventCode_T CCorSpiPacketLink::SetFree()
{
    m_bBusy = false;
    return 0;
}

TSQEventCode_T CCorSpiPacketLink::QueueValue(CorFPGAAddress_T Address, UINT32 Value, unsigned Bytes, ByteRule_T Rule)
{
    TSQEventCode_T Result = 0;
    for (unsigned i = 0; i < Bytes; ++i)
    {
        Result = QueueByte(static_cast<CorFPGAAddress_T>(Address + i), static_cast<UINT8>(Value >> (8 * i)));
        if (Result != 0 && Rule == eStopAtFirstFailure)
            break;
    }
    return Result;
}

TSQEventCode_T CCorSpiPacketLink::QueueByte(CorFPGAAddress_T Address, UINT8 Value)
{
    Buffer_Bytes_T Buffer(&Value, 1);
    return CreateCommandPacket(&Buffer, Address, false, false, false);
}

TSQEventCode_T CCorSpiPacketLink::SendNow(TSQEventCode_T QueueResult)
{
    return TransmitDataToFPGA() != 0 ? QueueResult : c_TSQ_NoBytesTransferred;
}

TSQEventCode_T CCorSpiPacketLink::ReadBytes(UINT8* pData, size_t Count, CorFPGAAddress_T Address, bool bBlock)
{
    Buffer_Bytes_T Buffer(pData, Count);
    const TSQEventCode_T Result = CreateCommandPacket(&Buffer, Address, true, bBlock, false);
    return ReceiveDataFromFPGA(&Buffer) != 0 ? Result : c_TSQ_NoBytesTransferred;
}

// The second byte is not read: the version is the one register.
TSQEventCode_T CCorSpiPacketLink::ReadVersion(SWVersion_T* SwVersion)
{
    UINT8 Version = 0xFF;
    const TSQEventCode_T Result = ReadBytes(&Version, 1, 2, false);
    if (Result == c_TSQ_NoBytesTransferred)
        return Result;
    SwVersion->Major = Version;
    SwVersion->Minor = 0;
    return Result;
}

TSQEventCode_T CCorSpiPacketLink::ReadPingFifo(Buffer_Bytes_T* Data, UINT32 FifoAddress, UINT32 Mode)
{
    CorSpiPingRead_T Request = {c_CorFpgaSyncWord, FifoAddress, Mode, 1, 1};
    m_SerialPort->Ioctl(c_CorSpiIoctlStartPingRead, reinterpret_cast<int*>(&Request));
    const TSQEventCode_T Result = SendData(Data);
    m_SerialPort->Ioctl(c_CorSpiIoctlEndPingRead, nullptr);
    return Result;
}

void CCorSpiPacketLink::Report(int Level, int Code, const char* Method, const std::string& Text)
{
    const std::string Origin = std::string(m_ClassName) + "::" + Method;
    m_pFactory->SendEvent(Level, Code, Origin.c_str(), Text.c_str());
}

std::vector<UINT8> CCorSpiPacketLink::TableBytes(const TVGTable_T& Table)
{
    std::vector<UINT8> Bytes;
    for (const TVGTableEntry_T& Entry : Table)
    {
        Bytes.push_back(Entry.First);
        Bytes.push_back(Entry.Second);
    }
    return Bytes;
}

std::vector<UINT8> CCorSpiPacketLink::TableBytes(const ChirpTable_T& Table)
{
    std::vector<UINT8> Bytes;
    for (const ChirpTableEntry_T& Entry : Table)
    {
        AppendLittleEndian(Bytes, Entry.First, 2);
        AppendLittleEndian(Bytes, Entry.Second, 2);
    }
    return Bytes;
}

std::vector<UINT8> CCorSpiPacketLink::TableBytes(const CorrelationFilterCoefficients_T& Table)
{
    std::vector<UINT8> Bytes;
    for (const CorrelationFilterCoefficientSet_T& Entry : Table)
    {
        AppendLittleEndian(Bytes, static_cast<UINT16>(Entry.First), 2);
        AppendLittleEndian(Bytes, static_cast<UINT16>(Entry.Second), 2);
    }
    return Bytes;
}
