#include "FacadeRig.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>

namespace
{
struct Link_T
{
    const char* TransportClass;  // null: no transport
    const char* ErrorCodeText;   // null: no error-code line
};
const Link_T c_None = {nullptr, nullptr};
const Link_T c_Uart = {"CFPGAIFLSUart", "fetching error code from UART"};
const Link_T c_LSSpi = {"CFPGAIFLSSPI", nullptr};
const Link_T c_Cor = {"CFPGAIFCorSpi", "fetching error code from Cor SPI"};
const Link_T c_Lumet = {"CFPGAIFLumetSPI", "fetching error code from Lumet SPI"};

const char* const c_UartAnnouncement = "Running on ql_sounder 1A , 2A or VRRW - Creating 2 UART Interfaces for FPGA";
const char* const c_PkAnnouncement = "Running on PELION - Creating A SPI Interface for FPGA";
const char* const c_QL45Announcement = "Running on ql_sounder 4K / 5K - Creating SPI Interface for FPGA";
const char* const c_QL6MAnnouncement = "Running on ql_sounder 6M - Creating SPI Interface for FPGA";
const char* const c_LumetAnnouncement = "Running on a Lumet variant - Creating 1 SPI Interface for FPGA";

std::string Opened(const std::string& Path)
{
    return Path + " " + std::to_string(O_RDWR) + " 0";
}

std::string FacadeEvent(int Code, const std::string& Text)
{
    return "6 " + std::to_string(Code) + " CFPGAIF::CFPGAIF|" + Text;
}
}

// Every part number the controller knows, and identities around them. The
// unit's first device fails to open: the facade must still build and report.
TEST(FacadeConstructionTest, EachProductGetsItsTransportOnItsDevice)
{
    const char* const LS0 = "/dev/LSfpga0";
    const char* const LS1 = "/dev/LSfpga1";
    const struct
    {
        const char* Unit;
        const char* ProductId;
        const char* Channel0;
        const char* Channel1;
        Link_T Link;
        std::vector<std::string> Devices;  // in the order opened
        const char* Announcement;
        const char* NamedModel = nullptr;  // a model variable given this part number
    } Cases[] = {
        {"Varrow", "N41001", "", "", c_Uart, {"/dev/ttyO1", "/dev/ttyO3"}, c_UartAnnouncement},
        {"VarrowX", "N41002", "", "", c_Uart, {"/dev/ttyO1", "/dev/ttyO3"}, c_UartAnnouncement},
        {"QL1A", "N41003", "", "", c_Uart, {"/dev/ttyO1", "/dev/ttyO3"}, c_UartAnnouncement},
        {"QL2A", "N41004", "", "", c_Uart, {"/dev/ttyO1", "/dev/ttyO3"}, c_UartAnnouncement},
        {"QL1A channels unset", "N41003", nullptr, nullptr, c_Uart, {"/dev/ttyO1", "/dev/ttyO3"}, c_UartAnnouncement},
        {"QL2A channels named",
         "N41004",
         "/dev/ttyS5",
         "/dev/ttyS6",
         c_Uart,
         {"/dev/ttyS5", "/dev/ttyS6"},
         c_UartAnnouncement},
        {"QL4K", "N41005", LS0, nullptr, c_Cor, {LS0}, c_QL45Announcement},
        {"QL5K", "N41006", LS0, nullptr, c_Cor, {LS0}, c_QL45Announcement},
        {"QL6M element 0", "N41007", LS0, LS1, c_Cor, {LS1}, c_QL6MAnnouncement},
        {"QL6M with a suffix", "N41007-B2", LS0, LS1, c_Cor, {LS1}, c_QL6MAnnouncement},
        {"SKD", "N41008", LS0, nullptr, c_None, {}, nullptr},
        {"LumetV1", "N41009", LS0, nullptr, c_Lumet, {LS0}, c_LumetAnnouncement},
        {"LumetV2", "N41010", LS0, nullptr, c_Lumet, {LS0}, c_LumetAnnouncement},
        {"LumetV3", "N41011", LS0, nullptr, c_Lumet, {LS0}, c_LumetAnnouncement},
        {"LumetV4", "N41012", LS0, nullptr, c_Lumet, {LS0}, c_LumetAnnouncement},
        {"LumetV5", "N41013", LS0, nullptr, c_Lumet, {LS0}, c_LumetAnnouncement},
        {"LumetV6", "N41014", LS0, nullptr, c_Lumet, {LS0}, c_LumetAnnouncement},
        {"TessfinV1", "N41015", LS0, nullptr, c_Lumet, {LS0}, c_LumetAnnouncement},
        {"Nr1", "N41016", LS0, nullptr, c_Lumet, {LS0}, c_LumetAnnouncement},
        {"Nr2", "N41017", LS0, nullptr, c_Lumet, {LS0}, c_LumetAnnouncement},
        {"Nr3", "N41018", LS0, nullptr, c_Lumet, {LS0}, c_LumetAnnouncement},
        {"LumetV7 (no part number)", "N41019", LS0, nullptr, c_None, {}, nullptr},
        {"LumetV7", "N41019", LS0, nullptr, c_Lumet, {LS0}, c_LumetAnnouncement, "PRODUCT_ID_LUMETV7"},
        {"Pk", "Nx", LS0, nullptr, c_LSSpi, {LS0}, c_PkAnnouncement},
        {"first five characters only", "N4100", LS0, LS1, c_None, {}, nullptr},
        {"Pk part number with more after it", "Nx1234", LS0, nullptr, c_None, {}, nullptr},
        {"no PRODUCT_ID", nullptr, LS0, LS1, c_None, {}, nullptr},
    };
    for (const auto& Case : Cases)
    {
        SCOPED_TRACE(Case.Unit);
        CFakeFactory Factory;
        PutUnit(Factory, Case.ProductId, Case.Channel0, Case.Channel1);
        if (Case.NamedModel)
            Factory.m_Env[Case.NamedModel] = Case.ProductId;
        if (!Case.Devices.empty())
            Factory.m_OpenErrors[Case.Devices.front()] = ENOENT;
        CFPGAIF Facade(&Factory, 0);

        std::vector<std::string> Opens;
        for (const std::string& Device : Case.Devices)
            Opens.push_back(Opened(Device));
        EXPECT_EQ(Opens, Factory.m_Opens);

        SWVersion_T Version = {};
        if (!Case.Link.TransportClass)
        {
            EXPECT_TRUE(Factory.m_Events.empty());
            EXPECT_EQ(-177, Facade.GetVersion(&Version));
            continue;
        }
        const Link_T& Link = Case.Link;
        std::vector<std::string> Events = {FacadeEvent(0, Case.Announcement)};
        if (Link.ErrorCodeText)
            Events.push_back(FacadeEvent(ENOENT, Link.ErrorCodeText));
        EXPECT_EQ(Events, FacadeEvents(Factory));
        EXPECT_EQ(ENOENT, Facade.GetErrorCode());

        // The transport names itself when it cannot send.
        const std::string& Device = Case.Devices.front();
        Factory.Device(Device).m_FailingWrites = {0};
        const size_t Before = Factory.m_Events.size();
        Facade.GetVersion(&Version);
        ASSERT_LT(Before, Factory.m_Events.size());
        const std::string& Failure = Factory.m_Events[Before];
        EXPECT_EQ(0u, Failure.find("3 " + std::to_string(EIO) + " " + Link.TransportClass + "::SendData|")) << Failure;
        EXPECT_EQ(Failure.size() - Device.size(), Failure.rfind(Device)) << Failure;
    }
}

