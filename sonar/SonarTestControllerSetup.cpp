#include "SonarTestController.h"

#include "ProductCatalogue.h"

#include <QFile>

#include <cstdio>
#include <cstdlib>

namespace
{
// putenv keeps the pointer; literals live for the whole process.
void PutConstant(const char* assignment)
{
    putenv(const_cast<char*>(assignment));
}

void PrintUnknownProduct()
{
    printf("ERROR: Unknown Product type.\n");
    fflush(stdout);
}
}

void CSonarTestController::PutRuntimeVariable(const QString& assignment)
{
    // Handed to putenv for the rest of the process; never freed.
    putenv(StringFromQString(assignment));
}

CSonarTestController::CSonarTestController() : TestControllerBase()
{
    m_FpgaInterfaceNotice =
        "If unit segfaults below (CFPGAIF constructor), check CSonarTestController constructor defines all the "
        "product ids (eg: PRODUCT_ID_Varrow) required by QLSounderType_T SounderInfo::GetSounderType "
        "GetSounderType()\n";

    const unsigned int firstCode = GetProductId();
    for (size_t i = 0; i < ProductCatalogue::c_SharedEnvironmentCount; ++i)
        PutConstant(ProductCatalogue::c_SharedEnvironment[i]);

    const ProductCatalogue::Product_T& product = ProductCatalogue::Find(GetProductId());
    switch (product.Environment)
    {
    case ProductCatalogue::ENV_SKD_DISPLAY:
        PutConstant(product.PartNumber);
        PutChannelVariables(product.Code);
        break;
    case ProductCatalogue::ENV_PELION_SOUNDER:
        PutChannelVariables(product.Code);
        PutConstant(product.PartNumber);
        break;
    case ProductCatalogue::ENV_VARROW_PLATFORM:
        PutConstant("PLATFORM_TYPE=1");
        PutChannelVariables(GetProductId());
        PutProductIdentity(firstCode);
        break;
    case ProductCatalogue::ENV_UNKNOWN:
        PrintUnknownProduct();
        break;
    }

    if (getenv("PRODUCT_ID") == nullptr)
    {
        printf("ERROR: PRODUCT_ID environment variable not set. Ping will segfault.\n");
        fflush(stdout);
    }
}

void CSonarTestController::PutChannelVariables(unsigned int code)
{
    switch (ProductCatalogue::Find(code).Comms)
    {
    case ProductCatalogue::COMMS_UART:
        // Empty on purpose: the UART transport then uses its own device names.
        PutRuntimeVariable("FPGA_CHANNEL_0_COMMS=" + m_UartChannel0Device);
        PutRuntimeVariable("FPGA_CHANNEL_1_COMMS=" + m_UartChannel1Device);
        break;
    case ProductCatalogue::COMMS_FPGA0_AND_1:
        PutRuntimeVariable("FPGA_CHANNEL_0_COMMS=" + m_LowscanFpga0Device);
        PutRuntimeVariable("FPGA_CHANNEL_1_COMMS=" + m_LowscanFpga1Device);
        break;
    case ProductCatalogue::COMMS_FPGA0:
        PutRuntimeVariable("FPGA_CHANNEL_0_COMMS=" + m_LowscanFpga0Device);
        break;
    case ProductCatalogue::COMMS_NONE:
        break;
    }
}

void CSonarTestController::PutProductIdentity(unsigned int firstCode)
{
    const ProductCatalogue::Product_T& product = ProductCatalogue::Find(firstCode);
    if (!product.PartNumber || product.Environment == ProductCatalogue::ENV_SKD_DISPLAY)
    {
        PrintUnknownProduct();
        return;
    }
    PutConstant(product.PartNumber);
    for (const char* assignment : product.Identity)
        if (assignment)
            PutConstant(assignment);
    if (product.StopsModuleSounder)
        StopQLSounder();
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
