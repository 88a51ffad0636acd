#include "OSSLinuxFactory.h"

#include "OSSLinuxFile.h"
#include "OSSLinuxNetwork.h"

#include <dirent.h>
#include <sys/stat.h>

#include <cassert>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{
// The command's exit status is deliberately ignored: only a shell that could
// not be started counts as a failure.
TSQEventCode_T RunShellCommand(const char* Command)
{
    if (system(Command) < 0)
        return c_TSQ_ShellNotStarted;
    return c_TSQ_Success;
}

// The thread calls report failure with a positive number, so every outcome
// passes here as success; kept that way deliberately.
TSQEventCode_T ThreadResult(int Result)
{
    return Result < 0 ? c_TSQ_ThreadCallFailed : c_TSQ_Success;
}
}

COSSLinuxFactory::COSSLinuxFactory() : m_TaskName("NoName"), m_pDBErrorStatusMessage(nullptr) {}

COSSLinuxFactory::~COSSLinuxFactory() {}

void COSSLinuxFactory::SetTaskName(const std::string& Name)
{
    m_TaskName = Name;
}

std::string COSSLinuxFactory::GetTaskName()
{
    return m_TaskName;
}

void COSSLinuxFactory::SetDBErrorStatusMessageInterface(IDatabaseErrorStatusMessage* pInterface)
{
    m_pDBErrorStatusMessage = pInterface;
}

IOSSFile* COSSLinuxFactory::CreatePipe(const char* Name, int flags)
{
    assert(Name);
    return new COSSLinuxFile(Name, flags, 0);
}

// Returned even when the open failed: the caller looks at it and deletes it.
IOSSFile* COSSLinuxFactory::CreateFile(const char* Name, int flags, int mode)
{
    assert(Name);
    return new COSSLinuxFile(Name, flags, mode);
}

IOSSNetwork* COSSLinuxFactory::CreateSocket(int domain, int type, int protocol, NetworkInterface_T Interface)
{
    return new COSSLinuxNetwork(domain, type, protocol, Interface);
}

IOSSNotify* COSSLinuxFactory::CreateNotify()
{
    return nullptr;
}

const char* COSSLinuxFactory::GetEnv(const char* Name)
{
    assert(Name);
    return getenv(Name);
}

TSQEventCode_T COSSLinuxFactory::SetEnv(const char* Name, const char* Value, bool overwrite)
{
    assert(Name);
    assert(Value);
    if (setenv(Name, Value, overwrite ? 1 : 0) != 0)
        return errno;
    return c_TSQ_Success;
}

TSQEventCode_T COSSLinuxFactory::Makedir(const char* Name, mode_t mode)
{
    assert(Name);
    if (mkdir(Name, mode) != 0)
        return errno;
    return c_TSQ_Success;
}

// The command buffers have no bounds test: callers keep their paths short.
TSQEventCode_T COSSLinuxFactory::RemoveDirs(const char* Name, bool recursive)
{
    assert(Name);
    char Command[256] = {};
    strcat(Command, recursive ? "rm -rf " : "rmdir ");
    strcat(Command, Name);
    return RunShellCommand(Command);
}

TSQEventCode_T COSSLinuxFactory::CopyDirs(const char* From, const char* To)
{
    assert(From);
    assert(To);
    char Command[256] = {};
    strcat(Command, "cp -rp ");
    strcat(Command, From);
    strcat(Command, "/* ");
    strcat(Command, To);
    return RunShellCommand(Command);
}

TSQEventCode_T COSSLinuxFactory::CreateFullPath(const char* FullPath)
{
    assert(FullPath);
    char Command[256] = {};
    strcat(Command, "mkdir -p ");
    strcat(Command, FullPath);
    return RunShellCommand(Command);
}

TSQEventCode_T COSSLinuxFactory::CopyFile(const char* From, const char* To, BackGroundCopy_T Background)
{
    assert(From);
    assert(To);
    char Command[512] = {};
    strcat(Command, "cp -f ");
    strcat(Command, From);
    strcat(Command, " ");
    strcat(Command, To);
    if (Background == BACKGROUND_COPY)
        strcat(Command, " &");
    return RunShellCommand(Command);
}

