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
    bool stopped = false;  // by the station's own stop signal
    double seconds = 0;
};

class CStepRunner
{
public:
    // The grace period a stopped command gets to clean up before it is killed.
    explicit CStepRunner(double graceSeconds = 5) : m_GraceSeconds(graceSeconds) {}
    // A clean-up runs, with its time limit, even after a stop was asked for.
    enum Kind_T
    {
        STEP,
        CLEANUP
    };
    // input: a file for the command's standard input instead of /dev/null.
    RunResult_T Run(const QStringList& commandLine, double timeoutSeconds, const QString& input = QString(),
                    Kind_T kind = STEP) const;

    // From a signal handler: every running command is stopped as on a time-out
    // (its unit cleaned up), and no new one starts.
    static void RequestStop(int signal);
    // The signal that asked for the stop, or 0.
    static int StopRequested();

private:
    double m_GraceSeconds;
};
