#ifndef CORMODEL_H
#define CORMODEL_H

#include "SpiPacketModel.h"

// The Cor sounder FPGA of the QL4K, QL5K and QL6M modules: a flat register
// file, the TVG, chirp and correlation tables, one ping data FIFO of 16-bit
// samples (the magnitude in the low byte) and the transducer-ID interrupt.
class CCorModel : public CSpiPacketModel
{
public:
    CCorModel(const FpgaSetup_T& setup, CFpgaTrace& trace);

    uint8_t Register(uint16_t address) const { return m_Registers[address]; }
    // Samples of the next ping, from the sample count registers.
    unsigned int ProgrammedSamples() const { return (m_Registers[16] | m_Registers[17] << 8) * 16u; }

protected:
    const char* Family() const override { return "cor"; }
    bool WriteByte(uint16_t address, uint8_t value, bool block, uint16_t packetStart) override;
    bool ReadByte(uint16_t address, uint8_t& value) override;
    Fifo_T* PingFifo(uint16_t address) override { return address == 80 ? &m_Fifo : nullptr; }

private:
    void Command(uint8_t value);

    std::vector<uint8_t> m_Registers;
    Fifo_T m_Fifo;
};

#endif
