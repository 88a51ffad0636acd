#include "ProductCatalogue.h"

#include "CorFpgaTypes.h"
#include "TestControllerBase.h"

namespace ProductCatalogue
{
namespace
{
const char* const c_Lumet = "Lumet_FPGA*";

// Columns: code, name, part number, set-up branch, channel variables, identity
// variables, stops the module sounder, power switch, firmware folder, pattern,
// echo before the load, unreachable pattern, refused by ping, xK ADC code,
// channel picks the FPGA, lumetping without a load, lumetping without channel 0.
// A table reads best a row to a line or two.
// clang-format off
const Product_T c_Products[] = {
    {PRODUCT_NONE, "", nullptr, ENV_UNKNOWN, COMMS_NONE, {}, false, POWER_NOTICE, FOLDER_PRODUCT, nullptr, false,
     nullptr, false, -1, false, false, false},
    {PRODUCT_HY05, "HY05", nullptr, ENV_UNKNOWN, COMMS_NONE, {}, false, POWER_NOTICE, FOLDER_PRODUCT, nullptr, false,
     nullptr, false, -1, false, false, false},
    {PRODUCT_HX10, "HX10", nullptr, ENV_UNKNOWN, COMMS_NONE, {}, false, POWER_NOTICE, FOLDER_PRODUCT, nullptr, false,
     nullptr, false, -1, false, false, false},
    {PRODUCT_HX05, "HX05", nullptr, ENV_UNKNOWN, COMMS_NONE, {}, false, POWER_NOTICE, FOLDER_PRODUCT, nullptr, false,
     nullptr, false, -1, false, false, false},
    {PRODUCT_HY10, "HY10", nullptr, ENV_UNKNOWN, COMMS_NONE, {}, false, POWER_NOTICE, FOLDER_PRODUCT, nullptr, false,
     nullptr, false, -1, false, false, false},
    {PRODUCT_HY20, "HY20", nullptr, ENV_UNKNOWN, COMMS_NONE, {}, false, POWER_NOTICE, FOLDER_PRODUCT, nullptr, false,
     nullptr, false, -1, false, false, false},
    {PRODUCT_HY03, "HY03", nullptr, ENV_UNKNOWN, COMMS_NONE, {}, false, POWER_NOTICE, FOLDER_PRODUCT, nullptr, false,
     nullptr, false, -1, false, false, false},
    // The HZ displays drive the SKD sounder: its part number, no power switch of their own.
    {PRODUCT_HZ02, "HZ02", "PRODUCT_ID=N41008", ENV_SKD_DISPLAY, COMMS_FPGA0, {}, false, POWER_NONE, FOLDER_PRODUCT,
     nullptr, false, nullptr, false, -1, false, false, false},
    {PRODUCT_HZ03, "HZ03", "PRODUCT_ID=N41008", ENV_SKD_DISPLAY, COMMS_FPGA0, {}, false, POWER_NONE, FOLDER_PRODUCT,
     nullptr, false, nullptr, false, -1, false, false, false},
    {PRODUCT_HZ05, "HZ05", "PRODUCT_ID=N41008", ENV_SKD_DISPLAY, COMMS_FPGA0, {}, false, POWER_NONE, FOLDER_PRODUCT,
     nullptr, false, nullptr, false, -1, false, false, false},
    {PRODUCT_HZ10, "HZ10", "PRODUCT_ID=N41008", ENV_SKD_DISPLAY, COMMS_FPGA0, {}, false, POWER_NONE, FOLDER_PRODUCT,
     nullptr, false, nullptr, false, -1, false, false, false},
    // Their firmware is in flash: no pattern, the version check still passes.
    {PRODUCT_VARROW, "Varrow", "PRODUCT_ID=N41001", ENV_VARROW_PLATFORM, COMMS_UART, {}, false, POWER_VARROW,
     FOLDER_PRODUCT, nullptr, false, nullptr, false, -1, false, false, false},
    {PRODUCT_VARROWX, "VarrowX", "PRODUCT_ID=N41002", ENV_VARROW_PLATFORM, COMMS_UART, {}, false, POWER_VARROW,
     FOLDER_PRODUCT, nullptr, false, nullptr, false, -1, false, false, false},
    {PRODUCT_TQ, "Tq", nullptr, ENV_UNKNOWN, COMMS_NONE, {}, false, POWER_NOTICE, FOLDER_PRODUCT, nullptr, false,
     nullptr, false, -1, false, false, false},
    {PRODUCT_HALVARD_KEYBOARD, "Halvard Keyboard", nullptr, ENV_UNKNOWN, COMMS_NONE, {}, false, POWER_NOTICE,
     FOLDER_PRODUCT, nullptr, false, nullptr, false, -1, false, false, false},
    {PRODUCT_QL1A, "QL1A", "PRODUCT_ID=N41003", ENV_VARROW_PLATFORM, COMMS_UART, {}, true, POWER_VARROW,
     FOLDER_MODULE, "QL1A*.bin", false, nullptr, false, -1, false, false, false},
    {PRODUCT_QL2A, "QL2A", "PRODUCT_ID=N41004", ENV_VARROW_PLATFORM, COMMS_UART, {}, true, POWER_VARROW,
     FOLDER_MODULE, "QL2A*.bin", false, nullptr, false, -1, false, false, false},
    {PRODUCT_QL4K, "QL4K", "PRODUCT_ID=N41005", ENV_VARROW_PLATFORM, COMMS_FPGA0,
     {"SONAR_BOARD_ID=QL4K_SONAR_BOARD", "QL3B_FPGA_SIZE=0"}, false, POWER_VARROW, FOLDER_MODULE, "QL4K_5K_A2_*",
     false, nullptr, true, eFpgaAdcFrequencyCode2, false, false, false},
    {PRODUCT_QL5K, "QL5K", "PRODUCT_ID=N41006", ENV_VARROW_PLATFORM, COMMS_FPGA0, {"QL3B_FPGA_SIZE=0"}, false,
     POWER_VARROW, FOLDER_MODULE, "QL4K_5K_A2_*", false, nullptr, true, eFpgaAdcFrequencyCode2, false, false,
     false},
    {PRODUCT_QL6M, "QL6M", "PRODUCT_ID=N41007", ENV_VARROW_PLATFORM, COMMS_FPGA0_AND_1, {"QL3B_FPGA_SIZE=1"}, false,
     POWER_VARROW, FOLDER_MODULE, "QL6M_A4*", false, nullptr, true, eFpgaAdcFrequencyCode3, true, false, false},
    // LumetV4 and V6 ping with the firmware they run.
    {PRODUCT_LUMETV4, "LumetV4", "PRODUCT_ID=N41012", ENV_VARROW_PLATFORM, COMMS_FPGA0, {}, false, POWER_VARROW,
     FOLDER_PRODUCT, c_Lumet, true, nullptr, true, -1, false, true, false},
    // LumetV1 has only the second (Lowscan) channel.
    {PRODUCT_LUMETV1, "LumetV1", "PRODUCT_ID=N41009", ENV_VARROW_PLATFORM, COMMS_FPGA0, {}, false, POWER_VARROW,
     FOLDER_PRODUCT, "LumetLS*", true, nullptr, true, -1, false, false, true},
    {PRODUCT_LUMETV2, "LumetV2", "PRODUCT_ID=N41010", ENV_VARROW_PLATFORM, COMMS_FPGA0, {}, false, POWER_VARROW,
     FOLDER_PRODUCT, c_Lumet, true, nullptr, true, -1, false, false, false},
    // Has a part number, yet set-up does not know it (unknown branch, no power
    // switch); it is also missing from ping's refusals. Both kept as shipped.
    {PRODUCT_LUMETV3, "LumetV3", "PRODUCT_ID=N41011", ENV_UNKNOWN, COMMS_NONE, {}, false, POWER_NOTICE,
     FOLDER_PRODUCT, c_Lumet, true, nullptr, false, -1, false, false, false},
    // No firmware pattern: the load names the folder alone and the FPGA stays blank.
    {PRODUCT_LUMETV5, "LumetV5", "PRODUCT_ID=N41013", ENV_VARROW_PLATFORM, COMMS_FPGA0, {}, false, POWER_VARROW,
     FOLDER_PRODUCT, nullptr, false, nullptr, true, -1, false, false, false},
    {PRODUCT_LUMETV6, "LumetV6", "PRODUCT_ID=N41014", ENV_VARROW_PLATFORM, COMMS_FPGA0, {}, false, POWER_VARROW,
     FOLDER_PRODUCT, c_Lumet, true, nullptr, true, -1, false, true, false},
    // Set-up does not know it either (unknown branch). Its LumetLS row comes
    // after the Lumet_FPGA row that already names it, so it is never used.
    {PRODUCT_TESSFINV1, "TessfinV1", "PRODUCT_ID=N41015", ENV_UNKNOWN, COMMS_NONE, {}, false, POWER_NOTICE,
     FOLDER_PRODUCT, c_Lumet, true, "LumetLS*", true, -1, false, false, true},
    {PRODUCT_NR1, "Nr1", "PRODUCT_ID=N41016", ENV_PELION_SOUNDER, COMMS_FPGA0, {}, false, POWER_PELION,
     FOLDER_PRODUCT, "Pleq2_FPGA*.rbf", false, nullptr, false, -1, false, false, false},
    {PRODUCT_NR2, "Nr2", "PRODUCT_ID=N41017", ENV_PELION_SOUNDER, COMMS_FPGA0, {}, false, POWER_PELION,
     FOLDER_PRODUCT, "Pleq2_FPGA*.rbf", false, nullptr, false, -1, false, false, false},
    {PRODUCT_NR3, "Nr3", "PRODUCT_ID=N41018", ENV_PELION_SOUNDER, COMMS_FPGA0, {}, false, POWER_PELION,
     FOLDER_PRODUCT, "Pleq2_FPGA*.rbf", false, nullptr, false, -1, false, false, false},
};
// clang-format on
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
