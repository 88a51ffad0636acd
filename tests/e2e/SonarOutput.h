#ifndef SONAROUTPUT_H
#define SONAROUTPUT_H

#include "UnitRunner.h"

#include <string>
#include <vector>

// Shown before every FPGA interface is made.
extern const std::string c_FpgaNotice;
// What QL1A and QL2A print while their sounder is stopped.
extern const std::string c_QLSounderStopped;
extern const std::string c_UnknownProduct;

// The output with each sample block replaced by "<BLOCK>", and the blocks'
// bodies in order, so reports compare whole while the seeded echoes are
// judged on their own.
struct SplitOutput_T
{
    std::string text;
    std::vector<std::string> blocks;
};
SplitOutput_T SplitSampleBlocks(const std::string& out);

// "\n<BLOCK>" as SplitSampleBlocks leaves it.
extern const std::string c_Block;

// The comma-separated values of an xkping block.
std::vector<long> BlockValues(const std::string& block);

// A --file argument for the unit: CONTENT escaped the way profiles take it.
std::string UnitFile(const std::string& path, const std::string& content);

// The FPGA trace of a kept unit.
std::string Trace(const std::string& unitDir);

#endif
