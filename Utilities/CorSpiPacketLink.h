#ifndef CORSPIPACKETLINK_H
#define CORSPIPACKETLINK_H

#include "ByteBuffer.h"
#include "CorFpgaTypes.h"
#include "FPGAIFTypes.h"
#include "OSSFactory.h"
#include "OSSFile.h"

#include <string>
#include <vector>

// The command-packet link over an SPI device node that the Cor and the Lumet
// FPGAs share. Register writes are queued and go out in batches of at most
// one driver transfer; a read sends its request and takes the reply at once.
class CCorSpiPacketLink
{
public:
    virtual ~CCorSpiPacketLink();

    TSQEventCode_T GetErrorCode() const;

    TSQEventCode_T SendData(Buffer_Bytes_T* Data);
    TSQEventCode_T ReceiveData(Buffer_Bytes_T* Data);

    TSQEventCode_T CreateCommandPacket(Buffer_Bytes_T* Data, unsigned short Address, bool bRead, bool bBlock,
                                       bool bSingleTransfer);
    TSQEventCode_T PopulateCommandPacket(Buffer_Bytes_T* Data, unsigned short Address, bool bRead, bool bBlock,
                                         bool bSingleTransfer);
    TSQEventCode_T AddToTransmitBuffer(Buffer_Bytes_T* Data, CorFPGADataHeader_T* Header, bool bSingleTransfer);
    void TransferToDataToGoArray();
    size_t TransmitDataToFPGA();
    TSQEventCode_T UpdateFPGA();
    size_t ReceiveDataFromFPGA(Buffer_Bytes_T* Data);
    TSQEventCode_T WaitOnInterrupt();
    TSQEventCode_T TestFPGAAccess(Buffer_Bytes_T* Data, unsigned short Address, bool bRead, bool bBlock);

    bool IsSpiBusy() const;
    TSQEventCode_T SetBusy();
    TSQEventCode_T SetFree();

protected:
    // ClassName names the messages ("<ClassName>::SendData"). The device is
    // opened by the derived constructor, after its own argument checks.
    CCorSpiPacketLink(const char* ClassName, const std::string& SerialDevicePath, IOSSFactory* pFactory,
                      UINT32 FpgaClockHz);

    // After a clean open the driver is configured; its answer is not kept.
    void ConfigureDevice();

    // How a register wider than a byte goes out as one-byte packets.
    enum ByteRule_T
    {
        eQueueEveryByte,     // all bytes queued, the last result counts
        eStopAtFirstFailure  // a byte is queued only after the one before it
    };
    TSQEventCode_T QueueValue(CorFPGAAddress_T Address, UINT32 Value, unsigned Bytes, ByteRule_T Rule);
    TSQEventCode_T QueueByte(CorFPGAAddress_T Address, UINT8 Value);
    // The queueing result once the queue went out, -109 when nothing did.
    TSQEventCode_T SendNow(TSQEventCode_T QueueResult);
    // Request and reply for Count bytes from Address; -109 when the request
    // could not be sent. A reply that never comes leaves pData untouched.
    TSQEventCode_T ReadBytes(UINT8* pData, size_t Count, CorFPGAAddress_T Address, bool bBlock);
    TSQEventCode_T ReadVersion(SWVersion_T* SwVersion);
    // One transfer in the driver's ping-read mode: the write fills Data with
    // FIFO contents. Returns the SendData result.
    TSQEventCode_T ReadPingFifo(Buffer_Bytes_T* Data, UINT32 FifoAddress, UINT32 Mode);

    // Sends the transfer being assembled and empties it: the bytes written,
    // 0 when there was none or it failed.
    size_t SendAssembledTransfer();

    void Report(int Level, int Code, const char* Method, const std::string& Text);

    // Table entries as the FPGA memory holds them: fields in order, each
    // little-endian.
    static std::vector<UINT8> TableBytes(const TVGTable_T& Table);
    static std::vector<UINT8> TableBytes(const ChirpTable_T& Table);
    static std::vector<UINT8> TableBytes(const CorrelationFilterCoefficients_T& Table);

    TSQEventCode_T m_ErrorCode;
    IOSSFile* m_SerialPort;
    IOSSFactory* m_pFactory;
    std::string m_DevicePath;
    std::vector<UINT8> m_TransmitBuffer;
    std::vector<std::vector<UINT8>> m_DataToGo;
    bool m_bBusy;
    UINT32 m_FpgaClockHz;

private:
    const char* m_ClassName;
};

#endif
