#include "UnitTree.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace
{
const int c_DirFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

std::vector<std::string> Components(const std::string& path)
{
    std::vector<std::string> parts;
    size_t start = 1;
    while (start <= path.size())
    {
        const size_t end = path.find('/', start);
        parts.push_back(path.substr(start, end == std::string::npos ? std::string::npos : end - start));
        if (end == std::string::npos)
            break;
        start = end + 1;
    }
    return parts;
}

bool IsLink(int at, const std::string& name)
{
    struct stat st;
    return fstatat(at, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(st.st_mode);
}

std::string Why(int at, const std::string& name, const std::string& shown)
{
    if (IsLink(at, name))
        return shown + " is a symbolic link; links are never followed";
    return shown + ": " + strerror(errno);
}

// A folder below `at`; one the unit made unreadable is opened up first, as
// only its owner could have set that.
int OpenChild(int at, const std::string& name)
{
    int fd = openat(at, name.c_str(), c_DirFlags);
    if (fd < 0 && errno == EACCES && fchmodat(at, name.c_str(), 0700, 0) == 0)
        fd = openat(at, name.c_str(), c_DirFlags);
    return fd;
}

std::vector<std::string> Names(int folderFd)
{
    std::vector<std::string> names;
    const int fd = fcntl(folderFd, F_DUPFD_CLOEXEC, 0);
    DIR* dir = fd < 0 ? nullptr : fdopendir(fd);
    if (!dir)
    {
        if (fd >= 0)
            close(fd);
        return names;
    }
    // seek to the start: the descriptor may have been read before
    rewinddir(dir);
    while (const dirent* entry = readdir(dir))
        if (strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0)
            names.push_back(entry->d_name);
    closedir(dir);
    return names;
}

bool RemoveEntry(int at, const std::string& name, bool (*empty)(int, std::string&), std::string& error)
{
    struct stat st;
    if (fstatat(at, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0)
    {
        error = "cannot look at " + name + ": " + strerror(errno);
        return false;
    }
    if (S_ISDIR(st.st_mode))
    {
        const int fd = OpenChild(at, name);
        if (fd < 0)
        {
            error = Why(at, name, name);
            return false;
        }
        // A folder the unit made read-only still has to go.
        fchmod(fd, (st.st_mode & 07777) | 0700);
        const bool emptied = empty(fd, error);
        close(fd);
        if (!emptied)
            return false;
    }
    if (unlinkat(at, name.c_str(), S_ISDIR(st.st_mode) ? AT_REMOVEDIR : 0) != 0)
    {
        error = "cannot remove " + name + ": " + strerror(errno);
        return false;
    }
    return true;
}
}

CUnitTree::CUnitTree(int folderFd) : m_Fd(folderFd) {}

CUnitTree::~CUnitTree()
{
    if (m_Fd >= 0)
        close(m_Fd);
}

bool CUnitTree::ValidPath(const std::string& path, std::string& error)
{
    if (path.empty() || path[0] != '/')
    {
        error = "'" + path + "' is not an absolute path";
        return false;
    }
    for (const std::string& part : Components(path))
        if (part.empty() || part == "." || part == "..")
        {
            error = "'" + path + "' has an empty, '.' or '..' component";
            return false;
        }
    return true;
}

int CUnitTree::OpenFolder(const std::string& hostPath, std::string& error)
{
    const int fd = open(hostPath.c_str(), c_DirFlags);
    if (fd < 0)
    {
        struct stat st;
        if (lstat(hostPath.c_str(), &st) == 0 && S_ISLNK(st.st_mode))
            error = hostPath + " is a symbolic link";
        else
            error = hostPath + ": " + strerror(errno);
    }
    return fd;
}

int CUnitTree::OpenParent(const std::string& path, bool create, std::string& leaf, std::string& error) const
{
    if (!ValidPath(path, error))
        return -1;
    const std::vector<std::string> parts = Components(path);
    int fd = fcntl(m_Fd, F_DUPFD_CLOEXEC, 0);
    std::string shown;
    for (size_t i = 0; fd >= 0 && i + 1 < parts.size(); ++i)
    {
        shown += "/" + parts[i];
        if (create && mkdirat(fd, parts[i].c_str(), 0755) != 0 && errno != EEXIST)
        {
            error = "cannot make " + shown + ": " + strerror(errno);
            close(fd);
            return -1;
        }
        const int next = openat(fd, parts[i].c_str(), c_DirFlags);
        if (next < 0)
            error = Why(fd, parts[i], shown);
        close(fd);
        fd = next;
    }
    leaf = parts.back();
    return fd;
}

bool CUnitTree::MakeFolder(const std::string& path, std::string& error)
{
    std::string leaf;
    const int parent = OpenParent(path, true, leaf, error);
    if (parent < 0)
        return false;
    bool ok = mkdirat(parent, leaf.c_str(), 0755) == 0 || errno == EEXIST;
    if (ok)
    {
        const int fd = openat(parent, leaf.c_str(), c_DirFlags);
        ok = fd >= 0;
        if (ok)
            close(fd);
    }
    if (!ok)
        error = Why(parent, leaf, path);
    close(parent);
    return ok;
}

bool CUnitTree::WriteFile(const std::string& path, const std::string& bytes, bool executable, std::string& error)
{
    std::string leaf;
    const int parent = OpenParent(path, true, leaf, error);
    if (parent < 0)
        return false;
    const int fd = openat(parent, leaf.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0)
    {
        error = Why(parent, leaf, path);
        close(parent);
        return false;
    }
    close(parent);
    size_t done = 0;
    while (done < bytes.size())
    {
        const ssize_t n = write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        done += static_cast<size_t>(n);
    }
    const bool ok = done == bytes.size() && fchmod(fd, executable ? 0755 : 0644) == 0;
    if (!ok)
        error = "cannot write " + path + ": " + strerror(errno);
    close(fd);
    return ok;
}

bool CUnitTree::SetMode(const std::string& path, unsigned int mode, std::string& error)
{
    std::string leaf;
    const int parent = OpenParent(path, false, leaf, error);
    if (parent < 0)
        return false;
    // Checked first: a chmod would follow a link.
    const bool ok = !IsLink(parent, leaf) && fchmodat(parent, leaf.c_str(), mode, 0) == 0;
    if (!ok)
        error = Why(parent, leaf, path);
    close(parent);
    return ok;
}

bool CUnitTree::IsEmpty() const
{
    return Names(m_Fd).empty();
}

bool CUnitTree::HoldsFile(const std::string& name) const
{
    struct stat st;
    return fstatat(m_Fd, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(st.st_mode);
}

bool CUnitTree::EmptyFolder(int folderFd, std::string& error)
{
    for (const std::string& name : Names(folderFd))
        if (!RemoveEntry(folderFd, name, &CUnitTree::EmptyFolder, error))
            return false;
    return true;
}

bool CUnitTree::RemoveFolder(const std::string& hostPath, std::string& error)
{
    const size_t slash = hostPath.find_last_of('/');
    const std::string parentPath = slash == std::string::npos ? "." : slash == 0 ? "/" : hostPath.substr(0, slash);
    const std::string leaf = slash == std::string::npos ? hostPath : hostPath.substr(slash + 1);
    const int parent = open(parentPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (parent < 0)
    {
        error = parentPath + ": " + strerror(errno);
        return false;
    }
    const bool ok = RemoveEntry(parent, leaf, &CUnitTree::EmptyFolder, error);
    close(parent);
    return ok;
}
