#include "FPGAIF.h"

#include "AssertAt.h"
#include "FPGAIFCorSPI.h"
#include "FPGAIFLSSPI.h"
#include "FPGAIFLSUart.h"
#include "FPGAIFLumetSPI.h"
#include "OSSFactory.h"

#include <cassert>
#include <cstring>

namespace
{
const char c_AssertSource[] = "Utilities/FPGAIF.cpp";
const char* const c_Origin = "CFPGAIF::CFPGAIF";
const char* const c_Channel0Comms = "FPGA_CHANNEL_0_COMMS";
const char* const c_Channel1Comms = "FPGA_CHANNEL_1_COMMS";
constexpr int c_EventInformation = 6;
constexpr size_t c_PartNumberLength = 6;  // "N41001"
// The Nr variants are the only Lumet units with the ADC read-backs wired.
constexpr UINT32 c_LumetVariantNr = 8;

// A transport that could not open its device is kept; its code is the only
// trace of the failure, so it goes out with the announcement.
template <typename Transport_T>
void ReportErrorCode(IOSSFactory* pFactory, const Transport_T* pTransport, const char* Fetching, const char* Missing)
{
    if (pTransport)
        pFactory->SendEvent(c_EventInformation, pTransport->GetErrorCode(), c_Origin, Fetching);
    else
        pFactory->SendEvent(c_EventInformation, 0, c_Origin, Missing);
}
}

CFPGAIF::CFPGAIF(IOSSFactory* pFactory, XdcrElementIndex_T element)
    : m_pFactory(pFactory),
      m_InterfaceType(eFpgaIfNone),
      m_pLSIF_SPI(nullptr),
      m_pLSIF_Uart0(nullptr),
      m_pLSIF_Uart1(nullptr),
      m_pCorIF_SPI(nullptr),
      m_pLumetIF_SPI(nullptr),
      m_LumetVariant(0)
{
    ASSERT_AT(c_AssertSource, 45, pFactory && "No Factory Passed to CFPGAIF");
    m_InterfaceType = MatchProduct();
    switch (m_InterfaceType)
    {
    case eFpgaIfLumetSpi:
        CreateLumetInterface();
        break;
    case eFpgaIfLSSpi:
        Announce(0, "Running on PELION - Creating A SPI Interface for FPGA");
        m_pLSIF_SPI = new CFPGAIFLSSPI(DevicePath(c_Channel0Comms), m_pFactory);
        ASSERT_AT(c_AssertSource, 55, m_pLSIF_SPI);
        break;
    case eFpgaIfVarrowUart:
    case eFpgaIfVarrowXUart:
    case eFpgaIfQL1AUart:
    case eFpgaIfQL2AUart:
        CreateUartInterfaces();
        break;
    case eFpgaIfQL4KSpi:
    case eFpgaIfQL5KSpi:
    case eFpgaIfQL6MSpi:
        CreateCorInterface(element);
        break;
    case eFpgaIfNone:
        break;  // unknown unit: silent, every operation answers -177
    }
}

// The transports stay: their device nodes remain open until the process ends.
CFPGAIF::~CFPGAIF() {}

// Compared over the part number's length only, so an identity with a suffix
// still names its model. An unset variable names no model.
bool CFPGAIF::Matches(const char* pProductId, const char* ModelVariable)
{
    const char* pPartNumber = m_pFactory->GetEnv(ModelVariable);
    return pProductId && pPartNumber && strncmp(pProductId, pPartNumber, c_PartNumberLength) == 0;
}

FpgaInterfaceType_T CFPGAIF::MatchProduct()
{
    static const struct
    {
        const char* Variable;
        FpgaInterfaceType_T Type;
    } c_Products[] = {
        {"PRODUCT_ID_LUMETV1", eFpgaIfLumetSpi},    {"PRODUCT_ID_LUMETV2", eFpgaIfLumetSpi},
        {"PRODUCT_ID_LUMETV3", eFpgaIfLumetSpi},    {"PRODUCT_ID_LUMETV4", eFpgaIfLumetSpi},
        {"PRODUCT_ID_LUMETV5", eFpgaIfLumetSpi},    {"PRODUCT_ID_LUMETV6", eFpgaIfLumetSpi},
        {"PRODUCT_ID_LUMETV7", eFpgaIfLumetSpi},    {"PRODUCT_ID_TESSFINV1", eFpgaIfLumetSpi},
        {"PRODUCT_ID_Nr1", eFpgaIfLumetSpi},        {"PRODUCT_ID_Nr2", eFpgaIfLumetSpi},
        {"PRODUCT_ID_Nr3", eFpgaIfLumetSpi},        {"PRODUCT_ID_Varrow", eFpgaIfVarrowUart},
        {"PRODUCT_ID_VarrowX", eFpgaIfVarrowXUart}, {"PRODUCT_ID_Pk1", eFpgaIfLSSpi},
        {"PRODUCT_ID_Pk2", eFpgaIfLSSpi},           {"PRODUCT_ID_Pk3", eFpgaIfLSSpi},
        {"PRODUCT_ID_Pk4", eFpgaIfLSSpi},           {"PRODUCT_ID_QL1A", eFpgaIfQL1AUart},
        {"PRODUCT_ID_QL2A", eFpgaIfQL2AUart},       {"PRODUCT_ID_QL4K", eFpgaIfQL4KSpi},
        {"PRODUCT_ID_QL5K", eFpgaIfQL5KSpi},        {"PRODUCT_ID_QL6M", eFpgaIfQL6MSpi},
    };
    const char* pProductId = m_pFactory->GetEnv("PRODUCT_ID");
    for (const auto& Product : c_Products)
        if (Matches(pProductId, Product.Variable))
            return Product.Type;
    return eFpgaIfNone;
}

