#ifndef LSFPGATYPES_H
#define LSFPGATYPES_H

#include "TSQEventCodes.h"

#include <cstddef>

// Parameter, record and constant types of the Lowscan FPGA, shared by its two
// transports (CFPGAIFLSUart over a serial line, CFPGAIFLSSPI over SPI), the
// facade and the callers that build a ping configuration.

typedef UINT8 LSChannel_T;          // FPGA channel number, c_Channel0 or c_Channel1
typedef UINT32 LSPeriod_T;          // pulse period in FPGA clock units
typedef double LSFrequency_Hz_T;    // frequency in Hz
typedef UINT32 LSFpgaSamples_T;     // a sample count
typedef UINT32 LSDecimationRate_T;  // decimation rate of the receive samples
typedef double LSGain_T;            // gain (register word = gain x 16)
typedef double LSColourGain_T;      // colour gain (register word = colour gain x 1024)

constexpr LSChannel_T c_Channel0 = 0;
constexpr LSChannel_T c_Channel1 = 1;
constexpr LSPeriod_T c_PeriodUnknown = 0xFFFFFFFF;
constexpr size_t c_MaxSamplesFromLowscanFPGA = 1024;

// The largest ping return packet a transport accepts: 8 whole blocks of
// 132 bytes, 2 leading bytes and 1 trailing byte.
typedef UINT8 LSPingReturnPacket_T[1059];

// The set-up of one channel, in the order the configuration code fills it.
struct LSChannelConfigure_T
{
    LSChannel_T Channel = c_Channel0;       // the channel this block programs
    LSPeriod_T Period = 0;                  // pulse length: the number of full cycles
    LSFrequency_Hz_T StartFrequency = 0.0;  // chirp start
    LSFrequency_Hz_T EndFrequency = 0.0;    // chirp end (below the start: falling sweep)
    LSFpgaSamples_T NumberOfSamples = 0;    // first value of sampling B
    LSFpgaSamples_T SampleDelay = 0;        // second value of sampling B
    LSDecimationRate_T DecimationRate = 0;  // sampling A
    LSGain_T Gain = 0.0;
    LSColourGain_T ColourGain = 0.0;
    UINT8 SteppedAnalogueGain = 0;  // this channel's own stepped gain (not sent)
};

// A whole ping set-up of both channels, copied by value into setUpForPing.
// Each block carries its own channel number; the transports apply block 0
// first, then block 1, then the three trailing bytes. A default record has
// block 0 on channel 0 and block 1 on channel 1, everything else zero.
struct LSFpgaCompleteConfigure_T
{
    LSChannelConfigure_T Channels[2] = {{c_Channel0}, {c_Channel1}};
    UINT8 AnalogueGainLevel = 0;  // register 66: the OR of both channels' stepped gains
    UINT8 BoostLevel = 0;         // register 65, low bits
    UINT8 BoostEnable = 0;        // non-zero sets bit 31 of register 65
};

// The three 24-bit ADC readings of a Lowscan FPGA on SPI, in reply order.
struct LSADCReadings_T
{
    UINT32 ADCReference = 0;      // reply bytes 0-2
    UINT32 WaterTemperature = 0;  // reply bytes 3-5
    UINT32 Auxiliary = 0;         // reply bytes 6-8, not used by any test
};

#endif
