#include "LowscanSpiModel.h"

#include "SpiPacketModel.h"

void CLowscanSpiModel::Answer(const std::vector<uint8_t>& reply, const std::string& text)
{
    if (m_Setup.Fault("no-reply"))
    {
        Trace(text + ": no reply (fault)");
        return;
    }
    Trace(text + " -> " + CFpgaTrace::Hex(reply.data(), reply.size(), 8));
    Reply(reply.data(), reply.size());
}

long CLowscanSpiModel::Write(uint8_t* data, size_t count)
{
    if (count == 0)
        return 0;
    const std::string request = "request " + CFpgaTrace::Hex(data, 1) + " [" + std::to_string(count) + "]";
    switch (data[0])
    {
    case 1:
        m_Pinged = true;
        m_Interrupt = true;
        ++m_Pings;
        Trace(request + " ping " + std::to_string(m_Pings));
        break;
    case 3:
        Answer({0, 0, static_cast<uint8_t>(Major()), static_cast<uint8_t>(Minor())}, request + " version");
        break;
    case 4:
        if (count != 85)
        {
            Trace(request + " register block of the wrong length: ignored");
            break;
        }
        Trace(request + " register block");
        for (size_t at = 1; at + 6 <= count; at += 6)
            SetRegister(static_cast<uint16_t>(data[at] << 8 | data[at + 1]), static_cast<uint32_t>(data[at + 2]) << 24 |
                                                                                 data[at + 3] << 16 |
                                                                                 data[at + 4] << 8 | data[at + 5]);
        break;
    case 5:
    {
        std::vector<uint8_t> reply;
        for (unsigned int value : m_Setup.adc)
            reply.insert(reply.end(), {static_cast<uint8_t>(value >> 16), static_cast<uint8_t>(value >> 8),
                                       static_cast<uint8_t>(value)});
        Answer(reply, request + " ADC readings");
        break;
    }
    case 0x10:
    case 0x11:
    {
        // The request is one byte longer than the packet it asks for.
        const unsigned int channel = data[0] & 1;
        const size_t length = count - 1;
        size_t samples = 0;
        while (samples < 1024 && PacketLength(static_cast<unsigned int>(samples) + 1) <= length)
            ++samples;
        std::vector<uint8_t> packet(length, 0);
        std::string text = request + " ping data channel " + std::to_string(channel);
        if (!m_Pinged)
            text += " before any ping";
        else if (PacketLength(static_cast<unsigned int>(samples)) == length)
            packet = PingPacket(channel, static_cast<unsigned int>(samples), m_Pings - 1);
        else
            text += ": no packet of that length";
        if (m_Setup.Fault("short-ping"))
            packet.resize(packet.size() / 2);
        Answer(packet, text);
        break;
    }
    default:
        Trace(request + " unknown request: ignored");
        break;
    }
    return static_cast<long>(count);
}

int CLowscanSpiModel::Ioctl(unsigned long request, void* argument)
{
    if (request == CSpiPacketModel::c_Configure)
    {
        Trace("ioctl configure-spi");
        return 0;
    }
    if (request == CSpiPacketModel::c_WaitInterrupt)
    {
        const bool raised = m_Interrupt;
        m_Interrupt = false;
        Trace(std::string("ioctl wait-interrupt -> ") + (raised ? "1" : "0 (none pending)"));
        return raised ? 1 : 0;
    }
    return CFpgaModel::Ioctl(request, argument);
}
