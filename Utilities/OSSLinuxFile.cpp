#include "OSSLinuxFile.h"

#include <poll.h>

#include <cassert>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace
{
// One scan of a value from the stream. Scan_T is what fscanf writes into;
// the result is converted to the caller's type. Nothing matched still counts
// as a read of 0; only end of input is a failure, judged by errno.
template <typename Dest_T, typename Scan_T>
bool ScanValue(FILE* pFile, Dest_T* Data, const char* Format, int& ErrorCode)
{
    assert(Data);
    assert(pFile);
    Scan_T Value = 0;
    if (fscanf(pFile, Format, &Value) != EOF)
    {
        *Data = static_cast<Dest_T>(Value);
        ErrorCode = 0;
        return true;
    }
    ErrorCode = errno;
    return ErrorCode == 0;
}

// An element that hits end of input is left as it was.
template <typename Dest_T, typename Scan_T>
bool ScanArray(FILE* pFile, Dest_T* Data, size_t count, const char* Format, int& ErrorCode)
{
    assert(Data);
    assert(pFile);
    if (count == 0)
        return true;
    for (size_t i = 0; i < count; ++i)
        ScanValue<Dest_T, Scan_T>(pFile, &Data[i], Format, ErrorCode);
    return ErrorCode == 0;
}
}

const std::map<int32_t, const char*> COSSLinuxFile::s_ErrnoNames = {
    {1, "EPERM"},
    {2, "ENOENT"},
    {3, "ESRCH"},
    {4, "EINTR"},
    {5, "EIO"},
    {6, "ENXIO"},
    {7, "E2BIG"},
    {8, "ENOEXEC"},
    {9, "EBADF"},
    {10, "ECHILD"},
    {11, "EAGAIN"},
    {12, "ENOMEM"},
    {13, "EACCES"},
    {14, "EFAULT"},
    {15, "ENOTBLK"},
    {16, "EBUSY"},
    {17, "EEXIST"},
    {18, "EXDEV"},
    {19, "ENODEV"},
    {20, "ENOTDIR"},
    {21, "EISDIR"},
    {22, "EINVAL"},
    {23, "ENFILE"},
    {24, "EMFILE"},
    {25, "ENOTTY"},
    {26, "ETXTBSY"},
    {27, "EFBIG"},
    {28, "ENOSPC"},
    {29, "ESPIPE"},
    {30, "EROFS"},
    {31, "EMLINK"},
    {32, "EPIPE"},
    {33, "EDOM"},
    {34, "ERANGE"},
    {35, "EDEADLK"},
    {36, "ENAMETOOLONG"},
    {37, "ENOLCK"},
    {38, "ENOSYS"},
    {39, "ENOTEMPTY"},
    {40, "ELOOP"},
    {42, "ENOMSG"},
    {43, "EIDRM"},
    {44, "ECHRNG"},
    {45, "EL2NSYNC"},
    {46, "EL3HLT"},
    {47, "EL3RST"},
    {48, "ELNRNG"},
    {49, "EUNATCH"},
    {50, "ENOCSI"},
    {51, "EL2HLT"},
    {52, "EBADE"},
    {53, "EBADR"},
    {54, "EXFULL"},
    {55, "ENOANO"},
    {56, "EBADRQC"},
    {57, "EBADSLT"},
    {35, "EDEADLOCK"},
    {59, "EBFONT"},
    {60, "ENOSTR"},
    {61, "ENODATA"},
    {62, "ETIME"},
    {63, "ENOSR"},
    {64, "ENONET"},
    {65, "ENOPKG"},
    {66, "EREMOTE"},
    {67, "ENOLINK"},
    {68, "EADV"},
    {69, "ESRMNT"},
    {70, "ECOMM"},
    {71, "EPROTO"},
    {72, "EMULTIHOP"},
    {73, "EDOTDOT"},
    {74, "EBADMSG"},
    {75, "EOVERFLOW"},
    {76, "ENOTUNIQ"},
    {77, "EBADFD"},
    {78, "EREMCHG"},
    {79, "ELIBACC"},
    {80, "ELIBBAD"},
    {81, "ELIBSCN"},
    {82, "ELIBMAX"},
    {83, "ELIBEXEC"},
    {84, "EILSEQ"},
    {85, "ERESTART"},
    {86, "ESTRPIPE"},
    {87, "EUSERS"},
    {88, "ENOTSOCK"},
    {89, "EDESTADDRREQ"},
    {90, "EMSGSIZE"},
    {91, "EPROTOTYPE"},
    {92, "ENOPROTOOPT"},
    {93, "EPROTONOSUPPORT"},
    {94, "ESOCKTNOSUPPORT"},
    {95, "EOPNOTSUPP"},
    {96, "EPFNOSUPPORT"},
    {97, "EAFNOSUPPORT"},
    {98, "EADDRINUSE"},
    {99, "EADDRNOTAVAIL"},
    {100, "ENETDOWN"},
    {101, "ENETUNREACH"},
    {102, "ENETRESET"},
    {103, "ECONNABORTED"},
    {104, "ECONNRESET"},
    {105, "ENOBUFS"},
    {106, "EISCONN"},
    {107, "ENOTCONN"},
    {108, "ESHUTDOWN"},
    {109, "ETOOMANYREFS"},
    {110, "ETIMEDOUT"},
    {111, "ECONNREFUSED"},
    {112, "EHOSTDOWN"},
    {113, "EHOSTUNREACH"},
    {114, "EALREADY"},
    {115, "EINPROGRESS"},
    {116, "ESTALE"},
    {117, "EUCLEAN"},
    {118, "ENOTNAM"},
    {119, "ENAVAIL"},
    {120, "EISNAM"},
    {121, "EREMOTEIO"},
    {122, "EDQUOT"},
    {123, "ENOMEDIUM"},
    {124, "EMEDIUMTYPE"},
    {125, "ECANCELED"},
    {126, "ENOKEY"},
    {127, "EKEYEXPIRED"},
    {128, "EKEYREVOKED"},
    {129, "EKEYREJECTED"},
    {130, "EOWNERDEAD"},
    {131, "ENOTRECOVERABLE"},
};

