#ifndef LOWSCANMODEL_H
#define LOWSCANMODEL_H

#include "FpgaModel.h"

#include <map>
#include <vector>

// The Lowscan FPGA's registers (32-bit values at 16-bit addresses) and its
// ping return packet: two leading bytes, blocks of 128 sample bytes each
// followed by two 16-bit values (12-bit number in the top bits), the samples
// of a partial block, one trailing byte. The links differ (UART frames or
// SPI requests); the derived models carry them.
class CLowscanModel : public CFpgaModel
{
public:
    CLowscanModel(const FpgaSetup_T& setup, CFpgaTrace& trace) : CFpgaModel(setup, trace) {}

    uint32_t Register(uint16_t address) const;
    // Samples a ping of `channel` returns: the first sample count of its
    // sampling register, 1024 when unset, at most 1024.
    unsigned int ProgrammedSamples(unsigned int channel) const;
    static size_t PacketLength(unsigned int samples) { return 132 * (samples / 128) + 3 + samples % 128; }

protected:
    const char* Family() const override { return "lowscan"; }
    void SetRegister(uint16_t address, uint32_t value);
    std::vector<uint8_t> PingPacket(unsigned int channel, unsigned int samples, unsigned int pingNumber) const;

private:
    std::map<uint16_t, uint32_t> m_Registers;
};

#endif
