#include "SonarTestController.h"

#include <QFile>

#include <cstdio>
#include <cstdlib>

namespace
{
// Tells the shared sounder code which part number means which model. The Pk
// models carry the placeholder part number "Nx".
const char* const c_ProductTable[] = {
    "PRODUCT_ID_Varrow=N41001",    "PRODUCT_ID_VarrowX=N41002",   "PRODUCT_ID_QL1A=N41003",
    "PRODUCT_ID_QL2A=N41004",      "PRODUCT_ID_QL4K=N41005",      "PRODUCT_ID_QL5K=N41006",
    "PRODUCT_ID_QL6M=N41007",      "PRODUCT_ID_SKD=N41008",       "PRODUCT_ID_LUMETV1=N41009",
    "PRODUCT_ID_LUMETV2=N41010",   "PRODUCT_ID_LUMETV3=N41011",   "PRODUCT_ID_LUMETV4=N41012",
    "PRODUCT_ID_LUMETV5=N41013",   "PRODUCT_ID_LUMETV6=N41014",   "PRODUCT_ID_TESSFINV1=N41015",
    "PRODUCT_ID_Nr1=N41016",       "PRODUCT_ID_Nr2=N41017",       "PRODUCT_ID_Nr3=N41018",
    "PRODUCT_ID_Pk1=Nx",           "PRODUCT_ID_Pk2=Nx",           "PRODUCT_ID_Pk3=Nx",
    "PRODUCT_ID_Pk4=Nx",           "SOUNDER_ROOT_DIR=/corvane/Application", "KILL_MON_QLSOUNDER=0",
};

struct PartNumber_T
{
    unsigned int code;
    const char* assignment;
};

const PartNumber_T c_PartNumbers[] = {
    {PRODUCT_VARROW, "PRODUCT_ID=N41001"},   {PRODUCT_VARROWX, "PRODUCT_ID=N41002"},
    {PRODUCT_LUMETV4, "PRODUCT_ID=N41012"},  {PRODUCT_LUMETV1, "PRODUCT_ID=N41009"},
    {PRODUCT_LUMETV2, "PRODUCT_ID=N41010"},  {PRODUCT_LUMETV3, "PRODUCT_ID=N41011"},
    {PRODUCT_LUMETV5, "PRODUCT_ID=N41013"},  {PRODUCT_LUMETV6, "PRODUCT_ID=N41014"},
    {PRODUCT_TESSFINV1, "PRODUCT_ID=N41015"}, {PRODUCT_NR1, "PRODUCT_ID=N41016"},
    {PRODUCT_NR2, "PRODUCT_ID=N41017"},      {PRODUCT_NR3, "PRODUCT_ID=N41018"},
};

// putenv keeps the pointer; literals live for the whole process.
void PutConstant(const char* assignment)
{
    putenv(const_cast<char*>(assignment));
}

const char* PartNumberOf(unsigned int code)
{
    for (const PartNumber_T& row : c_PartNumbers)
        if (row.code == code)
            return row.assignment;
    return nullptr;
}

void PrintUnknownProduct()
{
    printf("ERROR: Unknown Product type.\n");
    fflush(stdout);
}
}

bool CSonarTestController::IsVarrowPlatformSounder(unsigned int code)
{
    return code == PRODUCT_VARROW || code == PRODUCT_VARROWX || (code >= PRODUCT_QL1A && code <= PRODUCT_LUMETV2) ||
           code == PRODUCT_LUMETV5 || code == PRODUCT_LUMETV6;
}

bool CSonarTestController::IsSkdDisplay(unsigned int code)
{
    return code >= PRODUCT_HZ02 && code <= PRODUCT_HZ10;
}

bool CSonarTestController::IsPelionSounder(unsigned int code)
{
    return code >= PRODUCT_NR1 && code <= PRODUCT_NR3;
}

void CSonarTestController::PutRuntimeVariable(const QString& assignment)
{
    // Handed to putenv for the rest of the process; never freed.
    putenv(StringFromQString(assignment));
}