COSSLinuxFile::COSSLinuxFile(const char* Name, int flags, int mode)
    : m_FileDescriptor(-1), m_ErrorCode(0), m_FileName(), m_pFile(nullptr)
{
    assert(Name);
    memcpy(m_FileName, Name, strnlen(Name, sizeof(m_FileName)));
    assert((m_FileName[sizeof(m_FileName) - 1] == 0) && "File name is too long!");
    Open(flags, mode);
}

COSSLinuxFile::~COSSLinuxFile()
{
    Close();
}

bool COSSLinuxFile::Open(int flags, int mode)
{
    m_FileDescriptor = open64(m_FileName, flags, mode);
    if (m_FileDescriptor == -1)
    {
        m_ErrorCode = errno;
        return false;
    }
    // The descriptor stays open on a lock failure; Close() releases it.
    if (CheckForLock() != -1 || m_ErrorCode != 0)
    {
        m_ErrorCode = c_TSQ_FileLocked;
        return false;
    }
    if (!ApplyLock(flags))
        return false;
    m_pFile = fdopen(m_FileDescriptor, GetFileAccess(flags));
    if (!m_pFile)
    {
        m_ErrorCode = errno;
        return false;
    }
    return true;
}

// "rw" is kept as it is: stdio reads only its first letter, so a read-write
// descriptor gets a stream for reading.
const char* COSSLinuxFile::GetFileAccess(int flags)
{
    switch (flags & O_ACCMODE)
    {
    case O_WRONLY:
        return "w";
    case O_RDWR:
        return "rw";
    default:
        return "r";
    }
}

int COSSLinuxFile::CheckForLock()
{
    m_ErrorCode = 0;
    struct flock64 Lock = {};
    Lock.l_type = F_WRLCK;
    Lock.l_whence = SEEK_SET;
    Lock.l_start = 0;
    Lock.l_len = 0;
    Lock.l_pid = -1;
    if (fcntl(m_FileDescriptor, F_GETLK64, &Lock) == -1)
    {
        m_ErrorCode = errno;
        printf("Error in COSSLinuxFile::CheckForLock(F_WRLCK): %d\n", m_ErrorCode);
    }
    if (Lock.l_pid == -1)
    {
        Lock.l_type = F_RDLCK;
        if (fcntl(m_FileDescriptor, F_GETLK64, &Lock) == -1)
        {
            m_ErrorCode = errno;
            printf("Error in COSSLinuxFile::CheckForLock(F_RDLCK): %d\n", m_ErrorCode);
        }
        if (Lock.l_pid == -1)
            return -1;
    }
    printf("%d COSSLinuxFile::CheckForLock() %s locked by %d for %d\n", getpid(), m_FileName, Lock.l_pid, Lock.l_type);
    return Lock.l_pid;
}

