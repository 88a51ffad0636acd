#ifndef FPGAMODEL_H
#define FPGAMODEL_H

#include "EchoSimulator.h"
#include "FpgaSetup.h"
#include "FpgaTrace.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

// A simulated FPGA as its device node sees it: bytes written to the node,
// bytes waiting to be read back, driver requests and firmware loads. For an
// SPI node a write may also hand data back in the caller's buffer.
class CFpgaModel
{
public:
    CFpgaModel(const FpgaSetup_T& setup, CFpgaTrace& trace);
    virtual ~CFpgaModel() = default;

    // Returns the count accepted; `data` may be overwritten (ping-read mode).
    virtual long Write(uint8_t* data, size_t count) = 0;
    long Read(uint8_t* out, size_t count);
    bool Readable() const { return !m_Reply.empty(); }
    virtual int Ioctl(unsigned long request, void* argument);
    void LoadFirmware(const std::string& bytes);

    // Version byte pair as the register reads it: blank FPGA 255.
    int Major() const;
    int Minor() const { return m_Loaded ? m_Minor : 255; }
    const FpgaSetup_T& Setup() const { return m_Setup; }

    // Models are shared between the program's thread and a UART server thread.
    std::mutex& Mutex() { return m_Mutex; }

    void Trace(const std::string& text) { m_Trace.Line(m_Name, text); }

    static std::unique_ptr<CFpgaModel> Create(const FpgaSetup_T& setup, CFpgaTrace& trace);

protected:
    virtual const char* Family() const = 0;
    void Reply(const uint8_t* data, size_t count);

    FpgaSetup_T m_Setup;
    CEchoSimulator m_Echo;
    unsigned int m_Pings = 0;

private:
    CFpgaTrace& m_Trace;
    std::string m_Name;
    std::string m_Reply;
    bool m_Loaded = false;
    int m_Major = 255;
    int m_Minor = 255;
    std::mutex m_Mutex;
};

#endif
