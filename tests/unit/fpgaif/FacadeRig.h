#ifndef FACADERIG_H
#define FACADERIG_H

#include "FPGAIF.h"
#include "FakeSpiDevice.h"

#include <memory>

// A fake device per opened path, so that a unit's two FPGA channels can be
// told apart. A path listed in m_OpenErrors fails to open with that errno.
class CDevicePerPathFactory : public CFakeSpiFactory
{
public:
    IOSSFile* CreateFile(const char* Name, int flags, int mode) override
    {
        CFakeSpiFactory::CreateFile(Name, flags, mode);
        std::unique_ptr<CFakeSpiDevice>& Slot = m_Devices[Name];
        if (!Slot)
        {
            Slot = std::make_unique<CFakeSpiDevice>();
            Slot->m_ErrorCode = m_OpenErrors.count(Name) ? m_OpenErrors.at(Name) : 0;
        }
        return Slot.get();
    }

    CFakeSpiDevice& Device(const std::string& Path) { return *m_Devices.at(Path); }

    // The events the facade sent itself, without the transports' own.
    std::vector<std::string> FacadeEvents() const
    {
        std::vector<std::string> Events;
        for (const std::string& Event : m_Events)
            if (Event.find(" CFPGAIF::CFPGAIF ") != std::string::npos)
                Events.push_back(Event);
        return Events;
    }

    std::map<std::string, int> m_OpenErrors;
    std::map<std::string, std::unique_ptr<CFakeSpiDevice>> m_Devices;
};

// The product variables exactly as the sonar controller puts them.
inline void PutControllerEnvironment(CFakeSpiFactory& Factory)
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
inline void PutUnit(CFakeSpiFactory& Factory, const char* ProductId, const char* Channel0 = "/dev/LSfpga0",
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
