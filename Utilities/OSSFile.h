#ifndef OSSFILE_H
#define OSSFILE_H

#include "ByteBuffer.h"
#include "TSQEventCodes.h"

#include <cstddef>
#include <vector>

// One descriptor to watch in MultiPoll, with the poll event bits wanted.
struct PollMember_T
{
    int32_t fd;
    short events;
};
typedef std::vector<PollMember_T> PollMembers_T;

// One open file, device node or pipe. Failures come back as false or a
// count, with the reason kept for GetErrorCode().
class IOSSFile
{
public:
    virtual ~IOSSFile() {}

    virtual bool Lseek(int offset, int whence) = 0;
    virtual bool Read(Buffer_Bytes_T* Buffer) = 0;
    virtual bool Write(const Buffer_Bytes_T* Buffer) = 0;
    virtual bool Ioctl(unsigned long request, int* argument) = 0;
    virtual bool ReadStream(UINT8* Data) = 0;
    virtual bool ReadStream(UINT16* Data) = 0;
    virtual bool ReadStream(UINT32* Data) = 0;
    virtual bool ReadStream(int* Data) = 0;
    virtual bool ReadStream(unsigned long* Data) = 0;
    virtual bool ReadStream(int* Data, size_t count) = 0;
    virtual bool ReadStream(double* Data) = 0;
    virtual bool ReadStream(float* Data) = 0;
    virtual bool ReadStream(float* Data, size_t count) = 0;
    virtual bool ReadStream(char* Data) = 0;
    virtual bool ReadStream(char* Data, const char* Format) = 0;
    virtual bool ReadStream(short* Data) = 0;
    virtual bool ReadStream(short* Data, size_t count) = 0;
    virtual bool ReadStream(bool* Data) = 0;
    virtual bool WriteStream(const char* Data) = 0;
    virtual int Poll(short events, int timeout) = 0;
    virtual int MultiPoll(PollMembers_T* ElementsToPoll, int timeout) = 0;
    virtual int GetErrorCode() const = 0;
    virtual int GetFileDescriptor() const = 0;
    virtual bool Fseek(int offset, int whence) = 0;
    virtual long Ftell() = 0;
    virtual int Fsync() = 0;
    virtual int Ftruncate(long length) = 0;
};

#endif
