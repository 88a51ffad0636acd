#include "LotUnit.h"

#include "UnitProfile.h"

#include <cctype>
#include <cstdio>

namespace
{
// The stock unit's bottom lies at 12 m; a normal unit's echo stays where a
// plan written for the stock unit accepts it (see docs/virtual-unit.md).
const unsigned int c_DepthFrom = 1190, c_DepthSpread = 21;      // centimetres: 11.90..12.10 m
const unsigned int c_RingdownFrom = 80, c_RingdownSpread = 31;  // percent: 80..110
const unsigned int c_NoiseFrom = 8, c_NoiseSpread = 3;          // noise 0..7 up to 0..9
const unsigned int c_EchoFrom = 200, c_EchoSpread = 7;          // 200..206
const unsigned int c_MarginalFrom = 196, c_MarginalSpread = 3;  // 196..198
const unsigned int c_WeakFrom = 120, c_WeakSpread = 30;         // 120..149

uint32_t Mix(uint32_t h)
{
    h ^= h >> 16;
    h *= 0x85ebca6bu;
    h ^= h >> 13;
    h *= 0xc2b2ae35u;
    h ^= h >> 16;
    return h;
}

bool Count(const std::string& text, unsigned int max, unsigned int& value)
{
    if (text.empty() || text.size() > 6 || text.find_first_not_of("0123456789") != std::string::npos)
        return false;
    value = static_cast<unsigned int>(std::stoul(text));
    return value >= 1 && value <= max;
}
}

bool CLotUnit::Parse(const std::string& text, CLotUnit& unit, std::string& error)
{
    const size_t colon = text.find(':');
    unsigned int number = 0, attempt = 1;
    if (!Count(text.substr(0, colon), c_MaxNumber, number) ||
        (colon != std::string::npos && !Count(text.substr(colon + 1), 999999, attempt)))
    {
        error =
            "'" + text + "' is not N or N:ATTEMPT (N from 1 to " + std::to_string(c_MaxNumber) + ", ATTEMPT from 1)";
        return false;
    }
    unit = CLotUnit(number, attempt);
    return true;
}

CLotUnit::Kind_T CLotUnit::Kind() const
{
    const unsigned int place = m_Number % c_Cycle;
    return place == c_Defective ? LOT_DEFECTIVE : place == c_Marginal ? LOT_MARGINAL : LOT_NORMAL;
}

uint32_t CLotUnit::Hash(uint32_t salt) const
{
    return Mix(Mix(m_Number * 0x9e3779b9u + salt));
}

std::string CLotUnit::Serial(const std::string& profile) const
{
    std::string name = profile.substr(profile.rfind('/') + 1);
    if (name.size() > 5 && name.compare(name.size() - 5, 5, ".unit") == 0)
        name.resize(name.size() - 5);
    for (char& c : name)
        c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    char digits[8];
    snprintf(digits, sizeof digits, "%04u", m_Number);
    return "V" + name + "-" + digits;
}

CEchoSimulator::Shape_T CLotUnit::Shape() const
{
    CEchoSimulator::Shape_T shape;
    shape.seed = Mix(Hash(5) ^ Mix(m_Attempt * 0x27d4eb2du));
    shape.depthCentimetres = c_DepthFrom + Hash(1) % c_DepthSpread;
    shape.ringdown = c_RingdownFrom + Hash(2) % c_RingdownSpread;
    shape.noise = c_NoiseFrom + Hash(3) % c_NoiseSpread;
    const uint32_t strength = Hash(4);
    switch (Kind())
    {
    case LOT_NORMAL:
        shape.echo = c_EchoFrom + strength % c_EchoSpread;
        break;
    case LOT_MARGINAL:
        shape.echo = c_MarginalFrom + strength % c_MarginalSpread;
        break;
    case LOT_DEFECTIVE:
        shape.echo = c_WeakFrom + strength % c_WeakSpread;
        break;
    }
    return shape;
}

std::string CLotUnit::ModelOptions() const
{
    const CEchoSimulator::Shape_T shape = Shape();
    char text[128];
    snprintf(text, sizeof text, "seed=%u depth=%u.%02u echo=%u noise=%u ringdown=%u", shape.seed,
             shape.depthCentimetres / 100, shape.depthCentimetres % 100, shape.echo, shape.noise, shape.ringdown);
    return text;
}

bool CLotUnit::Apply(const std::string& profile, CUnitProfile& unit, std::string& error) const
{
    unit.SetSerial(Serial(profile));
    return unit.Fpgas().empty() || unit.AddFpgaOptions(ModelOptions(), error);
}
