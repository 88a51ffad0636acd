#ifndef LOWSCANSPIMODEL_H
#define LOWSCANSPIMODEL_H

#include "LowscanModel.h"

// The Lowscan FPGA behind an SPI node: each write is one request whose first
// byte says what it is (ping, version, register block, ADC, ping data).
class CLowscanSpiModel : public CLowscanModel
{
public:
    CLowscanSpiModel(const FpgaSetup_T& setup, CFpgaTrace& trace) : CLowscanModel(setup, trace) {}

    long Write(uint8_t* data, size_t count) override;
    int Ioctl(unsigned long request, void* argument) override;

private:
    void Answer(const std::vector<uint8_t>& reply, const std::string& text);

    bool m_Pinged = false;
    bool m_Interrupt = false;
};

#endif
