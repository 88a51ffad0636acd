#ifndef CORFPGATYPES_H
#define CORFPGATYPES_H

#include "TSQEventCodes.h"

#include <cstddef>
#include <cstdint>
#include <vector>

// Register images and records of the Cor packet link (QL4K/QL5K/QL6M) and of
// the two-channel Lumet FPGA that speaks the same link.

typedef UINT16 CorFPGAAddress_T;

// One register image each. Separate types rather than bare bytes, so that the
// Cor and Lumet variants of an operation can be told apart by their argument.
struct bFpgaCommandByte
{
    UINT8 Value;
};
struct bFpgaStatusByte
{
    UINT8 Value;
};
struct bLumetCommandByte
{
    UINT8 Value;
};
struct bLumetStatusByte
{
    UINT8 Value;
};
struct bFpgaPSUSyncRegister
{
    UINT8 Value;
};
struct bCorFifoCntrlByte
{
    UINT8 Value;
};
struct bCorFifoStatusByte
{
    UINT8 Value;
};
struct FpgaChnlFltByte_T
{
    UINT8 Value;
};
struct FpgaWifiLEDRegister_T
{
    UINT16 Value;
};

// Command byte bits both FPGAs share: bit 0 fires the ping. Cor: bits 2 to 6
// ask for transducer identification. Lumet: bits 1 and 2 pick the channel.
constexpr UINT8 c_FpgaCommandStartPing = 0x01;
constexpr UINT8 c_FpgaCommandTransducerId = 0x7C;
constexpr UINT8 c_LumetCommandChannel0 = 0x02;
constexpr UINT8 c_LumetCommandChannel1 = 0x04;

// FIFO status after a complete read, and the control value that empties it.
constexpr UINT8 c_CorFifoStatusIdle = 4;
constexpr UINT8 c_CorFifoControlClear = 2;

// Register codes go to the FPGA unchanged; only 2 (QL4K, QL5K) and 3 (QL6M)
// are in use.
enum eFpgaAdcFrequency_T : UINT8
{
    eFpgaAdcFrequencyCode0 = 0,
    eFpgaAdcFrequencyCode1 = 1,
    eFpgaAdcFrequencyCode2 = 2,
    eFpgaAdcFrequencyCode3 = 3
};

enum FpgaSubSampleMode_T : UINT8
{
    eFpgaSubSampleMode0 = 0,
    eFpgaSubSampleMode1 = 1,
    eFpgaSubSampleMode2 = 2,
    eFpgaSubSampleMode3 = 3
};

enum PingConfigRxBand_T
{
    PingConfigRxBand_Auto = 0,
    PingConfigRxBand_LF = 1,
    PingConfigRxBand_MF = 2,
    PingConfigRxBand_HF = 3
};

// Handed to the driver's ping read unchanged.
enum InterruptMode_T : int
{
    eInterruptModeNone = 0
};

// Lumet channel: 1 is the channel-1 block, anything else channel 0.
typedef UINT8 FPGAChannel_T;

typedef UINT32 FPGASpeedReading_T;
typedef UINT32 FpgaAdcSamples_T;        // a count of 32-bit samples
typedef UINT32 CorFPGA24BitADCValue_T;  // bits 0 to 23 used

// Table entries, sent as they lie in memory on the unit: first field first,
// each field little-endian.
struct ChirpTableEntry_T
{
    UINT16 First;
    UINT16 Second;
};
struct TVGTableEntry_T
{
    UINT8 First;
    UINT8 Second;
};
struct CorrelationFilterCoefficientSet_T
{
    int16_t First;
    int16_t Second;
};
typedef std::vector<ChirpTableEntry_T> ChirpTable_T;
typedef std::vector<TVGTableEntry_T> TVGTable_T;
typedef std::vector<CorrelationFilterCoefficientSet_T> CorrelationFilterCoefficients_T;

constexpr size_t Sizeof_TVGTable = 1024;
constexpr size_t Sizeof_CorrelationFilter = 4096;
constexpr size_t c_MaxSamplesFromLumetFPGA = 2048;

// The command packet: this header (7 bytes on the wire, little-endian, no
// padding), the payload, then the 8-bit sum of the payload.
struct CorFPGADataHeader_T
{
    UINT16 SyncWord;
    CorFPGAAddress_T Address;
    UINT8 Flags;
    UINT16 LengthMinusOne;
};
constexpr UINT16 c_CorFpgaSyncWord = 0x5343;  // "CS" on the wire
constexpr size_t c_CorFpgaHeaderBytes = 7;
constexpr UINT8 c_CorFpgaFlagRead = 0x01;
constexpr UINT8 c_CorFpgaFlagBlock = 0x02;

// The driver's transfer size fixes these.
constexpr size_t c_CorFpgaMaxPayload = 5049;
constexpr size_t c_CorFpgaMaxTransfer = 5057;

// Requests of the sonar FPGA SPI driver (read direction, type 'r', int-sized).
constexpr unsigned long c_CorSpiIoctlConfigure = 0x80047202;
constexpr unsigned long c_CorSpiIoctlWaitForInterrupt = 0x80047203;
constexpr unsigned long c_CorSpiIoctlStartPingRead = 0x80047205;
constexpr unsigned long c_CorSpiIoctlEndPingRead = 0x80047206;

// Argument of the start-ping-read request. The last two words are always 1;
// the driver expects them so.
struct CorSpiPingRead_T
{
    UINT32 SyncWord;
    UINT32 Address;
    UINT32 Mode;  // 0 on Cor, the interrupt mode on Lumet
    UINT32 Word3;
    UINT32 Word4;
};

#endif
