// Writes a Lowscan and a Lumet ping metadata record the way a sounder
// application would, and shows the files other processes then read.
#include "DatabaseLumetPingMetaData.h"
#include "DatabasePingMetaData.h"
#include "OSSLinuxFactory.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>

namespace
{
void Show(const std::string& path, TSQEventCode_T result)
{
    std::cout << "== " << path << " (writeDB returned " << result << ")\n" << std::ifstream(path).rdbuf() << "\n";
}
}

int main()
{
    if (!getenv("NONPERSISTED_DATABASE_ROOT"))
        setenv("NONPERSISTED_DATABASE_ROOT", "/tmp/", 1);
    COSSLinuxFactory factory;

    CDatabasePingMetaData lowscan(&factory, 0);
    lowscan.SetActive(true);
    lowscan.SetChannel(0);
    lowscan.SetStartFreq(200000.0);
    lowscan.SetEndFreq(210000.0);
    lowscan.SetGain(1.5);
    lowscan.SetColourGain(0.25);
    Show(lowscan.GetDBFilePath(), lowscan.writeDB());

    CDatabaseLumetPingMetaData lumet(&factory, 1);
    lumet.SetActive(true);
    lumet.SetChannel(1);
    CorrelationFilterSettings_T correlation;
    correlation.Coefficients = {{0, 120}, {-40, 3000}};
    lumet.SetCorrelationTable(correlation);
    Show(lumet.GetDBFilePath(), lumet.writeDB());
    return 0;
}
