#ifndef FPGATRACE_H
#define FPGATRACE_H

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>

// A readable log of everything a simulated FPGA saw, one line an event,
// each line starting with the device's short name. Kept in memory when no
// file is given (model tests read it back with Text()).
class CFpgaTrace
{
public:
    explicit CFpgaTrace(const std::string& path = std::string());

    void Line(const std::string& device, const std::string& text);
    std::string Text() const;

    // "43 53 12 00"; at most maxBytes shown, then "... (N bytes)".
    static std::string Hex(const uint8_t* data, size_t count, size_t maxBytes = 16);

private:
    std::string m_Path;
    std::string m_Memory;
    mutable std::mutex m_Mutex;
};

#endif
