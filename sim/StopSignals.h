#ifndef STOPSIGNALS_H
#define STOPSIGNALS_H

#include <sys/types.h>

// SIGINT, SIGTERM and SIGHUP end a run early instead of killing the
// launcher outright: the sandbox is stopped, the throw-away unit removed,
// and the launcher exits with 128 + the signal's number.
class CStopSignals
{
public:
    static void Install();
    // The first stop signal received, or 0.
    static int Received();

    // Around starting the sandbox, so a signal cannot fall between the start
    // and the moment the sandbox is known.
    static void Hold();
    static void Release();
    // The sandbox a stop signal ends; 0 for none.
    static void Watch(pid_t sandbox);
};

#endif
