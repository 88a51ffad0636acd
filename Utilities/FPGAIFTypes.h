#ifndef FPGAIFTYPES_H
#define FPGAIFTYPES_H

// Types every FPGA transport and the interface facade share. The register
// images of each link live beside its transport.

// The FPGA's firmware version as the transports report it.
struct SWVersion_T
{
    unsigned char Major;
    unsigned char Minor;
};

// Which transport(s) a unit has. Ranges are part of the design: 3 to 6 are the
// UART products, 7 to 9 the Cor SPI modules.
enum FpgaInterfaceType_T : int
{
    eFpgaIfNone = 0,
    eFpgaIfLumetSpi = 1,
    eFpgaIfLSSpi = 2,
    eFpgaIfVarrowUart = 3,
    eFpgaIfVarrowXUart = 4,
    eFpgaIfQL1AUart = 5,
    eFpgaIfQL2AUart = 6,
    eFpgaIfQL4KSpi = 7,
    eFpgaIfQL5KSpi = 8,
    eFpgaIfQL6MSpi = 9
};

#endif
