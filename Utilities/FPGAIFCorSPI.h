#ifndef FPGAIFCORSPI_H
#define FPGAIFCORSPI_H

#include "CorSpiPacketLink.h"

// The sounder FPGA of the QL4K, QL5K and QL6M modules. Setters queue their
// packets for the next UpdateFPGA unless noted; getters read at once.
class CFPGAIFCorSpi : public CCorSpiPacketLink
{
public:
    // UseTransducerInterrupt: after a transducer-identification command, wait
    // for the FPGA's interrupt before going on.
    CFPGAIFCorSpi(bool UseTransducerInterrupt, const std::string& SerialDevicePath, IOSSFactory* pFactory);
    ~CFPGAIFCorSpi() override;

    // Ping data and the FIFO
    TSQEventCode_T GetPing(Buffer_Bytes_T* Data);
    TSQEventCode_T GetPingSection(Buffer_Bytes_T* Data);
    size_t ReceivePingDataFromFPGA(Buffer_Bytes_T* Data);
    TSQEventCode_T ValidateDataCollection();
    TSQEventCode_T HasPingDataTransferCompleted();
    TSQEventCode_T SetDebugRegister(unsigned char Value, CorFPGAAddress_T Address);
    TSQEventCode_T GetDebugRegister(unsigned char* RegisterContents, CorFPGAAddress_T Address);

    // Registers
    TSQEventCode_T SetCommandRegister(bFpgaCommandByte Command);
    TSQEventCode_T PingNow(bFpgaCommandByte Command);
    TSQEventCode_T GetStatusRegister(bFpgaStatusByte* Status);
    TSQEventCode_T GetVersion(SWVersion_T* SwVersion);
    TSQEventCode_T SetADCFrequencyRegister(eFpgaAdcFrequency_T Frequency);
    TSQEventCode_T SetBoostLevel(unsigned char Level);
    TSQEventCode_T SetNumberOfSamplesToReceive(FpgaAdcSamples_T NumberOf32bitSamples);
    TSQEventCode_T SetChannelFilterRegister(FpgaChnlFltByte_T const* Filter);
    TSQEventCode_T SetFilterSelectionRegister(PingConfigRxBand_T Band);
    TSQEventCode_T SetOutputDataToLog();
    TSQEventCode_T SetBaseBandFilterCentreFreq(unsigned short HundredsOfHz);
    TSQEventCode_T SetBaseBandFilterSelectionReg(unsigned char Value);
    TSQEventCode_T SetBaseBandFilterScalingReg(unsigned char Value);
    TSQEventCode_T SetBaseBandFilterSubSampleReg(unsigned char Value);
    TSQEventCode_T SetCorrelationFilterLength(unsigned char LengthCode);
    TSQEventCode_T SetCorralationScaling(unsigned char Value);
    TSQEventCode_T SetCorralationDownShift(unsigned char Value);
    TSQEventCode_T SetSubSampleRate(unsigned char Rate);
    TSQEventCode_T SetSubSampleMode(FpgaSubSampleMode_T Mode);
    TSQEventCode_T SetSubSampleThreshold(unsigned short Threshold);
    TSQEventCode_T GetSpeedReading(FPGASpeedReading_T* SpeedReading);
    TSQEventCode_T GetTransducerData(unsigned char* Data);
    TSQEventCode_T SetTransducerData(unsigned char Data);
    TSQEventCode_T SetSyncRegister(bFpgaPSUSyncRegister Sync);
    TSQEventCode_T SetTVGLength(unsigned short Entries);
    TSQEventCode_T SetChirpLength(unsigned short Entries);
    TSQEventCode_T SetTVGTable(const TVGTable_T& TvgTable);
    TSQEventCode_T SetChirpTable(const ChirpTable_T& ChirpTable);
    TSQEventCode_T SetCorrelationFilter(const CorrelationFilterCoefficients_T& CorrelationFilter);

private:
    bool m_bUseTransducerInterrupt;
};

#endif
