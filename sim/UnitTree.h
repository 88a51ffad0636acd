#ifndef UNITTREE_H
#define UNITTREE_H

#include <string>

// The files of a unit folder, reached only through descriptors opened
// relative to the folder without following links: a link that a program
// left in a kept unit (to a host file, say) is refused, never written
// through, chmod-ed through or removed through.
class CUnitTree
{
public:
    // Takes the folder's descriptor (opened with OpenFolder).
    explicit CUnitTree(int folderFd);
    ~CUnitTree();
    CUnitTree(const CUnitTree&) = delete;
    CUnitTree& operator=(const CUnitTree&) = delete;

    bool MakeFolder(const std::string& path, std::string& error);
    bool WriteFile(const std::string& path, const std::string& bytes, bool executable, std::string& error);
    bool SetMode(const std::string& path, unsigned int mode, std::string& error);
    bool Empty(std::string& error) { return EmptyFolder(m_Fd, error); }
    bool IsEmpty() const;
    bool HoldsFile(const std::string& name) const;

    // A unit path is absolute and has no empty, "." or ".." component.
    static bool ValidPath(const std::string& path, std::string& error);

    // The folder at a host path, or -1 with a reason; a link is refused.
    static int OpenFolder(const std::string& hostPath, std::string& error);

    // Removes a folder and everything below it without following any link.
    static bool RemoveFolder(const std::string& hostPath, std::string& error);

private:
    // Opens the folder holding path's last component, creating the folders
    // on the way when asked; returns -1 with a reason.
    int OpenParent(const std::string& path, bool create, std::string& leaf, std::string& error) const;
    static bool EmptyFolder(int folderFd, std::string& error);

    int m_Fd;
};

#endif
