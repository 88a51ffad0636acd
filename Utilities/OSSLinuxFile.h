#ifndef OSSLINUXFILE_H
#define OSSLINUXFILE_H

#include "OSSFile.h"

#include <cstdint>
#include <cstdio>
#include <map>

// IOSSFile on a Linux descriptor, with a stdio stream on the same descriptor
// for the text operations. A write-only open holds a POSIX write lock on the
// whole file so that two processes never write the same file.
class COSSLinuxFile : public IOSSFile
{
public:
    COSSLinuxFile(const char* Name, int flags, int mode);
    ~COSSLinuxFile() override;

    bool Lseek(int offset, int whence) override;
    bool Read(Buffer_Bytes_T* Buffer) override;
    bool Write(const Buffer_Bytes_T* Buffer) override;
    bool Ioctl(unsigned long request, int* argument) override;
    bool ReadStream(UINT8* Data) override;
    bool ReadStream(UINT16* Data) override;
    bool ReadStream(UINT32* Data) override;
    bool ReadStream(int* Data) override;
    bool ReadStream(unsigned long* Data) override;
    bool ReadStream(int* Data, size_t count) override;
    bool ReadStream(double* Data) override;
    bool ReadStream(float* Data) override;
    bool ReadStream(float* Data, size_t count) override;
    bool ReadStream(char* Data) override;
    bool ReadStream(char* Data, const char* Format) override;
    bool ReadStream(short* Data) override;
    bool ReadStream(short* Data, size_t count) override;
    bool ReadStream(bool* Data) override;
    bool WriteStream(const char* Data) override;
    int Poll(short events, int timeout) override;
    int MultiPoll(PollMembers_T* ElementsToPoll, int timeout) override;
    int GetErrorCode() const override;
    int GetFileDescriptor() const override;
    bool Fseek(int offset, int whence) override;
    long Ftell() override;
    int Fsync() override;
    int Ftruncate(long length) override;

    bool Open(int flags, int mode);
    bool Close();
    static const char* GetFileAccess(int flags);
    int CheckForLock();
    bool ApplyLock(int flags);

    // errno number to its symbolic name, for diagnostics.
    static const std::map<int32_t, const char*> s_ErrnoNames;

private:
    int m_FileDescriptor;
    int m_ErrorCode;
    char m_FileName[256];
    FILE* m_pFile;
};

#endif