// Only write-only opens lock: a read-write open is left unlocked on purpose.
bool COSSLinuxFile::ApplyLock(int flags)
{
    m_ErrorCode = 0;
    if ((flags & O_ACCMODE) != O_WRONLY)
        return true;
    struct flock64 Lock = {};
    Lock.l_type = F_WRLCK;
    Lock.l_whence = SEEK_SET;
    Lock.l_start = 0;
    Lock.l_len = 0;
    if (fcntl(m_FileDescriptor, F_SETLK64, &Lock) == -1)
    {
        m_ErrorCode = errno;
        if (m_ErrorCode == EAGAIN)
        {
            m_ErrorCode = c_TSQ_FileLocked;
            printf("%d: COSSLinuxFile::ApplyLock(%d) locked by %d %s\n", getpid(), flags, Lock.l_pid, m_FileName);
        }
        else
        {
            printf("Error in COSSLinuxFile::ApplyLock(%d): %d\n", flags, m_ErrorCode);
        }
    }
    return m_ErrorCode == 0;
}

bool COSSLinuxFile::Close()
{
    if (m_pFile)
    {
        m_ErrorCode = 0;
        if (fclose(m_pFile) == 0)
        {
            m_pFile = nullptr;
            m_FileDescriptor = -1;
            return m_ErrorCode == 0;
        }
        m_ErrorCode = errno;
    }
    m_pFile = nullptr;
    // Also after a failed fclose: the descriptor is closed once more.
    if (m_FileDescriptor != -1)
        close(m_FileDescriptor);
    m_FileDescriptor = -1;
    return m_ErrorCode == 0;
}

bool COSSLinuxFile::Lseek(int offset, int whence)
{
    if (m_FileDescriptor == -1)
        return false;
    m_ErrorCode = 0;
    if (lseek64(m_FileDescriptor, offset, whence) == -1)
    {
        m_ErrorCode = errno;
        return false;
    }
    return true;
}

bool COSSLinuxFile::Read(Buffer_Bytes_T* Buffer)
{
    assert(Buffer);
    if (m_FileDescriptor == -1)
        return false;
    m_ErrorCode = 0;
    const ssize_t Count = read(m_FileDescriptor, Buffer->data(), Buffer->size());
    if (Count == -1)
    {
        m_ErrorCode = errno;
        return false;
    }
    Buffer->size(static_cast<size_t>(Count));
    return true;
}

bool COSSLinuxFile::Write(const Buffer_Bytes_T* Buffer)
{
    assert(Buffer);
    if (m_FileDescriptor == -1)
        return false;
    m_ErrorCode = 0;
    const ssize_t Count = write(m_FileDescriptor, Buffer->data(), Buffer->size());
    if (Count == -1)
    {
        m_ErrorCode = errno;
        return false;
    }
    Buffer->size(static_cast<size_t>(Count));
    return true;
}

// A failure keeps what ioctl returned, not errno, deliberately.
bool COSSLinuxFile::Ioctl(unsigned long request, int* argument)
{
    if (m_FileDescriptor == -1)
        return false;
    m_ErrorCode = 0;
    const int Result = ioctl(m_FileDescriptor, request, argument);
    if (Result == 0)
        return true;
    m_ErrorCode = Result;
    return false;
}

bool COSSLinuxFile::ReadStream(UINT8* Data)
{
    return ScanValue<UINT8, int>(m_pFile, Data, "%u ", m_ErrorCode);
}

bool COSSLinuxFile::ReadStream(UINT16* Data)
{
    return ScanValue<UINT16, int>(m_pFile, Data, "%u ", m_ErrorCode);
}

bool COSSLinuxFile::ReadStream(UINT32* Data)
{
    return ScanValue<UINT32, int>(m_pFile, Data, "%u ", m_ErrorCode);
}

bool COSSLinuxFile::ReadStream(int* Data)
{
    return ScanValue<int, int>(m_pFile, Data, "%d ", m_ErrorCode);
}

// "%zu" stores a size_t, so the temporary has that width.
bool COSSLinuxFile::ReadStream(unsigned long* Data)
{
    return ScanValue<unsigned long, size_t>(m_pFile, Data, "%zu ", m_ErrorCode);
}

bool COSSLinuxFile::ReadStream(int* Data, size_t count)
{
    return ScanArray<int, int>(m_pFile, Data, count, "%d ", m_ErrorCode);
}

