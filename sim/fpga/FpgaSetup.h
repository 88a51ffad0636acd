#ifndef FPGASETUP_H
#define FPGASETUP_H

#include "EchoSimulator.h"

#include <set>
#include <string>
#include <vector>

// One "fpga PATH MODEL [OPTION=VALUE...]" line of a unit: which device node
// a simulated FPGA sits behind and how that unit's FPGA behaves.
struct FpgaSetup_T
{
    std::string path;              // the device node, e.g. /dev/LSfpga0
    std::string model;             // cor, lumet, lowscan-uart, lowscan-spi
    CEchoSimulator::Shape_T echo;  // seed=, depth=, echo=, noise=, ringdown=
    int flashMajor = -1;           // firmware present at power-up; -1: blank until loaded
    int flashMinor = 0;
    unsigned int channel = 0;  // the channel a UART port carries
    unsigned int transducer = 0x21;
    unsigned int speed = 0;
    unsigned int adc[3] = {0x400000, 0x123456, 0x0abcde};  // reference, water temperature, sense
    std::string follow;                                    // another node whose firmware load also configures this one
    std::set<std::string> faults;

    bool Fault(const char* name) const { return faults.count(name) != 0; }
    std::string Name() const { return path.substr(path.rfind('/') + 1); }

    // The part after the keyword; false with a reason for a bad line.
    static bool Parse(const std::string& text, FpgaSetup_T& setup, std::string& error);
    static const char* const c_Models[];
    // The faults a model simulates, each with an effect some command shows.
    static std::vector<std::string> Faults(const std::string& model);
    static std::string List(const std::vector<std::string>& names);
};

#endif