TSQEventCode_T COSSLinuxFactory::MoveFile(const char* From, const char* To)
{
    assert(From);
    assert(To);
    char Command[512] = {};
    strcat(Command, "mv -f ");
    strcat(Command, From);
    strcat(Command, " ");
    strcat(Command, To);
    return RunShellCommand(Command);
}

// Only a regular file whose whole name matches counts.
bool COSSLinuxFactory::CheckForFile(const char* FullPath, const char* FileName)
{
    assert(FullPath);
    assert(FileName);
    assert((FileName[0] != '/') &&
           "FileName should not include a leading slash, that could be the end of the FullPath");
    DIR* pDir = opendir(FullPath);
    if (!pDir)
        return false;
    bool Found = false;
    for (struct dirent* pEntry = readdir(pDir); pEntry && !Found; pEntry = readdir(pDir))
        Found = pEntry->d_type == DT_REG && strcmp(pEntry->d_name, FileName) == 0;
    if (closedir(pDir) != 0)
        assert(0 && "closedir returned failure!");
    return Found;
}

bool COSSLinuxFactory::CheckForDir(const char* FullPath)
{
    assert(FullPath);
    DIR* pDir = opendir(FullPath);
    if (!pDir)
    {
        printf("COSSLinuxFactory::CheckForDir: %s::%s ", FullPath, strerror(errno));
        return false;
    }
    if (closedir(pDir) != 0)
        assert(0 && "closedir returned failure!");
    return true;
}

TSQEventCode_T COSSLinuxFactory::CreateSoftLink(const char* Target, const char* Link)
{
    assert(Target);
    assert(Link);
    char Command[512] = {};
    strcat(Command, "ln -s ");
    strcat(Command, Target);
    strcat(Command, " ");
    strcat(Command, Link);
    return RunShellCommand(Command);
}

TSQEventCode_T COSSLinuxFactory::RemoveFiles(const char* Path, const char* Name)
{
    assert(Name);
    assert(Path);
    char Command[256] = {};
    strcat(Command, "rm -rf ");
    strcat(Command, Path);
    strcat(Command, "/");
    strcat(Command, Name);
    return RunShellCommand(Command);
}

TSQEventCode_T COSSLinuxFactory::Sync()
{
    return RunShellCommand("sync");
}

// No event service on this platform.
TSQEventCode_T COSSLinuxFactory::SendEvent(int, int, const char*, const char*)
{
    return c_TSQ_Success;
}

TSQEventCode_T COSSLinuxFactory::CreateThread(pthread_t* pThread, const pthread_attr_t* pAttributes,
                                              ThreadStartRoutine_T StartRoutine, void* pArgument)
{
    return ThreadResult(pthread_create(pThread, pAttributes, StartRoutine, pArgument));
}

TSQEventCode_T COSSLinuxFactory::JoinThread(pthread_t Thread, void** ppResult)
{
    return ThreadResult(pthread_join(Thread, ppResult));
}

TSQEventCode_T COSSLinuxFactory::DetachThread(pthread_t Thread)
{
    return ThreadResult(pthread_detach(Thread));
}

TSQEventCode_T COSSLinuxFactory::InitThreadAttributes(pthread_attr_t* pAttributes)
{
    return ThreadResult(pthread_attr_init(pAttributes));
}

// No error-handler service on this platform.
TSQEventCode_T COSSLinuxFactory::SendAckToErrorHandler(const char*)
{
    return c_TSQ_Success;
}

// A missing file reads as size 0, the same as an empty one.
UINT32 COSSLinuxFactory::GetFileSize(const char* file)
{
    struct stat64 Status;
    if (stat64(file, &Status) == 0)
        return static_cast<UINT32>(Status.st_size);
    SendEvent(6, errno, "COSSLinuxFactory::GetFileSize", file);
    return 0;
}