CSonarTestController::CSonarTestController()
    : TestControllerBase()
{
    m_FpgaInterfaceNotice =
        "If unit segfaults below (CFPGAIF constructor), check CSonarTestController constructor defines all the "
        "product ids (eg: PRODUCT_ID_Varrow) required by QLSounderType_T SounderInfo::GetSounderType "
        "GetSounderType()\n";

    const unsigned int firstCode = GetProductId();
    for (const char* assignment : c_ProductTable)
        PutConstant(assignment);

    const unsigned int code = GetProductId();
    if (IsSkdDisplay(code))
    {
        PutConstant("PRODUCT_ID=N41008");
        PutRuntimeVariable("FPGA_CHANNEL_0_COMMS=" + m_LowscanFpga0Device);
    }
    else if (IsPelionSounder(code))
    {
        PutRuntimeVariable("FPGA_CHANNEL_0_COMMS=" + m_LowscanFpga0Device);
        PutConstant(PartNumberOf(code));
    }
    else if (IsVarrowPlatformSounder(code))
    {
        PutConstant("PLATFORM_TYPE=1");
        PutChannelVariables(GetProductId());
        PutProductIdentity(firstCode);
    }
    else
    {
        // LumetV3 and TessfinV1 land here too, although they have part numbers.
        PrintUnknownProduct();
    }

    if (getenv("PRODUCT_ID") == nullptr)
    {
        printf("ERROR: PRODUCT_ID environment variable not set. Ping will segfault.\n");
        fflush(stdout);
    }
}

void CSonarTestController::PutChannelVariables(unsigned int code)
{
    if (code == PRODUCT_VARROW || code == PRODUCT_VARROWX || code == PRODUCT_QL1A || code == PRODUCT_QL2A)
    {
        // Empty on purpose: the UART transport then uses its own device names.
        PutRuntimeVariable("FPGA_CHANNEL_0_COMMS=" + m_UartChannel0Device);
        PutRuntimeVariable("FPGA_CHANNEL_1_COMMS=" + m_UartChannel1Device);
    }
    else if (IsVarrowPlatformSounder(code))
    {
        PutRuntimeVariable("FPGA_CHANNEL_0_COMMS=" + m_LowscanFpga0Device);
    }
}

void CSonarTestController::PutProductIdentity(unsigned int firstCode)
{
    switch (firstCode)
    {
    case PRODUCT_QL4K:
        PutConstant("PRODUCT_ID=N41005");
        PutConstant("SONAR_BOARD_ID=QL4K_SONAR_BOARD");
        PutConstant("QL3B_FPGA_SIZE=0");
        return;
    case PRODUCT_QL5K:
        PutConstant("PRODUCT_ID=N41006");
        PutConstant("QL3B_FPGA_SIZE=0");
        return;
    case PRODUCT_QL6M:
        PutConstant("PRODUCT_ID=N41007");
        PutConstant("QL3B_FPGA_SIZE=1");
        PutRuntimeVariable("FPGA_CHANNEL_0_COMMS=" + m_LowscanFpga0Device);
        PutRuntimeVariable("FPGA_CHANNEL_1_COMMS=" + m_LowscanFpga1Device);
        return;
    case PRODUCT_QL1A:
    case PRODUCT_QL2A:
        PutConstant(firstCode == PRODUCT_QL1A ? "PRODUCT_ID=N41003" : "PRODUCT_ID=N41004");
        StopQLSounder();
        return;
    default:
        if (const char* partNumber = PartNumberOf(firstCode))
            PutConstant(partNumber);
        else
            PrintUnknownProduct();
        return;
    }
}

// The module's own sounder application would otherwise hold the FPGA.
void CSonarTestController::StopQLSounder()
{
    QFile marker("/tmp/stop_sonar");
    if (marker.open(QIODevice::WriteOnly))
        marker.close();

    if (QFile::exists(m_KillSounderScript))
        RunProcess(m_KillSounderScript);
    else if (QFile::exists(m_KillSounderModuleScript))
        RunProcess(m_KillSounderModuleScript);
    else
    {
        printf("Failed to kill Quenlor Sonar.\n");
        fflush(stdout);
    }
}
