#include "LumetModel.h"

namespace
{
bool SharedWritable(uint16_t a)
{
    return a == 0 || a == 8 || a == 96 || a == 113 || a == 114;
}

bool ChannelWritable(uint16_t offset)
{
    return offset == 0x10 || offset == 0x11 || offset == 0x12 || (offset >= 0x20 && offset <= 0x23) || offset == 0x40 ||
           offset == 0x41 || offset == 0x42 || offset == 0x51 || (offset >= 0x200 && offset <= 0x209);
}

// Correlation tables: channel 0 from 0x6000, channel 1 from 0xA000.
bool TableStart(uint16_t a)
{
    return a == 0x6000 || a == 0xA000;
}
}

CLumetModel::CLumetModel(const FpgaSetup_T& setup, CFpgaTrace& trace)
    : CSpiPacketModel(setup, trace), m_Registers(0x10000, 0)
{
}

bool CLumetModel::ChannelRegister(uint16_t address, uint16_t& offset, unsigned int& channel)
{
    if (address >= 0x4000 && address < 0x6000)
        channel = 0;
    else if (address >= 0x8000 && address < 0xA000)
        channel = 1;
    else
        return false;
    offset = static_cast<uint16_t>(address - Base(channel));
    return true;
}

unsigned int CLumetModel::ProgrammedSamples(unsigned int channel) const
{
    const uint16_t base = Base(channel);
    return (m_Registers[base + 0x10] | m_Registers[base + 0x11] << 8) * 16u;
}

bool CLumetModel::WriteByte(uint16_t address, uint8_t value, bool block, uint16_t packetStart)
{
    if (block && TableStart(packetStart))
    {
        m_Registers[address] = value;  // a table may run on past its own block
        return true;
    }
    uint16_t offset = 0;
    unsigned int channel = 0;
    const bool perChannel = ChannelRegister(address, offset, channel);
    if (perChannel ? !ChannelWritable(offset) : !SharedWritable(address))
        return false;
    if (block != (address == 113 || address == 114))
        return false;
    m_Registers[address] = value;
    if (address == 0 && (value & 1))
        Ping();
    if (perChannel && offset == 0x51 && (value & 2))
    {
        ClearFifo(m_Fifo[channel]);
        Note("channel " + std::to_string(channel) + " FIFO cleared");
    }
    return true;
}

void CLumetModel::Ping()
{
    ++m_Pings;
    for (unsigned int channel = 0; channel < 2; ++channel)
    {
        const unsigned int count = ProgrammedSamples(channel);
        Fill(m_Fifo[channel], m_Echo.Ping(count, m_Pings * 2 + channel));
        Note("ping " + std::to_string(m_Pings) + " channel " + std::to_string(channel) + ": " + std::to_string(count) +
             " samples, bottom at sample " + std::to_string(m_Echo.BottomIndex(count)));
    }
    RaiseInterrupt();
}

CSpiPacketModel::Fifo_T* CLumetModel::PingFifo(uint16_t address)
{
    if (address == 0x4050)
        return &m_Fifo[0];
    if (address == 0x8050)
        return &m_Fifo[1];
    return nullptr;
}

bool CLumetModel::ReadByte(uint16_t address, uint8_t& value)
{
    value = 0;
    if (address == 1)
    {
        const bool waiting = m_Fifo[0].taken < m_Fifo[0].data.size() || m_Fifo[1].taken < m_Fifo[1].data.size();
        value = static_cast<uint8_t>((waiting ? 1 : 0) | (Major() != 255 ? 0x80 : 0));
        return true;
    }
    if (address == 2)
    {
        value = static_cast<uint8_t>(Major());
        return true;
    }
    if (address >= 128 && address < 140 && (address - 128) % 4 != 3)
    {
        const unsigned int which = (address - 128) / 4, byte = (address - 128) % 4;
        value = static_cast<uint8_t>(m_Setup.adc[which] >> (8 * byte));
        return true;
    }
    uint16_t offset = 0;
    unsigned int channel = 0;
    if (ChannelRegister(address, offset, channel) && offset == 0x52)
    {
        value = FifoStatus(m_Fifo[channel]);
        return true;
    }
    if (SharedWritable(address) || (ChannelRegister(address, offset, channel) && ChannelWritable(offset)))
    {
        value = m_Registers[address];
        return true;
    }
    return false;
}
