#include "UnitProfile.h"

#include "FpgaSetup.h"
#include "UnitTree.h"

#include <fstream>
#include <sstream>

const char* const CUnitProfile::c_SerialFile = "/corvane/Config/SerialNumber";

namespace
{
const int c_MaxIncludeDepth = 8;

bool SplitWord(const std::string& text, std::string& word, std::string& rest)
{
    const size_t start = text.find_first_not_of(" \t");
    if (start == std::string::npos)
        return false;
    const size_t end = text.find_first_of(" \t", start);
    word = text.substr(start, end == std::string::npos ? std::string::npos : end - start);
    rest = end == std::string::npos ? std::string() : text.substr(end + 1);
    return true;
}

int HexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}
}

bool CUnitProfile::Unescape(const std::string& text, std::string& bytes)
{
    bytes.clear();
    for (size_t i = 0; i < text.size(); ++i)
    {
        if (text[i] != '\\')
        {
            bytes += text[i];
            continue;
        }
        if (++i == text.size())
            return false;
        switch (text[i])
        {
        case 'n':
            bytes += '\n';
            break;
        case 't':
            bytes += '\t';
            break;
        case 'r':
            bytes += '\r';
            break;
        case '0':
            bytes += '\0';
            break;
        case 's':
            bytes += ' ';
            break;
        case '\\':
            bytes += '\\';
            break;
        case 'x':
        {
            const int high = i + 1 < text.size() ? HexValue(text[i + 1]) : -1;
            const int low = i + 2 < text.size() ? HexValue(text[i + 2]) : -1;
            if (high < 0 || low < 0)
                return false;
            bytes += static_cast<char>(high * 16 + low);
            i += 2;
            break;
        }
        default:
            return false;
        }
    }
    return true;
}

bool CUnitProfile::ParseMode(const std::string& text, unsigned int& mode)
{
    if (text.empty() || text.size() > 4 || text.find_first_not_of("01234567") != std::string::npos)
        return false;
    mode = static_cast<unsigned int>(std::stoul(text, nullptr, 8));
    return true;
}

void CUnitProfile::Add(EntryKind_T kind, const std::string& path, const std::string& content, unsigned int mode)
{
    m_Entries.push_back(Entry_T{kind, path, content, mode});
}

bool CUnitProfile::ParseLine(const std::string& rawLine, const std::string& unitsDir, std::string& error, int depth)
{
    std::string line = rawLine;
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    std::string keyword, rest;
    if (!SplitWord(line, keyword, rest) || keyword[0] == '#')
        return true;

    if (keyword == "include")
    {
        std::string name, extra;
        if (!SplitWord(rest, name, extra))
        {
            error = "include needs a profile name";
            return false;
        }
        return LoadFile(unitsDir, name, error, depth + 1);
    }

    if (keyword == "fpga")
    {
        FpgaSetup_T setup;
        if (!FpgaSetup_T::Parse(rest, setup, error) || !CUnitTree::ValidPath(setup.path, error) ||
            (!setup.follow.empty() && !CUnitTree::ValidPath(setup.follow, error)))
            return false;
        for (auto it = m_Fpgas.begin(); it != m_Fpgas.end();)
            it = it->first == setup.path ? m_Fpgas.erase(it) : it + 1;
        const size_t start = rest.find_first_not_of(" \t");
        m_Fpgas.emplace_back(setup.path, rest.substr(start));
        return true;
    }

    std::string path, content;
    if (!SplitWord(rest, path, content))
    {
        error = "'" + keyword + "' needs an absolute path";
        return false;
    }
    if (!CUnitTree::ValidPath(path, error))
        return false;
    if (keyword == "file" || keyword == "exec")
    {
        std::string bytes;
        if (!Unescape(content, bytes))
        {
            error = "bad escape in the content of " + path;
            return false;
        }
        Add(keyword == "file" ? ENTRY_FILE : ENTRY_EXEC, path, bytes);
    }
    else if (keyword == "dir" || keyword == "device" || keyword == "remove")
    {
        Add(keyword == "dir" ? ENTRY_DIR : keyword == "device" ? ENTRY_DEVICE : ENTRY_REMOVE, path);
    }
    else if (keyword == "mode")
    {
        unsigned int mode = 0;
        std::string modeText, extra;
        if (!SplitWord(content, modeText, extra) || !ParseMode(modeText, mode))
        {
            error = "mode needs an octal value for " + path;
            return false;
        }
        Add(ENTRY_MODE, path, std::string(), mode);
    }
    else
    {
        error = "unknown keyword '" + keyword + "'";
        return false;
    }
    return true;
}

bool CUnitProfile::LoadFile(const std::string& unitsDir, const std::string& name, std::string& error, int depth)
{
    if (depth > c_MaxIncludeDepth)
    {
        error = "profiles include each other too deeply at " + name;
        return false;
    }
    const std::string path = name.find('/') != std::string::npos ? name : unitsDir + "/" + name + ".unit";
    std::ifstream in(path);
    if (!in)
    {
        error = "cannot read profile " + path;
        return false;
    }
    std::string line;
    int lineNo = 0;
    while (std::getline(in, line))
    {
        ++lineNo;
        // The first comment of the top profile describes the unit for the profile list.
        if (depth == 0 && m_Description.empty() && line.rfind("# ", 0) == 0)
            m_Description = line.substr(2);
        if (!ParseLine(line, unitsDir, error, depth))
        {
            std::ostringstream where;
            where << path << ":" << lineNo << ": ";
            error = where.str() + error;
            return false;
        }
    }
    return true;
}

bool CUnitProfile::Load(const std::string& unitsDir, const std::string& name, std::string& error)
{
    return LoadFile(unitsDir, name, error, 0);
}

std::vector<CUnitProfile::Entry_T> CUnitProfile::Resolved() const
{
    // A mode applies to whatever ends up at its path, so it stays beside it; a
    // removal takes everything at and below its path; any other entry replaces
    // the earlier entries of its own path.
    std::vector<Entry_T> result;
    for (const Entry_T& entry : m_Entries)
    {
        const bool removal = entry.kind == ENTRY_REMOVE;
        if (entry.kind != ENTRY_MODE)
        {
            std::vector<Entry_T> kept;
            for (const Entry_T& old : result)
            {
                const bool below = removal && old.path.compare(0, entry.path.size() + 1, entry.path + "/") == 0;
                if (old.path != entry.path && !below)
                    kept.push_back(old);
            }
            result.swap(kept);
        }
        if (!removal)
            result.push_back(entry);
    }
    return result;
}

std::vector<std::string> CUnitProfile::Fpgas() const
{
    std::vector<std::string> lines;
    for (const auto& fpga : m_Fpgas)
        lines.push_back(fpga.second);
    return lines;
}

bool CUnitProfile::AddFpgaOptions(const std::string& options, std::string& error)
{
    if (m_Fpgas.empty())
    {
        error = "the unit has no simulated FPGA";
        return false;
    }
    std::istringstream in(options);
    std::string words;
    for (std::string word; in >> word;)
        words += " " + word;
    std::vector<std::pair<std::string, std::string>> amended;
    for (const auto& fpga : m_Fpgas)
    {
        FpgaSetup_T setup;
        const std::string line = fpga.second + words;
        if (!FpgaSetup_T::Parse(line, setup, error) ||
            (!setup.follow.empty() && !CUnitTree::ValidPath(setup.follow, error)))
            return false;
        amended.emplace_back(fpga.first, line);
    }
    m_Fpgas.swap(amended);
    return true;
}
