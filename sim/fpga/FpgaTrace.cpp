#include "FpgaTrace.h"

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

CFpgaTrace::CFpgaTrace(const std::string& path) : m_Path(path) {}

void CFpgaTrace::Line(const std::string& device, const std::string& text)
{
    const std::string line = device + " " + text + "\n";
    std::lock_guard<std::mutex> lock(m_Mutex);
    if (m_Path.empty())
    {
        m_Memory += line;
        return;
    }
    // Opened per line so that a crash of the program under test loses nothing.
    const int fd = ::open(m_Path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0)
        return;
    size_t done = 0;
    while (done < line.size())
    {
        const ssize_t n = ::write(fd, line.data() + done, line.size() - done);
        if (n <= 0)
            break;
        done += static_cast<size_t>(n);
    }
    ::close(fd);
}

std::string CFpgaTrace::Text() const
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Memory;
}

std::string CFpgaTrace::Hex(const uint8_t* data, size_t count, size_t maxBytes)
{
    std::string text;
    char byte[4];
    for (size_t i = 0; i < count && i < maxBytes; ++i)
    {
        snprintf(byte, sizeof byte, "%02x", data[i]);
        if (!text.empty())
            text += ' ';
        text += byte;
    }
    if (count > maxBytes)
        text += " ... (" + std::to_string(count) + " bytes)";
    return text;
}
