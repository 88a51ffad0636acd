#ifndef OSSLINUXFACTORY_H
#define OSSLINUXFACTORY_H

#include "OSSFactory.h"

// IOSSFactory for Linux. File-system chores are shell commands; only a shell
// that cannot be started is an error, the command's own status is not looked at.
class COSSLinuxFactory : public IOSSFactory
{
public:
    COSSLinuxFactory();
    ~COSSLinuxFactory() override;

    void SetTaskName(const std::string& Name) override;
    std::string GetTaskName() override;
    void SetDBErrorStatusMessageInterface(IDatabaseErrorStatusMessage* pInterface) override;
    IOSSFile* CreatePipe(const char* Name, int flags) override;
    IOSSFile* CreateFile(const char* Name, int flags, int mode) override;
    IOSSNetwork* CreateSocket(int domain, int type, int protocol, NetworkInterface_T Interface) override;
    IOSSNotify* CreateNotify() override;
    const char* GetEnv(const char* Name) override;
    TSQEventCode_T SetEnv(const char* Name, const char* Value, bool overwrite) override;
    TSQEventCode_T Makedir(const char* Name, mode_t mode) override;
    TSQEventCode_T RemoveDirs(const char* Name, bool recursive) override;
    TSQEventCode_T CopyDirs(const char* From, const char* To) override;
    TSQEventCode_T CreateFullPath(const char* FullPath) override;
    TSQEventCode_T CopyFile(const char* From, const char* To, BackGroundCopy_T Background) override;
    TSQEventCode_T MoveFile(const char* From, const char* To) override;
    bool CheckForFile(const char* FullPath, const char* FileName) override;
    bool CheckForDir(const char* FullPath) override;
    TSQEventCode_T CreateSoftLink(const char* Target, const char* Link) override;
    TSQEventCode_T RemoveFiles(const char* Path, const char* Name) override;
    TSQEventCode_T Sync() override;
    TSQEventCode_T SendEvent(int Level, int Code, const char* Origin, const char* Text) override;
    TSQEventCode_T CreateThread(pthread_t* pThread, const pthread_attr_t* pAttributes,
                                ThreadStartRoutine_T StartRoutine, void* pArgument) override;
    TSQEventCode_T JoinThread(pthread_t Thread, void** ppResult) override;
    TSQEventCode_T DetachThread(pthread_t Thread) override;
    TSQEventCode_T InitThreadAttributes(pthread_attr_t* pAttributes) override;
    TSQEventCode_T SendAckToErrorHandler(const char* Text) override;
    UINT32 GetFileSize(const char* file) override;

private:
    std::string m_TaskName;
    IDatabaseErrorStatusMessage* m_pDBErrorStatusMessage;
};

#endif
