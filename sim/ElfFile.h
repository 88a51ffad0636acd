#ifndef ELFFILE_H
#define ELFFILE_H

#include <string>
#include <vector>

// The shared libraries a little-endian ELF program names (its DT_NEEDED
// entries), read from the program headers and the dynamic section alone,
// so a large program costs a few small reads.
class CElfFile
{
public:
    // A program without a dynamic section needs nothing. False with a
    // reason for a file that is not a readable little-endian ELF file.
    static bool NeededLibraries(const std::string& path, std::vector<std::string>& names, std::string& error);
};

#endif
