#include "KeptUnit.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace fs = std::filesystem;

namespace
{
// A unit may hold folders made unreadable: they are opened up before removal.
// Links are removed, never followed.
void OpenUp(const fs::path& folder)
{
    std::error_code ec;
    fs::permissions(folder, fs::perms::owner_all, fs::perm_options::add, ec);
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, ec))
        if (entry.is_directory(ec) && !entry.is_symlink(ec))
            OpenUp(entry.path());
}
}

CKeptUnit::CKeptUnit()
{
    const char* tmp = getenv("TMPDIR");
    std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/e2e-unit.XXXXXX";
    if (!mkdtemp(&pattern[0]))
        throw std::runtime_error("cannot make a folder for a kept unit: " + pattern);
    m_Dir = pattern;
}

CKeptUnit::~CKeptUnit()
{
    OpenUp(m_Dir);
    std::error_code ignored;
    fs::remove_all(m_Dir, ignored);
}
