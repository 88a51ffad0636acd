#ifndef FPGAIFLUMETSPI_H
#define FPGAIFLUMETSPI_H

#include "CorSpiPacketLink.h"

// The sonar FPGA of the Lumet family: two receive channels with identical
// register blocks (channel 0 at 0x4000, channel 1 at 0x8000) and a few shared
// registers. Setters queue their packets for the next UpdateFPGA unless noted.
class CFPGAIFLumetSPI : public CCorSpiPacketLink
{
public:
    CFPGAIFLumetSPI(const std::string& SerialDevicePath, IOSSFactory* pFactory);
    ~CFPGAIFLumetSPI() override;

    // Shared registers
    TSQEventCode_T SetCommandRegister(bLumetCommandByte Command);
    TSQEventCode_T PingNow(bLumetCommandByte Command);
    TSQEventCode_T GetStatusRegister(bLumetStatusByte* Status);
    TSQEventCode_T GetVersion(SWVersion_T* SwVersion);
    TSQEventCode_T SetBoostLevel(unsigned char Level);
    TSQEventCode_T SetSyncRegister(bFpgaPSUSyncRegister Sync);
    TSQEventCode_T SetWifiLEDRegister(FpgaWifiLEDRegister_T Leds);
    TSQEventCode_T GetADCReference(CorFPGA24BitADCValue_T* AdcValue);
    TSQEventCode_T GetWaterTemp(CorFPGA24BitADCValue_T* AdcValue);
    TSQEventCode_T GetSenseResistor(CorFPGA24BitADCValue_T* AdcValue);
    TSQEventCode_T GetADCValue(CorFPGAAddress_T Address, CorFPGA24BitADCValue_T* AdcValue);
    TSQEventCode_T SetDebugRegister(bLumetStatusByte Value, CorFPGAAddress_T Address);
    TSQEventCode_T GetDebugRegister(bLumetStatusByte* Status, CorFPGAAddress_T Address);

    // Per-channel registers
    TSQEventCode_T SetNumberOfSamplesToReceive(FpgaAdcSamples_T NumberOf32bitSamples, FPGAChannel_T Channel);
    TSQEventCode_T SetSteppedAnalogueGain(unsigned char Gain, FPGAChannel_T Channel);
    TSQEventCode_T SetBaseBandFilterCentreFreq(UINT32 Value, FPGAChannel_T Channel);
    TSQEventCode_T SetCorralationScaling(unsigned char Value, FPGAChannel_T Channel);
    TSQEventCode_T SetCorralationDownShift(unsigned char Value, FPGAChannel_T Channel);
    TSQEventCode_T SetSubSampleRate(UINT32 Rate, FPGAChannel_T Channel);
    TSQEventCode_T SetFifoCntrlRegister(bCorFifoCntrlByte Control, FPGAChannel_T Channel);
    TSQEventCode_T GetFifoStatusRegister(bCorFifoStatusByte* Status, FPGAChannel_T Channel);
    TSQEventCode_T SetStartFreq(UINT32 Value, FPGAChannel_T Channel);
    TSQEventCode_T SetChirpIncrement(UINT32 Value, FPGAChannel_T Channel);
    TSQEventCode_T SetBurstLength(UINT32 FullCycles, FPGAChannel_T Channel);
    TSQEventCode_T SetCorrelationFilter(const CorrelationFilterCoefficients_T& CorrelationFilter,
                                        FPGAChannel_T Channel);

    // Ping data: N bytes from the channel's FIFO become N floats in Data's
    // storage, which must hold 4 x N bytes although Data's size says N.
    TSQEventCode_T GetPing(FPGAChannel_T Channel, Buffer_Bytes_T* Data, InterruptMode_T Mode);
    TSQEventCode_T ValidateDataCollection(FPGAChannel_T Channel);
};

#endif
