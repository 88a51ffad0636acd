#ifndef WIREBYTES_H
#define WIREBYTES_H

#include <cstdint>
#include <vector>

// Bytes as they cross a device node, and expected streams built from parts.
typedef std::vector<uint8_t> Bytes_T;

inline Bytes_T Join(Bytes_T First, const Bytes_T& Second)
{
    First.insert(First.end(), Second.begin(), Second.end());
    return First;
}

inline Bytes_T Join(const std::vector<Bytes_T>& Parts)
{
    Bytes_T All;
    for (const Bytes_T& Part : Parts)
        All.insert(All.end(), Part.begin(), Part.end());
    return All;
}

#endif
