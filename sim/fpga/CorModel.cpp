#include "CorModel.h"

namespace
{
// Registers a write may reach, tables aside.
bool Writable(uint16_t a)
{
    switch (a)
    {
    case 0:
    case 4:
    case 8:
    case 16:
    case 17:
    case 18:
    case 24:
    case 32:
    case 33:
    case 34:
    case 35:
    case 36:
    case 37:
    case 38:
    case 48:
    case 50:
    case 51:
    case 52:
    case 53:
    case 56:
    case 57:
    case 67:
    case 81:
    case 96:
    case 256:
    case 257:
    case 512:
    case 513:
        return true;
    default:
        return false;
    }
}

bool InTable(uint16_t a)
{
    return (a >= 0x3000 && a < 0x3800) || (a >= 0x4000 && a < 0xC000);
}
}

CCorModel::CCorModel(const FpgaSetup_T& setup, CFpgaTrace& trace)
    : CSpiPacketModel(setup, trace), m_Registers(0x10000, 0)
{
}

bool CCorModel::WriteByte(uint16_t address, uint8_t value, bool block, uint16_t)
{
    if (!(block ? InTable(address) : Writable(address)))
        return false;
    m_Registers[address] = value;
    if (address == 0)
        Command(value);
    else if (address == 81 && (value & 2))
    {
        ClearFifo(m_Fifo);
        Note("FIFO cleared");
    }
    return true;
}

void CCorModel::Command(uint8_t value)
{
    if (value & 0x7C)
    {
        Note("transducer identification command " + CFpgaTrace::Hex(&value, 1) + ": interrupt raised");
        RaiseInterrupt();
    }
    if (!(value & 1))
        return;
    const unsigned int count = ProgrammedSamples();
    const std::vector<uint8_t> amplitudes = m_Echo.Ping(count, m_Pings++);
    std::vector<uint8_t> bytes(count * 2, 0);
    for (unsigned int i = 0; i < count; ++i)
        bytes[i * 2] = amplitudes[i];
    Fill(m_Fifo, bytes);
    RaiseInterrupt();
    Note("ping " + std::to_string(m_Pings) + ": " + std::to_string(count) + " samples, bottom at sample " +
         std::to_string(m_Echo.BottomIndex(count)));
}

bool CCorModel::ReadByte(uint16_t address, uint8_t& value)
{
    value = 0;
    switch (address)
    {
    case 1:
        // bit 0: ping data waiting; bit 7: configured
        value = static_cast<uint8_t>((m_Fifo.taken < m_Fifo.data.size() ? 1 : 0) | (Major() != 255 ? 0x80 : 0));
        return true;
    case 2:
        value = static_cast<uint8_t>(Major());
        return true;
    case 64:
        value = static_cast<uint8_t>(m_Setup.speed & 0xFF);
        return true;
    case 65:
        value = static_cast<uint8_t>(m_Setup.speed >> 8);
        return true;
    case 66:
        value = static_cast<uint8_t>(m_Setup.transducer);
        return true;
    case 82:
        value = FifoStatus(m_Fifo);
        if (value == 5)
            Note("FIFO status 5 instead of 4 (fault)");
        return true;
    default:
        if (!Writable(address))
            return false;
        value = m_Registers[address];
        return true;
    }
}
