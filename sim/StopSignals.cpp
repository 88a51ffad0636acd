#include "StopSignals.h"

#include <csignal>

namespace
{
volatile sig_atomic_t s_Received = 0;
volatile sig_atomic_t s_Sandbox = 0;
const int c_Signals[] = {SIGINT, SIGTERM, SIGHUP};

void OnStop(int signal)
{
    if (s_Received == 0)
        s_Received = signal;
    // bubblewrap dies of it, and the sandbox's processes with it.
    if (s_Sandbox > 0)
        kill(static_cast<pid_t>(s_Sandbox), SIGTERM);
}

sigset_t StopSet()
{
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : c_Signals)
        sigaddset(&set, signal);
    return set;
}
}

void CStopSignals::Install()
{
    struct sigaction action = {};
    action.sa_handler = OnStop;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0;  // no restart: waits return and see the signal
    for (const int signal : c_Signals)
        sigaction(signal, &action, nullptr);
}

int CStopSignals::Received()
{
    return s_Received;
}

void CStopSignals::Hold()
{
    const sigset_t set = StopSet();
    sigprocmask(SIG_BLOCK, &set, nullptr);
}

void CStopSignals::Release()
{
    const sigset_t set = StopSet();
    sigprocmask(SIG_UNBLOCK, &set, nullptr);
}

void CStopSignals::Watch(pid_t sandbox)
{
    s_Sandbox = sandbox;
}
