// Runs inside a virtual unit with the device shim: the library's own FPGA
// transports load firmware, read the version, write a configuration, ping
// and read the samples through the unit's real device paths.
//   fpga_smoke cor|lumet|nr|lowscan [bypass]
// "bypass" also writes to the SPI node behind the shim's back (the tripwire
// must notice).
#include "FPGAIF.h"
#include "OSSLinuxFactory.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace
{
const char* const c_ProductTable[] = {
    "PRODUCT_ID_Varrow=N41001",  "PRODUCT_ID_VarrowX=N41002", "PRODUCT_ID_QL1A=N41003",
    "PRODUCT_ID_QL2A=N41004",    "PRODUCT_ID_QL4K=N41005",    "PRODUCT_ID_QL5K=N41006",
    "PRODUCT_ID_QL6M=N41007",    "PRODUCT_ID_SKD=N41008",     "PRODUCT_ID_LUMETV1=N41009",
    "PRODUCT_ID_LUMETV2=N41010", "PRODUCT_ID_LUMETV3=N41011", "PRODUCT_ID_LUMETV4=N41012",
    "PRODUCT_ID_LUMETV5=N41013", "PRODUCT_ID_LUMETV6=N41014", "PRODUCT_ID_TESSFINV1=N41015",
    "PRODUCT_ID_Nr1=N41016",     "PRODUCT_ID_Nr2=N41017",     "PRODUCT_ID_Nr3=N41018"};

void Environment(const std::string& family)
{
    for (const char* entry : c_ProductTable)
        putenv(const_cast<char*>(entry));
    if (family == "cor")
    {
        putenv(const_cast<char*>("PRODUCT_ID=N41005"));
        putenv(const_cast<char*>("QL3B_FPGA_SIZE=0"));
        putenv(const_cast<char*>("FPGA_CHANNEL_0_COMMS=/dev/LSfpga0"));
    }
    else if (family == "lumet" || family == "nr")
    {
        putenv(const_cast<char*>(family == "nr" ? "PRODUCT_ID=N41016" : "PRODUCT_ID=N41010"));
        putenv(const_cast<char*>("FPGA_CHANNEL_0_COMMS=/dev/LSfpga0"));
    }
    else
    {
        putenv(const_cast<char*>("PRODUCT_ID=N41001"));
        putenv(const_cast<char*>("FPGA_CHANNEL_0_COMMS="));
        putenv(const_cast<char*>("FPGA_CHANNEL_1_COMMS="));
    }
}

// The magnitude peak after the transmit bang.
void ReportSamples(const std::vector<unsigned int>& samples)
{
    size_t bottom = samples.size() / 32;
    for (size_t i = bottom; i < samples.size(); ++i)
        if (samples[i] > samples[bottom])
            bottom = i;
    printf("samples %zu bottom %zu first", samples.size(), bottom);
    for (size_t i = 0; i < 4 && i < samples.size(); ++i)
        printf(" %u", samples[i]);
    printf("\n");
}
}

int main(int argc, char* argv[])
{
    const std::string family = argc > 1 ? argv[1] : "";
    Environment(family);
    if (family == "lumet")
        printf("shell %d\n", system("echo 1 > /dev/LSfpga0"));
    if (family == "cor")
        printf("shell %d\n",
               system("cat /corvane/Application/QuenlorSounder/FPGAFirmware/QL4K_5K_A2_* > /dev/LSfpga0"));
    else if (family == "lumet")
        printf("shell %d\n", system("cat /corvane/Application/FPGAFirmware/Lumet_FPGA* > /dev/LSfpga0"));
    else if (family == "nr")
        printf("shell %d\n", system("cat /corvane/Application/FPGAFirmware/Pleq2_FPGA*.rbf > /dev/LSfpga0"));

    COSSLinuxFactory factory;
    CFPGAIF fpga(&factory, 0);
    SWVersion_T version;
    memset(&version, 0xFF, sizeof version);
    const int versionResult = fpga.GetVersion(&version);
    const unsigned char* v = reinterpret_cast<const unsigned char*>(&version);
    printf("version %u.%u result %d\n", v[0], v[1], versionResult);

    const unsigned int count = family == "lowscan" ? 512 : 1024;
    std::vector<unsigned int> samples;
    if (family == "cor")
    {
        const int samplesResult = fpga.SetNumberOfSamplesToReceive(count, 0);
        const int boostResult = fpga.SetBoostLevel(3);
        printf("configure %d %d %d\n", samplesResult, boostResult, fpga.UpdateFPGA());
        bFpgaCommandByte ping = {1};
        printf("ping %d\n", fpga.PingNow(ping));
        std::vector<UINT8> storage(count * 2);
        Buffer_Bytes_T buffer(storage.data(), storage.size());
        printf("getping %d\n", fpga.GetPing(&buffer));
        for (unsigned int i = 0; i < count; ++i)
            samples.push_back(storage[i * 2] | storage[i * 2 + 1] << 8);
    }
    else if (family == "lumet" || family == "nr")
    {
        const int samplesResult = fpga.SetNumberOfSamplesToReceive(count, 0);
        const int gainResult = fpga.SetSteppedAnalogueGain(5, 0);
        printf("configure %d %d %d\n", samplesResult, gainResult, fpga.UpdateFPGA());
        if (family == "nr")
        {
            unsigned int temperature = 0;
            const int result = fpga.GetWaterTemp(&temperature);
            printf("watertemp %d 0x%06x\n", result, temperature);
        }
        bLumetCommandByte ping = {1};
        printf("ping %d\n", fpga.PingNow(ping));
        std::vector<float> storage(count);
        Buffer_Bytes_T buffer(reinterpret_cast<UINT8*>(storage.data()), count);
        printf("getping %d\n", fpga.GetPing(0, &buffer, 0));
        for (float f : storage)
            samples.push_back(static_cast<unsigned int>(f));
    }
    else
    {
        LSFpgaCompleteConfigure_T config;
        for (LSChannelConfigure_T& channel : config.Channels)
        {
            channel.Period = 20;
            channel.StartFrequency = 200000.0;
            channel.EndFrequency = 190000.0;
            channel.NumberOfSamples = count;
            channel.DecimationRate = 4;
            channel.Gain = 10.0;
            channel.ColourGain = 1.0;
        }
        printf("configure %d\n", fpga.setUpForPing(config));
        printf("ping %d\n", fpga.PingNow());
        std::vector<float> storage(count), values(2 * (count / 128 + 1));
        Buffer_Bytes_T buffer(reinterpret_cast<UINT8*>(storage.data()), count * 4);
        Buffer_Bytes_T second(reinterpret_cast<UINT8*>(values.data()), values.size() * 4);
        const int result = fpga.GetPing(0, &buffer, &second);
        printf("getping %d values %.0f %.0f\n", result, values[0], values[1]);
        for (float f : storage)
            samples.push_back(static_cast<unsigned int>(f));
    }
    ReportSamples(samples);

    if (argc > 2 && strcmp(argv[2], "bypass") == 0)
    {
        // The C library's own write, not the one the shim wraps.
        const int fd = open("/dev/LSfpga0", O_RDWR);
        const char junk[] = "junk";
        printf("bypass %ld\n", static_cast<long>(syscall(SYS_write, fd, junk, sizeof junk)));
        close(fd);
    }
    return 0;
}
