#include "LowscanUartModel.h"

#include <algorithm>

long CLowscanUartModel::Write(uint8_t* data, size_t count)
{
    m_Input.insert(m_Input.end(), data, data + count);
    size_t at = 0;
    while (at < m_Input.size())
    {
        if (m_Input[at] != 0xF5)
        {
            // Text sent to the line (an echo) runs up to its terminating zero.
            const auto end = std::find(m_Input.begin() + at, m_Input.end(), 0);
            if (end == m_Input.end())
                break;
            Trace("text \"" + std::string(m_Input.begin() + at, end) + "\"");
            at = static_cast<size_t>(end - m_Input.begin()) + 1;
            continue;
        }
        if (m_Input.size() - at < 8)
            break;
        Frame(&m_Input[at]);
        at += 8;
    }
    m_Input.erase(m_Input.begin(), m_Input.begin() + at);
    return static_cast<long>(count);
}

void CLowscanUartModel::Frame(const uint8_t* frame)
{
    uint8_t sum = 0;
    for (int i = 0; i < 7; ++i)
        sum = static_cast<uint8_t>(sum + frame[i]);
    if (sum != frame[7])
    {
        Trace("frame " + CFpgaTrace::Hex(frame, 8) + ": checksum error, sum " + CFpgaTrace::Hex(&sum, 1) + ": ignored");
        return;
    }
    const uint16_t address = static_cast<uint16_t>(frame[1] << 8 | frame[2]);
    const uint32_t value = static_cast<uint32_t>(frame[3]) << 24 | frame[4] << 16 | frame[5] << 8 | frame[6];
    SetRegister(address, value);
    if (address != 1 || (value != 1 && value != 3))
        return;
    if (m_Setup.Fault("no-reply"))
    {
        Trace("no reply (fault)");
        return;
    }
    if (value == 3)
    {
        std::vector<uint8_t> reply(c_VersionReply, 0);
        reply[2] = static_cast<uint8_t>(Major());
        reply[3] = static_cast<uint8_t>(Minor());
        Trace("version reply " + std::to_string(reply[2]) + "." + std::to_string(reply[3]) + ", " +
              std::to_string(reply.size()) + " bytes");
        Reply(reply.data(), reply.size());
        return;
    }
    const unsigned int channel = m_Setup.channel;
    const unsigned int samples = ProgrammedSamples(channel);
    std::vector<uint8_t> packet = PingPacket(channel, samples, m_Pings++);
    std::string text = "ping " + std::to_string(m_Pings) + " channel " + std::to_string(channel) + ": " +
                       std::to_string(samples) + " samples, bottom at sample " +
                       std::to_string(m_Echo.BottomIndex(samples)) + ", packet " + std::to_string(packet.size()) +
                       " bytes";
    if (m_Setup.Fault("short-ping"))
    {
        packet.resize(packet.size() / 2);
        text += ", only " + std::to_string(packet.size()) + " sent (fault)";
    }
    Trace(text);
    Reply(packet.data(), packet.size());
    for (CLowscanUartModel* port : m_Ports)
        RelayPing(*port);
}

void CLowscanUartModel::RelayPing(CLowscanUartModel& port)
{
    const unsigned int channel = port.m_Setup.channel;
    // Pulse B carries the period in its upper half: a channel without one stays silent.
    if ((Register(channel == 1 ? 26 : 18) >> 16) == 0)
        return;
    const unsigned int samples = ProgrammedSamples(channel);
    std::vector<uint8_t> packet = PingPacket(channel, samples, m_Pings);
    std::lock_guard<std::mutex> lock(port.Mutex());
    port.Trace("ping channel " + std::to_string(channel) + " (fired on " + m_Setup.Name() +
               "): " + std::to_string(samples) + " samples, packet " + std::to_string(packet.size()) + " bytes");
    port.Reply(packet.data(), packet.size());
}
