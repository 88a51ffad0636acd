#include "ProductCatalogue.h"

#include "CorFpgaTypes.h"
#include "TestControllerBase.h"

namespace ProductCatalogue
{
// A catalogue row, field by field: each value is named where it is set, so a
// row cannot take one flag for another.
class CRow
{
public:
    constexpr CRow(unsigned int code, const char* name)
    {
        m_Row.Code = code;
        m_Row.Name = name;
    }
    constexpr CRow& PartNumber(const char* value)
    {
        m_Row.PartNumber = value;
        return *this;
    }
    constexpr CRow& Environment(Environment_T value)
    {
        m_Row.Environment = value;
        return *this;
    }
    constexpr CRow& Comms(Comms_T value)
    {
        m_Row.Comms = value;
        return *this;
    }
    constexpr CRow& Identity(const char* first, const char* second = nullptr)
    {
        m_Row.Identity[0] = first;
        m_Row.Identity[1] = second;
        return *this;
    }
    constexpr CRow& StopsModuleSounder()
    {
        m_Row.StopsModuleSounder = true;
        return *this;
    }
    constexpr CRow& Power(PowerSwitch_T value)
    {
        m_Row.Power = value;
        return *this;
    }
    constexpr CRow& Folder(FirmwareFolder_T value)
    {
        m_Row.Folder = value;
        return *this;
    }
    constexpr CRow& FirmwarePattern(const char* value)
    {
        m_Row.FirmwarePattern = value;
        return *this;
    }
    constexpr CRow& EchoBeforeLoad()
    {
        m_Row.EchoBeforeLoad = true;
        return *this;
    }
    constexpr CRow& UnreachablePattern(const char* value)
    {
        m_Row.UnreachablePattern = value;
        return *this;
    }
    constexpr CRow& RefusedByPing()
    {
        m_Row.RefusedByPing = true;
        return *this;
    }
    constexpr CRow& XkAdcCode(int value)
    {
        m_Row.XkAdcCode = value;
        return *this;
    }
    constexpr CRow& ChannelChoosesFpga()
    {
        m_Row.ChannelChoosesFpga = true;
        return *this;
    }
    constexpr CRow& LumetPingWithoutLoad()
    {
        m_Row.LumetPingWithoutLoad = true;
        return *this;
    }
    constexpr CRow& LumetPingWithoutChannel0()
    {
        m_Row.LumetPingWithoutChannel0 = true;
        return *this;
    }
    constexpr operator Product_T() const { return m_Row; }

private:
    Product_T m_Row;
};

namespace
{
constexpr const char* c_Lumet = "Lumet_FPGA*";

// The Varrow-platform sounders share their set-up branch and power switch.
constexpr CRow VarrowSounder(unsigned int code, const char* name, const char* partNumber)
{
    return CRow(code, name).PartNumber(partNumber).Environment(ENV_VARROW_PLATFORM).Power(POWER_VARROW);
}

constexpr CRow PelionSounder(unsigned int code, const char* name, const char* partNumber)
{
    return CRow(code, name)
        .PartNumber(partNumber)
        .Environment(ENV_PELION_SOUNDER)
        .Comms(COMMS_FPGA0)
        .Power(POWER_PELION)
        .FirmwarePattern("Pleq2_FPGA*.rbf");
}

// The HZ displays drive the SKD sounder: its part number, no power switch of their own.
constexpr CRow SkdDisplay(unsigned int code, const char* name)
{
    return CRow(code, name)
        .PartNumber("PRODUCT_ID=N41008")
        .Environment(ENV_SKD_DISPLAY)
        .Comms(COMMS_FPGA0)
        .Power(POWER_NONE);
}

constexpr Product_T c_Products[] = {
    CRow(PRODUCT_NONE, ""),
    CRow(PRODUCT_HY05, "HY05"),
    CRow(PRODUCT_HX10, "HX10"),
    CRow(PRODUCT_HX05, "HX05"),
    CRow(PRODUCT_HY10, "HY10"),
    CRow(PRODUCT_HY20, "HY20"),
    CRow(PRODUCT_HY03, "HY03"),
    SkdDisplay(PRODUCT_HZ02, "HZ02"),
    SkdDisplay(PRODUCT_HZ03, "HZ03"),
    SkdDisplay(PRODUCT_HZ05, "HZ05"),
    SkdDisplay(PRODUCT_HZ10, "HZ10"),
    // Their firmware is in flash: no pattern, the version check still passes.
    VarrowSounder(PRODUCT_VARROW, "Varrow", "PRODUCT_ID=N41001").Comms(COMMS_UART),
    VarrowSounder(PRODUCT_VARROWX, "VarrowX", "PRODUCT_ID=N41002").Comms(COMMS_UART),
    CRow(PRODUCT_TQ, "Tq"),
    CRow(PRODUCT_HALVARD_KEYBOARD, "Halvard Keyboard"),
    VarrowSounder(PRODUCT_QL1A, "QL1A", "PRODUCT_ID=N41003")
        .Comms(COMMS_UART)
        .StopsModuleSounder()
        .Folder(FOLDER_MODULE)
        .FirmwarePattern("QL1A*.bin"),
    VarrowSounder(PRODUCT_QL2A, "QL2A", "PRODUCT_ID=N41004")
        .Comms(COMMS_UART)
        .StopsModuleSounder()
        .Folder(FOLDER_MODULE)
        .FirmwarePattern("QL2A*.bin"),
    VarrowSounder(PRODUCT_QL4K, "QL4K", "PRODUCT_ID=N41005")
        .Comms(COMMS_FPGA0)
        .Identity("SONAR_BOARD_ID=QL4K_SONAR_BOARD", "QL3B_FPGA_SIZE=0")
        .Folder(FOLDER_MODULE)
        .FirmwarePattern("QL4K_5K_A2_*")
        .RefusedByPing()
        .XkAdcCode(eFpgaAdcFrequencyCode2),
    VarrowSounder(PRODUCT_QL5K, "QL5K", "PRODUCT_ID=N41006")
        .Comms(COMMS_FPGA0)
        .Identity("QL3B_FPGA_SIZE=0")
        .Folder(FOLDER_MODULE)
        .FirmwarePattern("QL4K_5K_A2_*")
        .RefusedByPing()
        .XkAdcCode(eFpgaAdcFrequencyCode2),
    VarrowSounder(PRODUCT_QL6M, "QL6M", "PRODUCT_ID=N41007")
        .Comms(COMMS_FPGA0_AND_1)
        .Identity("QL3B_FPGA_SIZE=1")
        .Folder(FOLDER_MODULE)
        .FirmwarePattern("QL6M_A4*")
        .RefusedByPing()
        .XkAdcCode(eFpgaAdcFrequencyCode3)
        .ChannelChoosesFpga(),
    // LumetV4 and V6 ping with the firmware they run.
    VarrowSounder(PRODUCT_LUMETV4, "LumetV4", "PRODUCT_ID=N41012")
        .Comms(COMMS_FPGA0)
        .FirmwarePattern(c_Lumet)
        .EchoBeforeLoad()
        .RefusedByPing()
        .LumetPingWithoutLoad(),
    // LumetV1 has only the second (Lowscan) channel.
    VarrowSounder(PRODUCT_LUMETV1, "LumetV1", "PRODUCT_ID=N41009")
        .Comms(COMMS_FPGA0)
        .FirmwarePattern("LumetLS*")
        .EchoBeforeLoad()
        .RefusedByPing()
        .LumetPingWithoutChannel0(),
    VarrowSounder(PRODUCT_LUMETV2, "LumetV2", "PRODUCT_ID=N41010")
        .Comms(COMMS_FPGA0)
        .FirmwarePattern(c_Lumet)
        .EchoBeforeLoad()
        .RefusedByPing(),
    // Has a part number, yet set-up does not know it (unknown branch, no power
    // switch); it is also missing from ping's refusals. Both kept as shipped.
    CRow(PRODUCT_LUMETV3, "LumetV3").PartNumber("PRODUCT_ID=N41011").FirmwarePattern(c_Lumet).EchoBeforeLoad(),
    // No firmware pattern: the load names the folder alone and the FPGA stays blank.
    VarrowSounder(PRODUCT_LUMETV5, "LumetV5", "PRODUCT_ID=N41013").Comms(COMMS_FPGA0).RefusedByPing(),
    VarrowSounder(PRODUCT_LUMETV6, "LumetV6", "PRODUCT_ID=N41014")
        .Comms(COMMS_FPGA0)
        .FirmwarePattern(c_Lumet)
        .EchoBeforeLoad()
        .RefusedByPing()
        .LumetPingWithoutLoad(),
    // Set-up does not know it either (unknown branch). Its LumetLS row comes
    // after the Lumet_FPGA row that already names it, so it is never used.
    CRow(PRODUCT_TESSFINV1, "TessfinV1")
        .PartNumber("PRODUCT_ID=N41015")
        .FirmwarePattern(c_Lumet)
        .EchoBeforeLoad()
        .UnreachablePattern("LumetLS*")
        .RefusedByPing()
        .LumetPingWithoutChannel0(),
    PelionSounder(PRODUCT_NR1, "Nr1", "PRODUCT_ID=N41016"),
    PelionSounder(PRODUCT_NR2, "Nr2", "PRODUCT_ID=N41017"),
    PelionSounder(PRODUCT_NR3, "Nr3", "PRODUCT_ID=N41018"),
};
}

const char* const c_SharedEnvironment[] = {
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
    // The Pk models carry the placeholder part number "Nx".
    "PRODUCT_ID_Pk1=Nx",
    "PRODUCT_ID_Pk2=Nx",
    "PRODUCT_ID_Pk3=Nx",
    "PRODUCT_ID_Pk4=Nx",
    "SOUNDER_ROOT_DIR=/corvane/Application",
    "KILL_MON_QLSOUNDER=0",
};
const size_t c_SharedEnvironmentCount = sizeof c_SharedEnvironment / sizeof c_SharedEnvironment[0];

const Product_T& Find(unsigned int code)
{
    for (const Product_T& row : c_Products)
        if (row.Code == code)
            return row;
    return c_Products[0];
}

const Product_T* Rows(size_t& count)
{
    count = sizeof c_Products / sizeof c_Products[0];
    return c_Products;
}
}
