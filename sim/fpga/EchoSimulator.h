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

    // What sets one unit's echo apart; the defaults are the stock units'.
    struct Shape_T
    {
        uint32_t seed = 1;                     // the noise's pattern
        unsigned int depthCentimetres = 1200;  // the bottom
        unsigned int echo = 200;               // the bottom sample's strength above the noise
        unsigned int noise = 16;               // noise samples lie in 0..noise-1
        unsigned int ringdown = 100;           // the transmit bang's length, percent of 1/64 of the record
    };

    explicit CEchoSimulator(const Shape_T& shape) : m_Shape(shape) {}

    // Index of the strongest bottom sample for a record of `count` samples.
    unsigned int BottomIndex(unsigned int count) const;

    std::vector<uint8_t> Ping(unsigned int count, unsigned int pingNumber) const;

private:
    Shape_T m_Shape;
};

#endif
