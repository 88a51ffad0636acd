#include "EchoSimulator.h"

#include <algorithm>

unsigned int CEchoSimulator::BottomIndex(unsigned int count) const
{
    const unsigned long long index =
        static_cast<unsigned long long>(count) * m_Shape.depthCentimetres / (c_RangeMetres * 100);
    return static_cast<unsigned int>(std::min<unsigned long long>(index, count ? count - 1 : 0));
}

std::vector<uint8_t> CEchoSimulator::Ping(unsigned int count, unsigned int pingNumber) const
{
    std::vector<uint8_t> samples(count);
    uint32_t state = m_Shape.seed * 2654435761u + pingNumber * 40503u + 1u;
    const unsigned long long ringdown = static_cast<unsigned long long>(count) * m_Shape.ringdown / 6400;
    const unsigned int bang = static_cast<unsigned int>(std::max(4ull, ringdown));
    const unsigned int bottom = BottomIndex(count);
    const int echo = static_cast<int>(m_Shape.echo);
    for (unsigned int i = 0; i < count; ++i)
    {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        int value = m_Shape.noise ? static_cast<int>(state % m_Shape.noise) : 0;
        if (i < bang)
            value += 240 - static_cast<int>(static_cast<unsigned long long>(i) * 160 / bang);
        const unsigned int distance = i > bottom ? i - bottom : bottom - i;
        // The echo falls off by a fifth of its strength per sample either side.
        if (distance < 4)
            value += echo * static_cast<int>(5 - distance) / 5;
        samples[i] = static_cast<uint8_t>(std::min(value, 255));
    }
    return samples;
}
