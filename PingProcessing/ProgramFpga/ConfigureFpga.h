#ifndef CONFIGUREFPGA_H
#define CONFIGUREFPGA_H

#include "TSQEventCodes.h"

class CFPGAIF;
class CDatabasePingMetaData;
class CDatabaseLumetPingMetaData;
class CDatabasePingParametersMessage;
class CDatabaseFPGACache;
class CDatabaseQL6MPingMetaData;

// Programs an FPGA from the ping metadata records of its two channels
// (element 0 of each array is channel 0, element 1 channel 1).
class CConfigureFpga
{
public:
    CConfigureFpga() {}
    ~CConfigureFpga() {}

    // One complete two-channel configuration for the Lowscan UART and SPI products.
    TSQEventCode_T Configure(CDatabasePingMetaData** PingMetaData, CFPGAIF* LowscanIF, bool);

    // Both channels of a Lumet FPGA, register by register, then one update.
    TSQEventCode_T Configure(CDatabaseLumetPingMetaData** PingMetaData, CFPGAIF* FpgaInterface);

    // Kept for callers of other products: they check their interface and do nothing.
    TSQEventCode_T Configure(const CDatabasePingParametersMessage*, const CDatabaseFPGACache*, CFPGAIF* FpgaInterface,
                             bool);
    TSQEventCode_T Configure(const CDatabaseQL6MPingMetaData*, CFPGAIF* FpgaInterface, bool);
};

#endif
