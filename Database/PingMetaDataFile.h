#ifndef PINGMETADATAFILE_H
#define PINGMETADATAFILE_H

#include "OSSFactory.h"

#include <memory>
#include <string>

// The text file of a ping metadata record, open for one write. Opening it
// write-only takes a whole-file write lock, so other processes never see a
// half-written record; the lock goes when this object does.
class CPingMetaDataFile
{
public:
    // The record's file name and the directory that holds it.
    static std::string Name(size_t Index);
    static std::string Root(IOSSFactory* pFactory);

    CPingMetaDataFile(IOSSFactory* pFactory, const std::string& Path);

    // False when the factory made no file object; there is nothing to write to.
    bool Exists() const { return m_pFile != nullptr; }
    // The open's result: 0, an errno value, or -140 when another process holds the lock.
    TSQEventCode_T GetOpenError() const;

    // Writes Text; a failure is reported from Origin and gives -142.
    TSQEventCode_T Write(const char* Text, const char* Origin);
    // The open does not truncate, so a shorter text must cut off what an
    // older, longer one left behind.
    void CutAtStreamPosition();

private:
    IOSSFactory* m_pFactory;
    std::unique_ptr<IOSSFile> m_pFile;
};

#endif
