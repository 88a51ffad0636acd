#ifndef LOWSCANUARTMODEL_H
#define LOWSCANUARTMODEL_H

#include "LowscanModel.h"

// One channel port of the Lowscan FPGA on a serial line: 8-byte register
// frames in, the version answer and ping return packets out.
class CLowscanUartModel : public CLowscanModel
{
public:
    static const size_t c_VersionReply = 1024;

    CLowscanUartModel(const FpgaSetup_T& setup, CFpgaTrace& trace) : CLowscanModel(setup, trace) {}

    long Write(uint8_t* data, size_t count) override;

    // Another channel's port of the same FPGA (a profile line with
    // follow=<this node>): the registers are written here, and a ping sends
    // that channel's packet out of its own port when its period is set.
    void AddPort(CLowscanUartModel* port) { m_Ports.push_back(port); }

private:
    void Frame(const uint8_t* frame);
    void RelayPing(CLowscanUartModel& port);

    std::vector<uint8_t> m_Input;
    std::vector<CLowscanUartModel*> m_Ports;
};

#endif