TEST(FacadeConstructionTest, Ql6mElementZeroIsOnChannel1WithoutTheTransducerInterrupt)
{
    const struct
    {
        const char* ProductId;
        XdcrElementIndex_T Element;
        const char* Device;
        bool bTransducerInterrupt;
    } Cases[] = {
        {"N41007", 0, "/dev/LSfpga1", false},
        {"N41007", 1, "/dev/LSfpga0", true},
        {"N41007", 255, "/dev/LSfpga0", true},
        {"N41005", 0, "/dev/LSfpga0", true},  // the crossing is the QL6M's alone
    };
    for (const auto& Case : Cases)
    {
        SCOPED_TRACE(std::string(Case.ProductId) + " element " + std::to_string(Case.Element));
        CFakeFactory Factory;
        PutUnit(Factory, Case.ProductId, "/dev/LSfpga0", "/dev/LSfpga1");
        CFPGAIF Facade(&Factory, Case.Element);
        EXPECT_EQ(std::vector<std::string>{Opened(Case.Device)}, Factory.m_Opens);

        // A transducer-identification command waits for the interrupt only
        // with the option on.
        const CFakeDevice& Device = Factory.Device(Case.Device);
        EXPECT_EQ(0, Facade.SetCommandRegister(bFpgaCommandByte{0x04}));
        bool bWaited = false;
        for (const CFakeDevice::Ioctl_T& Call : Device.m_Ioctls)
            bWaited = bWaited || Call.Request == c_CorSpiIoctlWaitForInterrupt;
        EXPECT_EQ(Case.bTransducerInterrupt, bWaited);
        EXPECT_EQ(Case.bTransducerInterrupt, !Device.m_Writes.empty());
    }
}

// Only the reads show the order of the Lumet variant table: V4 before V3,
// and no V5, whose units keep variant 0.
TEST(FacadeConstructionTest, LumetV5IsMatchedOnceAndSkippedByTheVariantPass)
{
    CFakeFactory Factory;
    PutUnit(Factory, "N41013");
    CFPGAIF Facade(&Factory, 0);
    const std::vector<std::string> Reads = {
        "PRODUCT_ID",         "PRODUCT_ID_LUMETV1", "PRODUCT_ID_LUMETV2",  "PRODUCT_ID_LUMETV3",   "PRODUCT_ID_LUMETV4",
        "PRODUCT_ID_LUMETV5", "PRODUCT_ID",         "PRODUCT_ID_LUMETV1",  "PRODUCT_ID_LUMETV2",   "PRODUCT_ID_LUMETV4",
        "PRODUCT_ID_LUMETV3", "PRODUCT_ID_LUMETV6", "PRODUCT_ID_LUMETV7",  "PRODUCT_ID_TESSFINV1", "PRODUCT_ID_Nr1",
        "PRODUCT_ID_Nr2",     "PRODUCT_ID_Nr3",     "FPGA_CHANNEL_0_COMMS"};
    EXPECT_EQ(Reads, Factory.m_EnvReads);
}

TEST(FacadeConstructionDeathTest, ProgrammingFaultsEndTheRun)
{
    EXPECT_DEATH(CFPGAIF(nullptr, 0),
                 "Utilities/FPGAIF\\.cpp:45: .*Assertion .pFactory && \"No Factory Passed to CFPGAIF\". failed");
    for (const char* ProductId : {"N41005", "N41013"})
    {
        CFakeFactory Factory;
        PutUnit(Factory, ProductId);
        CFPGAIF Facade(&Factory, 0);
        EXPECT_DEATH(Facade.Flush(0), AssertionPattern("FPGAIF", 0, "pUart && \"Flush is only for UART products\""));
    }
}
