#ifndef FPGAIF_H
#define FPGAIF_H

#include "ByteBuffer.h"
#include "CorFpgaTypes.h"
#include "FPGAIFTypes.h"
#include "LSFpgaTypes.h"
#include "TSQEventCodes.h"

#include <string>
#include <vector>

class IOSSFactory;
class CFPGAIFLSSPI;
class CFPGAIFLSUart;
class CFPGAIFCorSpi;
class CFPGAIFLumetSPI;

// Transducer element a QL6M test addresses; the other products ignore it.
typedef UINT8 XdcrElementIndex_T;

// The one way to the sonar FPGA(s). The product environment picks the
// transport(s) once, at construction; every operation is then handed to the
// transport that offers it. An operation the unit's transport lacks answers
// 0 (nothing done), a unit without any transport answers -177.
//
// The transports are never deleted: they keep their device nodes open until
// the process ends, which is one command long.
class CFPGAIF
{
public:
    CFPGAIF(IOSSFactory* pFactory, XdcrElementIndex_T element);
    virtual ~CFPGAIF();
    CFPGAIF(const CFPGAIF&) = delete;
    CFPGAIF& operator=(const CFPGAIF&) = delete;

    // Lowscan: status, version, ping
    TSQEventCode_T Flush(unsigned char channel);
    TSQEventCode_T GetErrorCode() const;
    TSQEventCode_T GetVersion(SWVersion_T* pVersion);
    TSQEventCode_T GetADCReadings(LSADCReadings_T* pReadings);
    TSQEventCode_T PingNow();
    TSQEventCode_T PingNow(bLumetCommandByte Command);
    TSQEventCode_T PingNow(bFpgaCommandByte Command);
    void WaitForData();
    TSQEventCode_T GetPing(unsigned char channel, Buffer_Bytes_T* pData, Buffer_Bytes_T* pSecond);
    TSQEventCode_T GetPing(unsigned char channel, Buffer_Bytes_T* pData, int InterruptMode);
    TSQEventCode_T GetPing(Buffer_Bytes_T* pData);
    TSQEventCode_T setUpForPing(LSFpgaCompleteConfigure_T Configuration);

    // Cor and Lumet registers
    TSQEventCode_T GetTransducerData(unsigned char* pData);
    TSQEventCode_T SetTransducerData(unsigned char Data);
    TSQEventCode_T GetStatusRegister(bFpgaStatusByte* pStatus);
    TSQEventCode_T GetStatusRegister(bLumetStatusByte* pStatus);
    TSQEventCode_T SetCommandRegister(bFpgaCommandByte Command);
    TSQEventCode_T SetCommandRegister(bLumetCommandByte Command);
    TSQEventCode_T SetChannelFilterRegister(FpgaChnlFltByte_T const* pFilter);
    TSQEventCode_T SetFilterSelectionRegister(unsigned char Band);
    TSQEventCode_T SetADCFrequencyRegister(eFpgaAdcFrequency_T Frequency);
    TSQEventCode_T SetNumberOfSamplesToReceive(unsigned int Count, unsigned char channel);
    TSQEventCode_T SetSteppedAnalogueGain(unsigned char Value, unsigned char channel);
    TSQEventCode_T SetBoostLevel(unsigned char Level);
    TSQEventCode_T SetChirpTable(const std::vector<ChirpTableEntry_T>& Table);
    TSQEventCode_T SetTVGTable(const std::vector<TVGTableEntry_T>& Table);
    TSQEventCode_T SetBasebandFilterSubSample(unsigned char Value);
    TSQEventCode_T SetBaseBandFilterSelection(unsigned char Value);
    TSQEventCode_T SetBaseBandFilterCentreFreq(const unsigned int& Frequency, unsigned char channel);
    TSQEventCode_T SetBaseBandFilterScalingReg(unsigned char Value);
    TSQEventCode_T SetCorrelationFilter(const std::vector<CorrelationFilterCoefficientSet_T>& Table,
                                        unsigned char channel);
    TSQEventCode_T SetCorralationDownShift(unsigned char Value, unsigned char channel);
    TSQEventCode_T SetCorralationScaling(unsigned char Value, unsigned char channel);
    TSQEventCode_T UpdateFPGA();
    TSQEventCode_T GetSpeedReading(FPGASpeedReading_T* pReading);
    TSQEventCode_T HasPingDataTransferCompleted();
    TSQEventCode_T TestFPGAAccess(Buffer_Bytes_T* pData, unsigned short Address, bool bRead, bool bBlock);
    bool IsSpiBusy() const;
    TSQEventCode_T SetFree();
    TSQEventCode_T SetBusy();
    TSQEventCode_T SetSyncRegister(bFpgaPSUSyncRegister Sync);
    TSQEventCode_T SetSubSampleRate(unsigned int Rate, unsigned char channel);
    TSQEventCode_T SetSubSampleRate(unsigned char Rate);
    TSQEventCode_T SetStartFreq(unsigned int Value, unsigned char channel);
    TSQEventCode_T SetChirpIncrement(unsigned int Value, unsigned char channel);
    TSQEventCode_T SetBurstLength(unsigned int Value, unsigned char channel);
    TSQEventCode_T SetFifoCntrlRegister(bCorFifoCntrlByte Control, unsigned char channel);
    TSQEventCode_T SetWifiLEDRegister(FpgaWifiLEDRegister_T Leds);
    TSQEventCode_T SetOutputDataToLog();
    TSQEventCode_T SetSubSampleMode(FpgaSubSampleMode_T Mode);
    TSQEventCode_T SetSubSampleThreshold(unsigned short Threshold);

    // Lumet ADC read-backs: only the Nr variants have them wired.
    TSQEventCode_T GetADCReference(unsigned int* pValue);
    TSQEventCode_T GetSenseResistor(unsigned int* pValue);
    TSQEventCode_T GetWaterTemp(unsigned int* pValue);

private:
    FpgaInterfaceType_T MatchProduct();
    UINT32 MatchLumetVariant();
    bool Matches(const char* pProductId, const char* ModelVariable);
    std::string DevicePath(const char* Variable);
    void Announce(int Code, const char* Text);
    void CreateUartInterfaces();
    void CreateCorInterface(XdcrElementIndex_T element);
    void CreateLumetInterface();

    bool IsCor() const;
    bool IsUart() const;
    CFPGAIFLSUart* Uart(unsigned char channel) const;

    IOSSFactory* m_pFactory;
    FpgaInterfaceType_T m_InterfaceType;
    CFPGAIFLSSPI* m_pLSIF_SPI;
    CFPGAIFLSUart* m_pLSIF_Uart0;
    CFPGAIFLSUart* m_pLSIF_Uart1;
    CFPGAIFCorSpi* m_pCorIF_SPI;
    CFPGAIFLumetSPI* m_pLumetIF_SPI;
    UINT32 m_LumetVariant;
};

#endif
