#include "FpgaModel.h"

#include "CorModel.h"
#include "FirmwareImage.h"
#include "LowscanSpiModel.h"
#include "LowscanUartModel.h"
#include "LumetModel.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

CFpgaModel::CFpgaModel(const FpgaSetup_T& setup, CFpgaTrace& trace)
    : m_Setup(setup), m_Echo(setup.echo), m_Trace(trace), m_Name(setup.Name())
{
    if (setup.flashMajor >= 0)
    {
        m_Loaded = true;
        m_Major = setup.flashMajor;
        m_Minor = setup.flashMinor;
    }
}

std::unique_ptr<CFpgaModel> CFpgaModel::Create(const FpgaSetup_T& setup, CFpgaTrace& trace)
{
    if (setup.model == "cor")
        return std::unique_ptr<CFpgaModel>(new CCorModel(setup, trace));
    if (setup.model == "lumet")
        return std::unique_ptr<CFpgaModel>(new CLumetModel(setup, trace));
    if (setup.model == "lowscan-uart")
        return std::unique_ptr<CFpgaModel>(new CLowscanUartModel(setup, trace));
    if (setup.model == "lowscan-spi")
        return std::unique_ptr<CFpgaModel>(new CLowscanSpiModel(setup, trace));
    return nullptr;
}

int CFpgaModel::Major() const
{
    if (m_Setup.Fault("version0"))
        return 0;
    return m_Loaded ? m_Major : 255;
}

long CFpgaModel::Read(uint8_t* out, size_t count)
{
    const size_t n = std::min(count, m_Reply.size());
    memcpy(out, m_Reply.data(), n);
    m_Reply.erase(0, n);
    return static_cast<long>(n);
}

void CFpgaModel::Reply(const uint8_t* data, size_t count)
{
    m_Reply.append(reinterpret_cast<const char*>(data), count);
}

int CFpgaModel::Ioctl(unsigned long request, void*)
{
    char text[64];
    snprintf(text, sizeof text, "ioctl 0x%08lx unknown", request);
    Trace(text);
    errno = ENOTTY;
    return -1;
}

void CFpgaModel::LoadFirmware(const std::string& bytes)
{
    std::string family;
    int major = 0, minor = 0;
    if (!CFirmwareImage::Parse(bytes, family, major, minor) || family != Family())
    {
        // The "1" that opens a load, or a foreign image: the FPGA is left blank.
        m_Loaded = false;
        Trace("firmware " + std::to_string(bytes.size()) + " bytes, not a " + Family() + " image: FPGA blank (" +
              CFpgaTrace::Hex(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), 8) + ")");
        return;
    }
    m_Loaded = true;
    m_Major = major;
    m_Minor = minor;
    Trace("firmware " + std::to_string(bytes.size()) + " bytes: " + family + " version " + std::to_string(major) + "." +
          std::to_string(minor));
}
