#ifndef ECHOSIMULATOR_H
#define ECHOSIMULATOR_H

#include <cstdint>
#include <vector>

// The amplitudes of one ping as an 8-bit magnitude per sample: the transmit
// bang at the start, one bottom echo, and low noise that depends only on the
// seed and the ping number, so every run of a unit sees the same water.
class CEchoSimulator
{
public:
    // The programmed sample count covers this range, so a longer record
    // moves the bottom to a later sample.
    static const unsigned int c_RangeMetres = 100;

    CEchoSimulator(uint32_t seed, unsigned int depthMetres) : m_Seed(seed), m_Depth(depthMetres) {}

    // Index of the strongest bottom sample for a record of `count` samples.
    unsigned int BottomIndex(unsigned int count) const;

    std::vector<uint8_t> Ping(unsigned int count, unsigned int pingNumber) const;

private:
    uint32_t m_Seed;
    unsigned int m_Depth;
};

#endif
