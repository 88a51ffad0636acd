// Runs one command of a unit as a child process with a time limit.
#pragma once

#include <QByteArray>
#include <QStringList>

struct RunResult_T
{
    QByteArray output;    // standard output: the report
    QByteArray errors;    // standard error
    int exitStatus = -1;  // 128 + signal when killed, -1 when it never started
    bool timedOut = false;
    double seconds = 0;
};

class CStepRunner
{
public:
    // The grace period a stopped command gets to clean up before it is killed.
    explicit CStepRunner(double graceSeconds = 5) : m_GraceSeconds(graceSeconds) {}
    RunResult_T Run(const QStringList& commandLine, double timeoutSeconds) const;

    // From a signal handler: every running command is stopped as on a time-out
    // (its unit cleaned up), and no new one starts.
    static void RequestStop(int signal);
    // The signal that asked for the stop, or 0.
    static int StopRequested();

private:
    double m_GraceSeconds;
};
