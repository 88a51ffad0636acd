#ifndef SPIPACKETMODEL_H
#define SPIPACKETMODEL_H

#include "FpgaModel.h"

#include <vector>

// The packet side shared by the Cor and Lumet FPGAs: "CS" sync word, 16-bit
// address, flags, length minus one, payload and additive checksum; replies
// to reads wait to be read back; the driver requests (configure, wait for
// interrupt, start and end of a ping read) and the ping-read mode in which
// a write hands FIFO data back in the writer's buffer.
class CSpiPacketModel : public CFpgaModel
{
public:
    static const unsigned long c_Configure = 0x80047202;
    static const unsigned long c_WaitInterrupt = 0x80047203;
    static const unsigned long c_StartPingRead = 0x80047205;
    static const unsigned long c_EndPingRead = 0x80047206;

    CSpiPacketModel(const FpgaSetup_T& setup, CFpgaTrace& trace) : CFpgaModel(setup, trace) {}

    long Write(uint8_t* data, size_t count) override;
    int Ioctl(unsigned long request, void* argument) override;

protected:
    struct Fifo_T
    {
        std::vector<uint8_t> data;
        size_t taken = 0;
        bool underrun = false;
        bool pinged = false;
    };

    // false: the FPGA has no such register.
    virtual bool WriteByte(uint16_t address, uint8_t value, bool block, uint16_t packetStart) = 0;
    virtual bool ReadByte(uint16_t address, uint8_t& value) = 0;
    // The ping data FIFO read at `address`, or null.
    virtual Fifo_T* PingFifo(uint16_t address) = 0;

    // The status a FIFO status register shows: 4 idle and empty, 1 data
    // waiting, 6 read past its end.
    uint8_t FifoStatus(const Fifo_T& fifo) const;
    void ClearFifo(Fifo_T& fifo);
    void Fill(Fifo_T& fifo, const std::vector<uint8_t>& bytes);
    void RaiseInterrupt() { m_Interrupt = true; }
    // What a write set off, traced after the packet that caused it.
    void Note(const std::string& text) { m_Notes.push_back(text); }
    static std::string Address(uint16_t address);

private:
    size_t Packet(const uint8_t* data, size_t left);
    void Take(Fifo_T& fifo, uint8_t* out, size_t count);

    bool m_PingRead = false;
    uint16_t m_PingAddress = 0;
    bool m_Interrupt = false;
    std::vector<std::string> m_Notes;
};

#endif
