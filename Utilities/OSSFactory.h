#ifndef OSSFACTORY_H
#define OSSFACTORY_H

#include "OSSFile.h"
#include "OSSNetwork.h"
#include "TSQEventCodes.h"

#include <pthread.h>
#include <string>
#include <sys/types.h>

class IDatabaseErrorStatusMessage;  // error-status sink of the database layer
class IOSSNotify;                   // file-system notifier; none on this platform

// Value 0 asks CopyFile to copy in the background.
enum BackGroundCopy_T
{
    BACKGROUND_COPY = 0,
    FOREGROUND_COPY = 1
};

typedef void* (*ThreadStartRoutine_T)(void*);

// The single door to the operating system: file, pipe and socket objects,
// file-system chores, environment and threads. Objects it returns belong to
// the caller.
class IOSSFactory
{
public:
    virtual ~IOSSFactory() {}

    virtual void SetTaskName(const std::string& Name) = 0;
    virtual std::string GetTaskName() = 0;
    virtual void SetDBErrorStatusMessageInterface(IDatabaseErrorStatusMessage* pInterface) = 0;
    virtual IOSSFile* CreatePipe(const char* Name, int flags) = 0;
    virtual IOSSFile* CreateFile(const char* Name, int flags, int mode) = 0;
    virtual IOSSNetwork* CreateSocket(int domain, int type, int protocol, NetworkInterface_T Interface) = 0;
    virtual IOSSNotify* CreateNotify() = 0;
    virtual const char* GetEnv(const char* Name) = 0;
    virtual TSQEventCode_T SetEnv(const char* Name, const char* Value, bool overwrite) = 0;
    virtual TSQEventCode_T Makedir(const char* Name, mode_t mode) = 0;
    virtual TSQEventCode_T RemoveDirs(const char* Name, bool recursive) = 0;
    virtual TSQEventCode_T CopyDirs(const char* From, const char* To) = 0;
    virtual TSQEventCode_T CreateFullPath(const char* FullPath) = 0;
    virtual TSQEventCode_T CopyFile(const char* From, const char* To, BackGroundCopy_T Background) = 0;
    virtual TSQEventCode_T MoveFile(const char* From, const char* To) = 0;
    virtual bool CheckForFile(const char* FullPath, const char* FileName) = 0;
    virtual bool CheckForDir(const char* FullPath) = 0;
    virtual TSQEventCode_T CreateSoftLink(const char* Target, const char* Link) = 0;
    virtual TSQEventCode_T RemoveFiles(const char* Path, const char* Name) = 0;
    virtual TSQEventCode_T Sync() = 0;
    virtual TSQEventCode_T SendEvent(int Level, int Code, const char* Origin, const char* Text) = 0;
    virtual TSQEventCode_T CreateThread(pthread_t* pThread, const pthread_attr_t* pAttributes,
                                        ThreadStartRoutine_T StartRoutine, void* pArgument) = 0;
    virtual TSQEventCode_T JoinThread(pthread_t Thread, void** ppResult) = 0;
    virtual TSQEventCode_T DetachThread(pthread_t Thread) = 0;
    virtual TSQEventCode_T InitThreadAttributes(pthread_attr_t* pAttributes) = 0;
    virtual TSQEventCode_T SendAckToErrorHandler(const char* Text) = 0;
    virtual UINT32 GetFileSize(const char* file) = 0;
};

#endif
