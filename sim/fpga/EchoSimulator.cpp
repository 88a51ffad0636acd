#include "EchoSimulator.h"

#include <algorithm>

unsigned int CEchoSimulator::BottomIndex(unsigned int count) const
{
    const unsigned long long index = static_cast<unsigned long long>(count) * m_Depth / c_RangeMetres;
    return static_cast<unsigned int>(std::min<unsigned long long>(index, count ? count - 1 : 0));
}

std::vector<uint8_t> CEchoSimulator::Ping(unsigned int count, unsigned int pingNumber) const
{
    std::vector<uint8_t> samples(count);
    uint32_t state = m_Seed * 2654435761u + pingNumber * 40503u + 1u;
    const unsigned int bang = std::max(4u, count / 64);
    const unsigned int bottom = BottomIndex(count);
    for (unsigned int i = 0; i < count; ++i)
    {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        int value = static_cast<int>(state % 16);
        if (i < bang)
            value += 240 - static_cast<int>(i * 160 / bang);
        const unsigned int distance = i > bottom ? i - bottom : bottom - i;
        if (distance < 4)
            value += 200 - static_cast<int>(distance) * 40;
        samples[i] = static_cast<uint8_t>(std::min(value, 255));
    }
    return samples;
}
