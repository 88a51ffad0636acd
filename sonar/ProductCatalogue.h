#ifndef PRODUCTCATALOGUE_H
#define PRODUCTCATALOGUE_H

#include <cstddef>

// Everything the sonar tests know about each product, keyed by the product
// code that identification gives. Outside identification this is the only
// place that names individual products; the handlers ask it.
namespace ProductCatalogue
{
// Which branch of the controller's set-up a product takes.
enum Environment_T
{
    ENV_UNKNOWN,          // "ERROR: Unknown Product type.", nothing put
    ENV_SKD_DISPLAY,      // the SKD part number and the first FPGA node
    ENV_PELION_SOUNDER,   // the first FPGA node and the product's part number
    ENV_VARROW_PLATFORM,  // PLATFORM_TYPE=1, channel variables, identity
};

// The channel variables a Varrow-platform sounder gets.
enum Comms_T
{
    COMMS_NONE,
    COMMS_UART,        // both UART channels, empty on purpose
    COMMS_FPGA0,       // the first FPGA node
    COMMS_FPGA0_AND_1  // both FPGA nodes, set with the identity
};

enum PowerSwitch_T
{
    POWER_NOTICE,  // "Non-Varrow platform. Sonar may not be enabled."
    POWER_NONE,    // nothing to switch
    POWER_VARROW,
    POWER_PELION,
};

enum FirmwareFolder_T
{
    FOLDER_PRODUCT,  // /corvane/Application/FPGAFirmware
    FOLDER_MODULE,   // /corvane/Application/QuenlorSounder/FPGAFirmware
};

class CRow;

// A row is built field by field (CRow in the catalogue), each value named where
// it is set; what a row leaves out is what a product without a sounder has.
struct Product_T
{
    unsigned int Code = 0;
    const char* Name = nullptr;
    const char* PartNumber = nullptr;  // "PRODUCT_ID=N41005", or null
    Environment_T Environment = ENV_UNKNOWN;
    Comms_T Comms = COMMS_NONE;
    const char* Identity[2] = {nullptr, nullptr};  // further variables put with the identity
    bool StopsModuleSounder = false;               // stop marker and kill script at set-up
    PowerSwitch_T Power = POWER_NOTICE;
    FirmwareFolder_T Folder = FOLDER_PRODUCT;
    const char* FirmwarePattern = nullptr;  // null: "ERROR: Product not supported."
    bool EchoBeforeLoad = false;            // the loader wants a "1" written first
    const char* UnreachablePattern = nullptr;
    bool RefusedByPing = false;
    int XkAdcCode = -1;               // -1: not an xK module
    bool ChannelChoosesFpga = false;  // the command-line channel picks one of two FPGAs
    bool LumetPingWithoutLoad = false;
    bool LumetPingWithoutChannel0 = false;

private:
    // No positional rows: a value in the wrong place would still compile.
    friend class CRow;
    constexpr Product_T() {}
};

// The product's row; unknown codes get an empty row (code 0, no name).
const Product_T& Find(unsigned int code);

// Every row, in product-code order.
const Product_T* Rows(size_t& count);

// Put for every product: the model variables the shared sounder code reads
// to tell which part number is which model, and two sounder settings.
extern const char* const c_SharedEnvironment[];
extern const size_t c_SharedEnvironmentCount;
}

#endif
