#include "SonarOutput.h"

const std::string c_FpgaNotice =
    "If unit segfaults below (CFPGAIF constructor), check CSonarTestController constructor defines all the product "
    "ids (eg: PRODUCT_ID_Varrow) required by QLSounderType_T SounderInfo::GetSounderType GetSounderType()\n";
const std::string c_QLSounderStopped = "Command = /corvane/Application/KillQLSounder\nOut: QLSounder stopped\n";
const std::string c_UnknownProduct =
    "ERROR: Unknown Product type.\nERROR: PRODUCT_ID environment variable not set. Ping will segfault.\n";
const std::string c_Block = "\n<BLOCK>";

SplitOutput_T SplitSampleBlocks(const std::string& out)
{
    static const std::string begin = "\n<SonarFPGAData>";
    static const std::string end = "<EndSonarFPGAData>";
    SplitOutput_T split;
    size_t from = 0;
    for (size_t at; (at = out.find(begin, from)) != std::string::npos;)
    {
        const size_t stop = out.find(end, at);
        if (stop == std::string::npos)
            break;
        split.text += out.substr(from, at - from) + c_Block;
        split.blocks.push_back(out.substr(at + begin.size(), stop - at - begin.size()));
        from = stop + end.size();
    }
    split.text += out.substr(from);
    return split;
}

std::vector<long> BlockValues(const std::string& block)
{
    std::vector<long> values;
    size_t from = 0;
    while (from < block.size())
    {
        const size_t comma = block.find(',', from);
        values.push_back(std::stol(block.substr(from, comma - from)));
        if (comma == std::string::npos)
            break;
        from = comma + 1;
    }
    return values;
}

std::string UnitFile(const std::string& path, const std::string& content)
{
    std::string escaped;
    for (char c : content)
        escaped += c == '\\' ? std::string("\\\\") : std::string(1, c);
    return path + "=" + escaped;
}

std::string Trace(const std::string& unitDir)
{
    return ReadHostFile(unitDir + "/root/vunit/fpga.trace");
}
