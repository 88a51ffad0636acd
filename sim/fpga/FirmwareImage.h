#ifndef FIRMWAREIMAGE_H
#define FIRMWAREIMAGE_H

#include <string>

// What a simulated FPGA makes of the bytes written to its programming node.
// A simulated image starts with the line "VUFPGA <family> <major>.<minor>";
// anything else (a real bitstream, the "1" that starts a load) is not one.
class CFirmwareImage
{
public:
    static bool Parse(const std::string& bytes, std::string& family, int& major, int& minor);
    static std::string Make(const std::string& family, int major, int minor);
};

#endif