// "%f" stores a float into the first four bytes of the zeroed double, and
// that double is what is stored; kept deliberately.
bool COSSLinuxFile::ReadStream(double* Data)
{
    return ScanValue<double, double>(m_pFile, Data, "%f", m_ErrorCode);
}

bool COSSLinuxFile::ReadStream(float* Data)
{
    return ScanValue<float, double>(m_pFile, Data, "%f", m_ErrorCode);
}

bool COSSLinuxFile::ReadStream(float* Data, size_t count)
{
    return ScanArray<float, double>(m_pFile, Data, count, "%f ", m_ErrorCode);
}

bool COSSLinuxFile::ReadStream(char* Data)
{
    return ScanValue<char, int>(m_pFile, Data, "%d ", m_ErrorCode);
}

bool COSSLinuxFile::ReadStream(char* Data, const char* Format)
{
    assert(Data);
    assert(Format);
    if (!m_pFile)
        return false;
    if (fscanf(m_pFile, Format, Data) == EOF)
    {
        m_ErrorCode = errno;
        return false;
    }
    return true;
}

bool COSSLinuxFile::ReadStream(short* Data)
{
    return ScanValue<short, int>(m_pFile, Data, "%d", m_ErrorCode);
}

bool COSSLinuxFile::ReadStream(short* Data, size_t count)
{
    return ScanArray<short, int>(m_pFile, Data, count, "%d ", m_ErrorCode);
}

bool COSSLinuxFile::ReadStream(bool* Data)
{
    return ScanValue<bool, int>(m_pFile, Data, "%d", m_ErrorCode);
}

bool COSSLinuxFile::WriteStream(const char* Data)
{
    assert(Data);
    if (m_pFile)
    {
        m_ErrorCode = 0;
        if (fputs(Data, m_pFile) == EOF)
            m_ErrorCode = errno;
        if (fflush(m_pFile) == EOF)
            m_ErrorCode = errno;
    }
    return m_ErrorCode == 0;
}

int COSSLinuxFile::Poll(short events, int timeout)
{
    if (m_FileDescriptor == -1)
        return 0;
    m_ErrorCode = 0;
    struct pollfd Entry = {m_FileDescriptor, events, 0};
    const int Result = poll(&Entry, 1, timeout);
    if (Result == -1)
        m_ErrorCode = errno;
    return Result;
}

// Returns the 1-based position of the first ready member, 0 on time-out.
int COSSLinuxFile::MultiPoll(PollMembers_T* ElementsToPoll, int timeout)
{
    assert(ElementsToPoll);
    std::vector<struct pollfd> Entries;
    Entries.reserve(ElementsToPoll->size());
    for (const PollMember_T& Member : *ElementsToPoll)
    {
        const int fd = Member.fd;
        assert((fd != -1) && "bad FileDescriptor specified");
        Entries.push_back({fd, Member.events, 0});
    }
    m_ErrorCode = 0;

    const int Result = poll(Entries.data(), Entries.size(), timeout);
    if (Result == -1)
    {
        m_ErrorCode = errno;
        return -1;
    }
    if (Result == 0 || Entries.empty())
        return Result;
    for (size_t i = 0; i < Entries.size(); ++i)
        if (Entries[i].revents & Entries[i].events)
            return static_cast<int>(i + 1);
    return Result;
}

int COSSLinuxFile::GetErrorCode() const
{
    return m_ErrorCode;
}

int COSSLinuxFile::GetFileDescriptor() const
{
    return m_FileDescriptor;
}

bool COSSLinuxFile::Fseek(int offset, int whence)
{
    if (!m_pFile)
        return false;
    m_ErrorCode = 0;
    if (fseek(m_pFile, offset, whence) == -1)
    {
        m_ErrorCode = errno;
        return false;
    }
    return true;
}

long COSSLinuxFile::Ftell()
{
    if (!m_pFile)
        return -1;
    return ftell(m_pFile);
}

int COSSLinuxFile::Fsync()
{
    if (m_FileDescriptor == -1 || fsync(m_FileDescriptor) == 0)
        return 0;
    return errno;
}

int COSSLinuxFile::Ftruncate(long length)
{
    if (m_FileDescriptor == -1 || ftruncate64(m_FileDescriptor, length) == 0)
        return 0;
    const int Error = errno;
    printf("Error in COSSLinuxFile::Ftruncate(): %d\n", Error);
    return Error;
}
