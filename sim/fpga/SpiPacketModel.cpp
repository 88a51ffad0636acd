#include "SpiPacketModel.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

std::string CSpiPacketModel::Address(uint16_t address)
{
    char text[8];
    snprintf(text, sizeof text, "0x%04x", address);
    return text;
}

uint8_t CSpiPacketModel::FifoStatus(const Fifo_T& fifo) const
{
    if (fifo.underrun)
        return 6;
    if (fifo.taken < fifo.data.size())
        return 1;
    return fifo.pinged && m_Setup.Fault("fifo-status") ? 5 : 4;
}

void CSpiPacketModel::ClearFifo(Fifo_T& fifo)
{
    fifo = Fifo_T();
}

void CSpiPacketModel::Fill(Fifo_T& fifo, const std::vector<uint8_t>& bytes)
{
    fifo.data = bytes;
    fifo.taken = 0;
    fifo.underrun = false;
    fifo.pinged = true;
}

void CSpiPacketModel::Take(Fifo_T& fifo, uint8_t* out, size_t count)
{
    const size_t have = fifo.data.size() - fifo.taken;
    const size_t n = count < have ? count : have;
    if (n)
        memcpy(out, fifo.data.data() + fifo.taken, n);
    memset(out + n, 0, count - n);
    fifo.taken += n;
    if (n < count)
        fifo.underrun = true;
}

long CSpiPacketModel::Write(uint8_t* data, size_t count)
{
    if (m_PingRead)
    {
        Fifo_T* fifo = PingFifo(m_PingAddress);
        const size_t held = fifo->data.size() - fifo->taken;
        size_t given = count;
        if (m_Setup.Fault("short-ping"))
            given = count / 2;
        Take(*fifo, data, given);
        memset(data + given, 0, count - given);
        std::string text = "ping read " + std::to_string(count) + " bytes at " + Address(m_PingAddress) +
                           ", FIFO held " + std::to_string(held) + ": " + CFpgaTrace::Hex(data, given, 8);
        if (given < count)
            text += " (short: fault)";
        else if (fifo->underrun)
            text += " (underrun)";
        Trace(text);
        return static_cast<long>(given);
    }
    size_t offset = 0;
    while (offset < count)
    {
        const size_t used = Packet(data + offset, count - offset);
        if (used == 0)
            break;
        offset += used;
    }
    return static_cast<long>(count);
}

// One packet at `data`; returns its length, or 0 when the rest of the
// transfer cannot be parsed (and is dropped).
size_t CSpiPacketModel::Packet(const uint8_t* data, size_t left)
{
    if (left < 8 || data[0] != 0x43 || data[1] != 0x53)
    {
        Trace("bad packet (" + std::string(left < 8 ? "too short" : "no sync word") + "): " + std::to_string(left) +
              " bytes dropped: " + CFpgaTrace::Hex(data, left, 8));
        return 0;
    }
    const uint16_t address = static_cast<uint16_t>(data[2] | data[3] << 8);
    const uint8_t flags = data[4];
    const size_t length = static_cast<size_t>(data[5] | data[6] << 8) + 1;
    if (7 + length + 1 > left)
    {
        Trace("bad packet at " + Address(address) + ": length " + std::to_string(length) + " but " +
              std::to_string(left) + " bytes left: dropped");
        return 0;
    }
    const uint8_t* payload = data + 7;
    const uint8_t checksum = payload[length];
    const bool read = flags & 1, block = flags & 2;
    std::string what = std::string(read ? "read " : "write ") + (block ? "block " : "") + Address(address);
    if (flags & 0xFC)
        what += " (reserved flag bits " + CFpgaTrace::Hex(&flags, 1) + ")";
    uint8_t sum = 0;
    for (size_t i = 0; i < length; ++i)
        sum = static_cast<uint8_t>(sum + payload[i]);

    if (!read)
    {
        what += " [" + std::to_string(length) + "] " + CFpgaTrace::Hex(payload, length, 8);
        if (sum != checksum)
        {
            Trace(what + ": checksum error, sum " + CFpgaTrace::Hex(&sum, 1) + " packet " +
                  CFpgaTrace::Hex(&checksum, 1) + ": ignored");
            return 7 + length + 1;
        }
        size_t unknown = 0;
        for (size_t i = 0; i < length; ++i)
            if (!WriteByte(static_cast<uint16_t>(address + i), payload[i], block, address))
                ++unknown;
        Trace(what + (unknown ? ": unknown register, " + std::to_string(unknown) + " bytes ignored" : ""));
        for (const std::string& note : m_Notes)
            Trace(note);
        m_Notes.clear();
        return 7 + length + 1;
    }

    std::vector<uint8_t> reply(length + 1);
    size_t unknown = 0;
    if (Fifo_T* fifo = PingFifo(address))
        Take(*fifo, reply.data(), length);
    else
        for (size_t i = 0; i < length; ++i)
            if (!ReadByte(static_cast<uint16_t>(address + i), reply[i]))
                ++unknown;
    uint8_t replySum = 0;
    for (size_t i = 0; i < length; ++i)
        replySum = static_cast<uint8_t>(replySum + reply[i]);
    reply[length] = replySum;
    what += " [" + std::to_string(length) + "]";
    if (sum != 0 || checksum != 0)
        what += " (filler not zero)";
    if (unknown)
        what += ": unknown register";
    if (m_Setup.Fault("no-reply"))
    {
        Trace(what + ": no reply (fault)");
        return 7 + length + 1;
    }
    if (m_Setup.Fault("bad-checksum"))
        reply[length] = static_cast<uint8_t>(replySum + 1);
    Trace(what + " -> " + CFpgaTrace::Hex(reply.data(), length, 8) + " sum " + CFpgaTrace::Hex(&reply[length], 1) +
          (m_Setup.Fault("bad-checksum") ? " (wrong: fault)" : ""));
    for (const std::string& note : m_Notes)
        Trace(note);
    m_Notes.clear();
    Reply(reply.data(), reply.size());
    return 7 + length + 1;
}

int CSpiPacketModel::Ioctl(unsigned long request, void* argument)
{
    switch (request)
    {
    case c_Configure:
        Trace("ioctl configure-spi");
        return 0;
    case c_WaitInterrupt:
    {
        const bool raised = m_Interrupt;
        m_Interrupt = false;
        Trace(std::string("ioctl wait-interrupt -> ") + (raised ? "1" : "0 (none pending)"));
        return raised ? 1 : 0;
    }
    case c_StartPingRead:
    {
        uint32_t words[5] = {0, 0, 0, 0, 0};
        if (argument)
            memcpy(words, argument, sizeof words);
        char text[96];
        snprintf(text, sizeof text, "ioctl start-ping-read {0x%04x, 0x%04x, %u, %u, %u}", words[0], words[1], words[2],
                 words[3], words[4]);
        if (!argument || words[0] != 0x5343 || words[1] > 0xFFFF || !PingFifo(static_cast<uint16_t>(words[1])))
        {
            Trace(std::string(text) + ": bad descriptor");
            errno = EINVAL;
            return -1;
        }
        Trace(text);
        m_PingRead = true;
        m_PingAddress = static_cast<uint16_t>(words[1]);
        return 0;
    }
    case c_EndPingRead:
        Trace(m_PingRead ? "ioctl end-ping-read" : "ioctl end-ping-read without a start");
        m_PingRead = false;
        return 0;
    default:
        return CFpgaModel::Ioctl(request, argument);
    }
}
