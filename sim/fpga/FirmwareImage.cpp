#include "FirmwareImage.h"

#include <cstdio>

bool CFirmwareImage::Parse(const std::string& bytes, std::string& family, int& major, int& minor)
{
    const std::string line = bytes.substr(0, bytes.find('\n'));
    char name[32] = {0};
    int a = -1, b = -1;
    char extra = 0;
    if (sscanf(line.c_str(), "VUFPGA %31s %d.%d%c", name, &a, &b, &extra) != 3)
        return false;
    if (a < 0 || a > 255 || b < 0 || b > 255)
        return false;
    family = name;
    major = a;
    minor = b;
    return true;
}

std::string CFirmwareImage::Make(const std::string& family, int major, int minor)
{
    return "VUFPGA " + family + " " + std::to_string(major) + "." + std::to_string(minor) + "\n";
}
