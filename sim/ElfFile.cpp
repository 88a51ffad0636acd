#include "ElfFile.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace
{
const uint32_t c_Load = 1, c_Dynamic = 2;                                       // program header types
const uint64_t c_Null = 0, c_Needed = 1, c_StringTable = 5, c_StringSize = 10;  // dynamic tags
const size_t c_MaxTable = 16u << 20;                                            // more than any real table

uint64_t Little(const std::string& bytes, size_t at, size_t size)
{
    uint64_t value = 0;
    for (size_t i = size; i-- > 0;)
        value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
    return value;
}

class CReader
{
public:
    explicit CReader(const std::string& path) : m_Fd(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
    ~CReader()
    {
        if (m_Fd >= 0)
            close(m_Fd);
    }
    CReader(const CReader&) = delete;
    CReader& operator=(const CReader&) = delete;

    bool Opened() const { return m_Fd >= 0; }
    // Exactly `size` bytes at `offset`, or false.
    bool Read(uint64_t offset, uint64_t size, std::string& bytes) const
    {
        if (size > c_MaxTable || offset > static_cast<uint64_t>(INT64_MAX))
            return false;
        bytes.assign(static_cast<size_t>(size), '\0');
        size_t done = 0;
        while (done < bytes.size())
        {
            const ssize_t n = pread(m_Fd, &bytes[done], bytes.size() - done, static_cast<off_t>(offset + done));
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                return false;
            done += static_cast<size_t>(n);
        }
        return true;
    }

private:
    int m_Fd;
};

struct Segment_T
{
    uint32_t type;
    uint64_t offset, address, fileSize;
};
}

namespace
{
// The program headers; false when the file is not a little-endian ELF file.
bool ReadSegments(const CReader& file, bool& wide, std::vector<Segment_T>& segments, std::string& why)
{
    std::string header, table;
    if (!file.Read(0, 52, header) || header.compare(0, 4,
                                                    "\x7f"
                                                    "ELF") != 0)
    {
        why = "is not an ELF file";
        return false;
    }
    wide = header[4] == 2;
    if ((header[4] != 1 && !wide) || header[5] != 1)
    {
        why = header[5] == 2 ? "is a big-endian ELF file" : "is an ELF file of an unknown kind";
        return false;
    }
    const size_t word = wide ? 8 : 4;
    if (wide && !file.Read(0, 64, header))
        header.clear();
    const uint64_t tableAt = header.empty() ? 0 : Little(header, wide ? 32 : 28, word);
    const size_t entrySize = header.empty() ? 0 : Little(header, wide ? 54 : 42, 2);
    const size_t count = header.empty() ? 0 : Little(header, wide ? 56 : 44, 2);
    if (header.empty() || entrySize < (wide ? 56u : 32u) || !file.Read(tableAt, entrySize * count, table))
    {
        why = "has program headers that cannot be read";
        return false;
    }
    for (size_t at = 0; at < table.size(); at += entrySize)
        segments.push_back(Segment_T{static_cast<uint32_t>(Little(table, at, 4)), Little(table, at + word, word),
                                     Little(table, at + 2 * word, word), Little(table, at + 4 * word, word)});
    return true;
}
}

bool CElfFile::NeededLibraries(const std::string& path, std::vector<std::string>& names, std::string& error)
{
    names.clear();
    CReader file(path);
    bool wide = false;
    std::vector<Segment_T> segments;
    std::string why, dynamic, text;
    if (!file.Opened())
        why = std::string("cannot be opened: ") + strerror(errno);
    else if (!ReadSegments(file, wide, segments, why))
        ;
    else
    {
        const size_t word = wide ? 8 : 4;
        std::vector<uint64_t> needed;
        uint64_t strings = 0, stringSize = 0;
        for (const Segment_T& segment : segments)
            if (segment.type == c_Dynamic && !file.Read(segment.offset, segment.fileSize, dynamic))
                why = "has a dynamic section that cannot be read";
        for (size_t at = 0; at + 2 * word <= dynamic.size(); at += 2 * word)
        {
            const uint64_t tag = Little(dynamic, at, word), value = Little(dynamic, at + word, word);
            if (tag == c_Null)
                break;
            if (tag == c_Needed)
                needed.push_back(value);
            else if (tag == c_StringTable)
                strings = value;
            else if (tag == c_StringSize)
                stringSize = value;
        }
        // The string table is known by its address; the loaded segment holding it says where it is in the file.
        const Segment_T* holder = nullptr;
        for (const Segment_T& segment : segments)
            if (segment.type == c_Load && strings >= segment.address && strings - segment.address < segment.fileSize &&
                stringSize <= segment.fileSize - (strings - segment.address))
                holder = &segment;
        if (!needed.empty() && (!holder || !file.Read(holder->offset + (strings - holder->address), stringSize, text)))
            why = "has a dynamic string table that cannot be read";
        for (size_t i = 0; i < needed.size() && why.empty(); ++i)
        {
            const size_t at = needed[i] < text.size() ? static_cast<size_t>(needed[i]) : text.size();
            const size_t end = text.find('\0', at);
            if (end == std::string::npos)
                why = "names a library outside its dynamic string table";
            else
                names.push_back(text.substr(at, end - at));
        }
    }
    if (why.empty())
        return true;
    names.clear();
    error = path + " " + why;
    return false;
}
