#include "LowscanModel.h"

#include <algorithm>
#include <cstdio>

uint32_t CLowscanModel::Register(uint16_t address) const
{
    const auto it = m_Registers.find(address);
    return it == m_Registers.end() ? 0 : it->second;
}

unsigned int CLowscanModel::ProgrammedSamples(unsigned int channel) const
{
    const unsigned int first = Register(channel == 1 ? 45 : 37) & 0xFFFF;
    return first == 0 ? 1024 : std::min(first, 1024u);
}

void CLowscanModel::SetRegister(uint16_t address, uint32_t value)
{
    static const std::map<uint16_t, const char*> names = {
        {1, "command"},          {17, "pulse A ch0"},    {18, "pulse B ch0"},     {25, "pulse A ch1"},
        {26, "pulse B ch1"},     {33, "sampling A ch0"}, {37, "sampling B ch0"},  {41, "sampling A ch1"},
        {45, "sampling B ch1"},  {34, "gain ch0"},       {35, "colour gain ch0"}, {42, "gain ch1"},
        {43, "colour gain ch1"}, {65, "boost"},          {66, "analogue gain"}};
    const auto name = names.find(address);
    char text[96];
    snprintf(text, sizeof text, "register %u = 0x%08x (%s)", address, value,
             name == names.end() ? "unknown register, ignored" : name->second);
    Trace(text);
    if (name != names.end() && address != 1)
        m_Registers[address] = value;
}

std::vector<uint8_t> CLowscanModel::PingPacket(unsigned int channel, unsigned int samples,
                                               unsigned int pingNumber) const
{
    const std::vector<uint8_t> amplitudes = m_Echo.Ping(samples, pingNumber * 2 + channel);
    std::vector<uint8_t> packet(PacketLength(samples), 0);
    packet[0] = 0xA5;
    packet[1] = static_cast<uint8_t>(channel);
    // The block values carry the gain and colour-gain words the channel was given.
    const unsigned int gain = Register(channel == 1 ? 42 : 34) & 0xFFF;
    const unsigned int colour = Register(channel == 1 ? 43 : 35) & 0xFFF;
    size_t at = 2;
    for (unsigned int i = 0; i < samples; ++i)
    {
        packet[at++] = amplitudes[i];
        if (i % 128 == 127)
        {
            packet[at++] = static_cast<uint8_t>(gain >> 4);
            packet[at++] = static_cast<uint8_t>(gain << 4);
            packet[at++] = static_cast<uint8_t>(colour >> 4);
            packet[at++] = static_cast<uint8_t>(colour << 4);
        }
    }
    packet.back() = 0x5A;
    return packet;
}
