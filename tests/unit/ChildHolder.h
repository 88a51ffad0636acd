#ifndef CHILDHOLDER_H
#define CHILDHOLDER_H

#include "OSSLinuxFile.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

// Opens a file in a child process and holds it until Release().
struct CChildHolder
{
    CChildHolder(const std::string& Path, int Flags)
    {
        int Report[2], Hold[2];
        EXPECT_EQ(0, pipe(Report) | pipe(Hold));
        fflush(stdout);
        if ((m_Pid = fork()) == 0)
        {
            close(Hold[1]);
            COSSLinuxFile File(Path.c_str(), Flags, 0644);
            const int Code = File.GetErrorCode();
            char Byte;
            const bool Ok = write(Report[1], &Code, sizeof(Code)) == sizeof(Code) && read(Hold[0], &Byte, 1) == 0;
            _exit(File.Close() && Ok ? 0 : 1);
        }
        close(Report[1]);
        close(Hold[0]);
        m_Hold = Hold[1];
        EXPECT_EQ(static_cast<ssize_t>(sizeof(m_OpenError)), read(Report[0], &m_OpenError, sizeof(m_OpenError)));
        close(Report[0]);
    }
    ~CChildHolder() { Release(); }
    void Release()
    {
        int Status = -1;
        if (m_Hold != -1 && close(m_Hold) == 0 && waitpid(m_Pid, &Status, 0) == m_Pid)
        {
            EXPECT_EQ(0, Status);
        }
        m_Hold = -1;
    }
    pid_t m_Pid = -1;
    int m_OpenError = -1;
    int m_Hold = -1;
};

#endif
