// libFuzzer target: arbitrary bytes as a table file for the readers of the xK test.
#include "SonarTestController.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

namespace
{
struct Keys_T
{
    const char* start;
    const char* end;
};

const Keys_T c_Values[] = {
    {"FpgaInterface->SetSubSampleRate(", ");\nFpgaInterface->SetSubSampleMode"},
    {"FpgaInterface->SetBoostLevel(", ");\nFpgaInterface->SetChirpTable"},
    {"FpgaInterface->SetCorralationDownShift(", ");\nFpgaInterface->SetCorralationScaling"},
    {"  FpgaInterface->SetCorralationScaling(", ");\n-------------------CONFIGURE FPGA VALUES  END ----------------"},
};

const Keys_T c_Tables[] = {
    {"FpgaInterface->SetChirpTable Details : size ", "FpgaInterface->SetTVGTable: details size: "},
    {"FpgaInterface->SetTVGTable: details size: ", "FpgaInterface->GetBBFilterSubSampleDivisor"},
    {"FpgaInterface->SetCorrelationFilter Details size ", "FpgaInterface->SetCorralationDownShift("},
};

CSonarTestController* g_Controller = nullptr;
QString g_File;

// A broken promise of the readers is a crash for libFuzzer to keep.
void Require(bool condition)
{
    if (!condition)
        abort();
}
}

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    // The readers print every complaint; libFuzzer reports on stderr.
    if (!freopen("/dev/null", "w", stdout))
        return 1;
    g_Controller = new CSonarTestController;
    g_File = QString("/tmp/table-files-fuzz-%1.txt").arg(getpid());
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FILE* file = fopen(g_File.toLatin1().constData(), "wb");
    Require(file != nullptr);
    fwrite(data, 1, size, file);
    fclose(file);

    std::vector<ChirpTableEntry_T> chirp;
    std::vector<TVGTableEntry_T> tvg;
    std::vector<CorrelationFilterCoefficientSet_T> correlation;
    std::string output;
    const int result = g_Controller->LoadTables(chirp, tvg, correlation, &output, g_File);
    Require(result == 1 || result == 2);
    Require(result == 1 || (!chirp.empty() && !tvg.empty() && !correlation.empty()));

    for (const Keys_T& keys : c_Values)
        g_Controller->GetValue(g_File, keys.start, keys.end);

    const QString text = QString::fromLatin1(reinterpret_cast<const char*>(data), static_cast<int>(size));
    for (const Keys_T& keys : c_Tables)
    {
        const QList<QString> parts = g_Controller->GetPairs(text, keys.start, keys.end);
        Require(parts.size() % 2 == 0);
        g_Controller->GetSize(text, keys.start);
    }
    return 0;
}
