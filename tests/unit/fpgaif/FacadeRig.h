#ifndef FACADERIG_H
#define FACADERIG_H

#include "FPGAIF.h"
#include "FakeDevice.h"

#include <string>
#include <vector>

// The events the facade sent itself, without the transports' own.
inline std::vector<std::string> FacadeEvents(const CFakeFactory& Factory)
{
    std::vector<std::string> Events;
    for (const std::string& Event : Factory.m_Events)
        if (Event.find(" CFPGAIF::CFPGAIF|") != std::string::npos)
            Events.push_back(Event);
    return Events;
}

// The product variables exactly as the sonar controller puts them.
inline void PutControllerEnvironment(CFakeFactory& Factory)
{
    static const char* const c_ProductTable[] = {
        "PRODUCT_ID_Varrow=N41001",
        "PRODUCT_ID_VarrowX=N41002",
        "PRODUCT_ID_QL1A=N41003",
        "PRODUCT_ID_QL2A=N41004",
        "PRODUCT_ID_QL4K=N41005",
        "PRODUCT_ID_QL5K=N41006",
        "PRODUCT_ID_QL6M=N41007",
        "PRODUCT_ID_SKD=N41008",
        "PRODUCT_ID_LUMETV1=N41009",
        "PRODUCT_ID_LUMETV2=N41010",
        "PRODUCT_ID_LUMETV3=N41011",
        "PRODUCT_ID_LUMETV4=N41012",
        "PRODUCT_ID_LUMETV5=N41013",
        "PRODUCT_ID_LUMETV6=N41014",
        "PRODUCT_ID_TESSFINV1=N41015",
        "PRODUCT_ID_Nr1=N41016",
        "PRODUCT_ID_Nr2=N41017",
        "PRODUCT_ID_Nr3=N41018",
        "PRODUCT_ID_Pk1=Nx",
        "PRODUCT_ID_Pk2=Nx",
        "PRODUCT_ID_Pk3=Nx",
        "PRODUCT_ID_Pk4=Nx",
        "SOUNDER_ROOT_DIR=/corvane/Application",
        "KILL_MON_QLSOUNDER=0",
    };
    for (const std::string Assignment : c_ProductTable)
    {
        const size_t Equals = Assignment.find('=');
        Factory.m_Env[Assignment.substr(0, Equals)] = Assignment.substr(Equals + 1);
    }
}

// A unit of that identity, with the channel variables (null: left unset).
inline void PutUnit(CFakeFactory& Factory, const char* ProductId, const char* Channel0 = "/dev/LSfpga0",
                    const char* Channel1 = nullptr)
{
    PutControllerEnvironment(Factory);
    const std::pair<const char*, const char*> Unit[] = {
        {"PRODUCT_ID", ProductId}, {"FPGA_CHANNEL_0_COMMS", Channel0}, {"FPGA_CHANNEL_1_COMMS", Channel1}};
    for (const auto& Variable : Unit)
        if (Variable.second)
            Factory.m_Env[Variable.first] = Variable.second;
}

#endif
