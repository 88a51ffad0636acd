#include "PingMetaDataFile.h"
#include "PingMetaDataTypes.h"

#include <fcntl.h>

namespace
{
const int c_OpenFlags = O_WRONLY | O_CREAT | O_NONBLOCK;
const int c_OpenMode = 0640;
}
static_assert(c_OpenFlags == 0x841, "records are opened write-only, created if absent, non-blocking");

std::string CPingMetaDataFile::Name(size_t Index)
{
    return "PingMetaData" + std::to_string(Index) + ".txt";
}

// An unset root leaves the files in the working directory.
std::string CPingMetaDataFile::Root(IOSSFactory* pFactory)
{
    const char* pRoot = pFactory->GetEnv("NONPERSISTED_DATABASE_ROOT");
    return pRoot ? pRoot : "";
}

CPingMetaDataFile::CPingMetaDataFile(IOSSFactory* pFactory, const std::string& Path)
    : m_pFactory(pFactory), m_pFile(pFactory->CreateFile(Path.c_str(), c_OpenFlags, c_OpenMode))
{
}

TSQEventCode_T CPingMetaDataFile::GetOpenError() const
{
    return m_pFile ? m_pFile->GetErrorCode() : c_TSQ_Success;
}

TSQEventCode_T CPingMetaDataFile::Write(const char* Text, const char* Origin)
{
    if (m_pFile->WriteStream(Text))
        return c_TSQ_Success;
    m_pFactory->SendEvent(c_PingMetaDataErrorEvent, m_pFile->GetErrorCode(), Origin, "failed to write contents");
    return c_TSQ_MetaDataWriteFailed;
}

void CPingMetaDataFile::CutAtStreamPosition()
{
    m_pFile->Ftruncate(m_pFile->Ftell());
}
