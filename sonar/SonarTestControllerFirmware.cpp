#include "SonarTestController.h"

#include "FPGAIF.h"
#include "OSSLinuxFactory.h"
#include "ProductCatalogue.h"

#include <QFile>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <unistd.h>

int CSonarTestController::ReadSonarVersionEnsureValid(std::string& output, CFPGAIF* pFpga, unsigned char channel)
{
    std::unique_ptr<COSSLinuxFactory> ownFactory;
    std::unique_ptr<CFPGAIF> ownFpga;
    if (!pFpga)
    {
        Message(m_FpgaInterfaceNotice, &output, false, true);
        ownFactory.reset(new COSSLinuxFactory());
        ownFpga.reset(
            new CFPGAIF(ownFactory.get(), ProductCatalogue::Find(GetProductId()).ChannelChoosesFpga ? channel : 0));
        pFpga = ownFpga.get();
    }

    SWVersion_T version;
    version.Major = 255;
    version.Minor = 255;
    const TSQEventCode_T result = pFpga->GetVersion(&version);
    ownFpga.reset();
    if (result != c_TSQ_Success)
    {
        Message(std::string("ERROR: Failed to get version.\n"), &output, false, true);
        return TEST_FAILED;
    }

    Message(QString("Firmware Version: %1.%2\n").arg(version.Major).arg(version.Minor), &output, false, true);
    if (version.Major == 0 || version.Major == 255)
    {
        Message(std::string("ERROR: FW major version is suspicious. Ensure firmware has loaded.\n"), &output, false,
                true);
        return TEST_FAILED;
    }
    return TEST_PASSED;
}

int CSonarTestController::LoadFPGABinary(std::string& output, bool checkVersion)
{
    const ProductCatalogue::Product_T& product = ProductCatalogue::Find(GetProductId());
    const QString folder = product.Folder == ProductCatalogue::FOLDER_MODULE ? m_QLFirmwareFolder : m_FirmwareFolder;
    QString command = "cat " + folder + "/";

    if (product.FirmwarePattern)
    {
        if (product.EchoBeforeLoad)
        {
            const int ignored = system(("echo 1 > " + m_LowscanFpga0Device).toLatin1().constData());
            (void)ignored;
        }
        command += product.FirmwarePattern;
    }
    else
        Message(std::string("ERROR: Product not supported.\n"), &output, false, true);

    if (!QFile::exists(folder))
    {
        Message("ERROR: Required path does not exist: " + folder + "\n", &output, false, true);
        return TEST_FAILED;
    }

    command += " > " + m_LowscanFpga0Device;
    printf("%s\n", command.toLatin1().constData());
    fflush(stdout);
    Message(std::string("Loading FPGA...\n"), &output, false, true);

    // The image's own exit status is not judged: only a shell that cannot run.
    if (system(command.toLatin1().constData()) == -1)
    {
        Message("ERROR: Failed to load FPGA with: " + command + "\n", &output, false, true);
        return TEST_FAILED;
    }

    if (!checkVersion)
        return TEST_PASSED;
    if (ReadSonarVersionEnsureValid(output, nullptr, 0) != TEST_PASSED)
    {
        Message(std::string("ERROR: Failed to get version. FW upgrade failed.\n"), &output, false, true);
        return TEST_FAILED;
    }
    return TEST_PASSED;
}

int CSonarTestController::WaterTemperature(std::string& output)
{
    // A sensor file that exists is a shown reading, even when it held nothing.
    if (QFile::exists(m_WaterTemperatureFile))
    {
        ShowFileContents(m_WaterTemperatureFile, &output);
        return OPERATION_PERFORMED;
    }

    COSSLinuxFactory factory;
    CFPGAIF fpga(&factory, 0);
    // Without a plausible firmware there is nothing to judge: not a failed unit.
    if (ReadSonarVersionEnsureValid(output, &fpga, 0) != TEST_PASSED)
        return OPERATION_PERFORMED;

    LSADCReadings_T readings = {};
    const TSQEventCode_T result = fpga.GetADCReadings(&readings);
    if (result != c_TSQ_Success)
    {
        printf("GetWaterTemp failed with return code: %d\n", result);
        fflush(stdout);
        return TEST_FAILED;
    }
    if (readings.ADCReference == 0)
    {
        Message(std::string("ADCRef is zero. Cannot calculate WaterTemperature\n"), &output, false, true);
        return OPERATION_PERFORMED;
    }

    // The thermistor reads 27.334 (relative) at 0 degrees and falls by e every 25 degrees.
    const double ratio = static_cast<double>(readings.WaterTemperature) / static_cast<double>(readings.ADCReference);
    const double resistance = (ratio * 10.0 - 1.0) / 27.334;
    const double temperature = -std::log(resistance) / 0.04;
    char text[64];
    snprintf(text, sizeof text, "%g\n", temperature);
    Message(std::string(text), &output, false, true);
    return OPERATION_PERFORMED;
}

int CSonarTestController::GetWaterSpeed(std::string& output, int duration)
{
    const int loaded = LoadFPGABinary(output, false);
    if (loaded != TEST_PASSED)
        return loaded;

    Message(m_FpgaInterfaceNotice, &output, false, true);
    COSSLinuxFactory factory;
    CFPGAIF fpga(&factory, 0);
    FPGASpeedReading_T ticks = 0;

    // 0 runs until the process is stopped; N gives N + 1 readings.
    for (int i = 0; duration >= i;)
    {
        (void)fpga.GetSpeedReading(&ticks);
        Message(QString("Speed ticks: %1\n").arg(ticks), &output, false, true);
        sleep(1);
        if (duration != 0)
            ++i;
    }
    return TEST_PASSED;
}