// Deliberately V4 before V3 and no V5: a LumetV5 unit keeps index 0.
UINT32 CFPGAIF::MatchLumetVariant()
{
    static const struct
    {
        const char* Variable;
        UINT32 Index;
    } c_Variants[] = {
        {"PRODUCT_ID_LUMETV1", 1},
        {"PRODUCT_ID_LUMETV2", 2},
        {"PRODUCT_ID_LUMETV4", 3},
        {"PRODUCT_ID_LUMETV3", 4},
        {"PRODUCT_ID_LUMETV6", 5},
        {"PRODUCT_ID_LUMETV7", 6},
        {"PRODUCT_ID_TESSFINV1", 7},
        {"PRODUCT_ID_Nr1", c_LumetVariantNr},
        {"PRODUCT_ID_Nr2", c_LumetVariantNr},
        {"PRODUCT_ID_Nr3", c_LumetVariantNr},
    };
    const char* pProductId = m_pFactory->GetEnv("PRODUCT_ID");
    for (const auto& Variant : c_Variants)
        if (Matches(pProductId, Variant.Variable))
            return Variant.Index;
    return 0;
}

// Unset reads as empty: the transports themselves refuse an empty path.
std::string CFPGAIF::DevicePath(const char* Variable)
{
    const char* pPath = m_pFactory->GetEnv(Variable);
    return pPath ? pPath : "";
}

void CFPGAIF::Announce(int Code, const char* Text)
{
    m_pFactory->SendEvent(c_EventInformation, Code, c_Origin, Text);
}

void CFPGAIF::CreateUartInterfaces()
{
    Announce(0, "Running on ql_sounder 1A , 2A or VRRW - Creating 2 UART Interfaces for FPGA");
    m_pLSIF_Uart0 =
        new CFPGAIFLSUart(CFPGAIFLSUart::DevicePathOrDefault(DevicePath(c_Channel0Comms), c_Channel0), m_pFactory);
    ReportErrorCode(m_pFactory, m_pLSIF_Uart0, "fetching error code from UART", "Can not get error code from UART");
    m_pLSIF_Uart1 =
        new CFPGAIFLSUart(CFPGAIFLSUart::DevicePathOrDefault(DevicePath(c_Channel1Comms), c_Channel1), m_pFactory);
}

// QL6M: element 0 sits on the FPGA of channel 1 and needs no transducer
// interrupt; every other element is on channel 0 with the interrupt.
void CFPGAIF::CreateCorInterface(XdcrElementIndex_T element)
{
    bool bUseTransducerInterrupt = true;
    const char* Variable = c_Channel0Comms;
    if (m_InterfaceType == eFpgaIfQL6MSpi)
    {
        Announce(0, "Running on ql_sounder 6M - Creating SPI Interface for FPGA");
        if (element == 0)
        {
            bUseTransducerInterrupt = false;
            Variable = c_Channel1Comms;
        }
    }
    else
        Announce(0, "Running on ql_sounder 4K / 5K - Creating SPI Interface for FPGA");
    m_pCorIF_SPI = new CFPGAIFCorSpi(bUseTransducerInterrupt, DevicePath(Variable), m_pFactory);
    ReportErrorCode(m_pFactory, m_pCorIF_SPI, "fetching error code from Cor SPI",
                    "Can not get error code from CorSPI Class");
}

void CFPGAIF::CreateLumetInterface()
{
    m_LumetVariant = MatchLumetVariant();
    Announce(0, "Running on a Lumet variant - Creating 1 SPI Interface for FPGA");
    m_pLumetIF_SPI = new CFPGAIFLumetSPI(DevicePath(c_Channel0Comms), m_pFactory);
    ReportErrorCode(m_pFactory, m_pLumetIF_SPI, "fetching error code from Lumet SPI",
                    "Can not get error code from LumetIF_SPI Class");
}

bool CFPGAIF::IsCor() const
{
    return m_InterfaceType >= eFpgaIfQL4KSpi && m_InterfaceType <= eFpgaIfQL6MSpi;
}

bool CFPGAIF::IsUart() const
{
    return m_InterfaceType >= eFpgaIfVarrowUart && m_InterfaceType <= eFpgaIfQL2AUart;
}

