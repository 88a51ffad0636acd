#ifndef LUMETMODEL_H
#define LUMETMODEL_H

#include "SpiPacketModel.h"

// The Lumet FPGA: shared registers (command, status, version, boost, sync,
// LEDs, three 24-bit ADC read-backs) and two receive channels with identical
// blocks at 0x4000 and 0x8000, each with its own byte-sample ping FIFO.
class CLumetModel : public CSpiPacketModel
{
public:
    CLumetModel(const FpgaSetup_T& setup, CFpgaTrace& trace);

    uint8_t Register(uint16_t address) const { return m_Registers[address]; }
    unsigned int ProgrammedSamples(unsigned int channel) const;

protected:
    const char* Family() const override { return "lumet"; }
    bool WriteByte(uint16_t address, uint8_t value, bool block, uint16_t packetStart) override;
    bool ReadByte(uint16_t address, uint8_t& value) override;
    Fifo_T* PingFifo(uint16_t address) override;

private:
    static uint16_t Base(unsigned int channel) { return channel == 1 ? 0x8000 : 0x4000; }
    static bool ChannelRegister(uint16_t address, uint16_t& offset, unsigned int& channel);
    void Ping();

    std::vector<uint8_t> m_Registers;
    Fifo_T m_Fifo[2];
};

#endif
