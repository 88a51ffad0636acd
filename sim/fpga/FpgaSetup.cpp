#include "FpgaSetup.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

const char* const FpgaSetup_T::c_Models[] = {"cor", "lumet", "lowscan-uart", "lowscan-spi", nullptr};

std::vector<std::string> FpgaSetup_T::Faults(const std::string& model)
{
    // Lumet's FIFO status and the Lowscan links' missing reply checksum give
    // the program nothing to notice, so those models leave such faults out.
    if (model == "cor")
        return {"no-reply", "bad-checksum", "fifo-status", "short-ping", "version0"};
    if (model == "lumet")
        return {"no-reply", "bad-checksum", "short-ping", "version0"};
    if (model == "lowscan-uart" || model == "lowscan-spi")
        return {"no-reply", "short-ping", "version0"};
    return {};
}

std::string FpgaSetup_T::List(const std::vector<std::string>& names)
{
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

namespace
{
bool Listed(const char* const* names, const std::string& word)
{
    for (; *names; ++names)
        if (word == *names)
            return true;
    return false;
}

bool Number(const std::string& text, unsigned int& value)
{
    if (text.empty())
        return false;
    char* end = nullptr;
    const unsigned long n = strtoul(text.c_str(), &end, 0);
    if (*end != '\0' || n > 0xFFFFFFFFul)
        return false;
    value = static_cast<unsigned int>(n);
    return true;
}

// Metres with at most two decimals, such as "12" or "11.95"; at most 1000 m.
bool Centimetres(const std::string& text, unsigned int& value)
{
    const size_t dot = text.find('.');
    const std::string whole = text.substr(0, dot);
    const std::string fraction = dot == std::string::npos ? "00" : (text.substr(dot + 1) + "0").substr(0, 2);
    const bool digits = !whole.empty() && whole.size() <= 4 &&
                        whole.find_first_not_of("0123456789") == std::string::npos &&
                        fraction.find_first_not_of("0123456789") == std::string::npos &&
                        (dot == std::string::npos || (text.size() > dot + 1 && text.size() <= dot + 3));
    if (!digits)
        return false;
    value = static_cast<unsigned int>(std::stoul(whole) * 100 + std::stoul(fraction));
    return value <= 100000;
}
}

bool FpgaSetup_T::Parse(const std::string& text, FpgaSetup_T& setup, std::string& error)
{
    std::istringstream words(text);
    setup = FpgaSetup_T();
    if (!(words >> setup.path >> setup.model) || setup.path[0] != '/')
    {
        error = "'fpga' needs a device path and a model";
        return false;
    }
    if (!Listed(c_Models, setup.model))
    {
        error = "unknown FPGA model '" + setup.model + "'";
        return false;
    }
    std::string option;
    while (words >> option)
    {
        const size_t eq = option.find('=');
        const std::string key = option.substr(0, eq);
        const std::string value = eq == std::string::npos ? std::string() : option.substr(eq + 1);
        bool ok = eq != std::string::npos;
        if (!ok)
            ;
        else if (key == "seed")
            ok = Number(value, setup.echo.seed);
        else if (key == "depth")
            ok = Centimetres(value, setup.echo.depthCentimetres);
        else if (key == "echo")
            ok = Number(value, setup.echo.echo) && setup.echo.echo <= 255;
        else if (key == "noise")
            ok = Number(value, setup.echo.noise) && setup.echo.noise <= 256;
        else if (key == "ringdown")
            ok = Number(value, setup.echo.ringdown) && setup.echo.ringdown >= 1 && setup.echo.ringdown <= 1000;
        else if (key == "channel")
            ok = Number(value, setup.channel) && setup.channel <= 1;
        else if (key == "transducer")
            ok = Number(value, setup.transducer) && setup.transducer <= 0xFF;
        else if (key == "speed")
            ok = Number(value, setup.speed) && setup.speed <= 0xFFFF;
        else if (key == "adc")
        {
            std::istringstream parts(value);
            std::string part;
            for (int i = 0; i < 3 && ok; ++i)
                ok = std::getline(parts, part, ',') && Number(part, setup.adc[i]) && setup.adc[i] <= 0xFFFFFF;
        }
        else if (key == "flash")
        {
            unsigned int major = 0, minor = 0;
            const size_t dot = value.find('.');
            ok = dot != std::string::npos && Number(value.substr(0, dot), major) &&
                 Number(value.substr(dot + 1), minor) && major <= 255 && minor <= 255;
            setup.flashMajor = static_cast<int>(major);
            setup.flashMinor = static_cast<int>(minor);
        }
        else if (key == "follow")
            ok = !value.empty() && value[0] == '/';
        else if (key == "fault")
        {
            const std::vector<std::string> known = Faults(setup.model);
            if (std::find(known.begin(), known.end(), value) == known.end())
            {
                error = "the " + setup.model + " FPGA model of " + setup.path + " has no fault '" + value +
                        "'; its faults: " + List(known);
                return false;
            }
        }
        else
            ok = false;
        if (!ok)
        {
            error = "bad FPGA option '" + option + "' for " + setup.path;
            return false;
        }
        if (key == "follow")
            setup.follow = value;
        if (key == "fault")
            setup.faults.insert(value);
    }
    return true;
}