CFPGAIFLSUart* CFPGAIF::Uart(unsigned char channel) const
{
    return channel == 0 ? m_pLSIF_Uart0 : m_pLSIF_Uart1;
}

// Only the UART products can be flushed; there is nothing to empty on an SPI
// link, and the Pk displays answer 0.
TSQEventCode_T CFPGAIF::Flush(unsigned char channel)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    if (m_InterfaceType == eFpgaIfLSSpi)
        return c_TSQ_Success;
    CFPGAIFLSUart* pUart = Uart(channel);
    assert(pUart && "Flush is only for UART products");
    return pUart->Flush();
}

// On UART products channel 0 speaks for both FPGAs.
TSQEventCode_T CFPGAIF::GetErrorCode() const
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    if (m_InterfaceType == eFpgaIfLSSpi)
        return m_pLSIF_SPI->GetErrorCode();
    if (IsUart())
        return m_pLSIF_Uart0->GetErrorCode();
    if (IsCor())
        return m_pCorIF_SPI->GetErrorCode();
    return m_pLumetIF_SPI->GetErrorCode();
}

TSQEventCode_T CFPGAIF::GetVersion(SWVersion_T* pVersion)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    if (m_InterfaceType == eFpgaIfLSSpi)
        return m_pLSIF_SPI->GetVersion(pVersion);
    if (IsUart())
        return m_pLSIF_Uart0->GetVersion(pVersion);
    if (IsCor())
        return m_pCorIF_SPI->GetVersion(pVersion);
    return m_pLumetIF_SPI->GetVersion(pVersion);
}

// Unlike the other operations, a unit without the ADC request is told so.
TSQEventCode_T CFPGAIF::GetADCReadings(LSADCReadings_T* pReadings)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    if (m_InterfaceType == eFpgaIfLSSpi)
        return m_pLSIF_SPI->GetADCReadings(pReadings);
    return c_TSQ_NotSupported;
}

TSQEventCode_T CFPGAIF::PingNow()
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    if (m_InterfaceType == eFpgaIfLSSpi)
        return m_pLSIF_SPI->PingNow();
    if (IsUart())
        return m_pLSIF_Uart0->PingNow();
    return c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::PingNow(bLumetCommandByte Command)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return m_InterfaceType == eFpgaIfLumetSpi ? m_pLumetIF_SPI->PingNow(Command) : c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::PingNow(bFpgaCommandByte Command)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return IsCor() ? m_pCorIF_SPI->PingNow(Command) : c_TSQ_Success;
}

// Only the Lowscan SPI link has to be told to wait for the ping's data.
void CFPGAIF::WaitForData()
{
    if (m_InterfaceType == eFpgaIfLSSpi)
        m_pLSIF_SPI->WaitForData();
}

TSQEventCode_T CFPGAIF::GetPing(unsigned char channel, Buffer_Bytes_T* pData, Buffer_Bytes_T* pSecond)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    if (m_InterfaceType == eFpgaIfLSSpi)
        return m_pLSIF_SPI->GetPing(channel, pData, pSecond);
    if (IsUart())
        return Uart(channel)->GetPing(channel, pData, pSecond);
    return c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::GetPing(unsigned char channel, Buffer_Bytes_T* pData, int InterruptMode)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    if (m_InterfaceType == eFpgaIfLumetSpi)
        return m_pLumetIF_SPI->GetPing(channel, pData, static_cast<InterruptMode_T>(InterruptMode));
    return c_TSQ_Success;
}

// Answers the number of bytes received, not a result code.
TSQEventCode_T CFPGAIF::GetPing(Buffer_Bytes_T* pData)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    return IsCor() ? m_pCorIF_SPI->GetPing(pData) : c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::setUpForPing(LSFpgaCompleteConfigure_T Configuration)
{
    if (m_InterfaceType == eFpgaIfNone)
        return c_TSQ_NoFpgaInterface;
    if (m_InterfaceType == eFpgaIfLSSpi)
        return m_pLSIF_SPI->setUpForPing(Configuration);
    if (IsUart())
        return m_pLSIF_Uart0->setUpForPing(Configuration);
    return c_TSQ_Success;
}

TSQEventCode_T CFPGAIF::GetADCReference(unsigned int* pValue)
{
    if (m_LumetVariant != c_LumetVariantNr)
        return c_TSQ_NoFpgaInterface;
    return m_pLumetIF_SPI->GetADCReference(pValue);
}

TSQEventCode_T CFPGAIF::GetSenseResistor(unsigned int* pValue)
{
    if (m_LumetVariant != c_LumetVariantNr)
        return c_TSQ_NoFpgaInterface;
    return m_pLumetIF_SPI->GetSenseResistor(pValue);
}

TSQEventCode_T CFPGAIF::GetWaterTemp(unsigned int* pValue)
{
    if (m_LumetVariant != c_LumetVariantNr)
        return c_TSQ_NoFpgaInterface;
    return m_pLumetIF_SPI->GetWaterTemp(pValue);
}
