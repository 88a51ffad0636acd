#include "StepRunner.h"

#include <QElapsedTimer>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace
{
volatile sig_atomic_t s_StopSignal = 0;

// How long the output of a finished command may still trickle in from what it left behind.
const qint64 c_DrainMilliseconds = 2000;

bool ReadSome(int& fd, QByteArray& into)
{
    char buffer[65536];
    const ssize_t got = read(fd, buffer, sizeof buffer);
    if (got > 0)
    {
        into.append(buffer, static_cast<int>(got));
        return true;
    }
    if (got < 0 && (errno == EINTR || errno == EAGAIN))
        return true;
    close(fd);
    fd = -1;
    return false;
}

bool HasExited(pid_t pid)
{
    siginfo_t info;
    memset(&info, 0, sizeof info);
    return waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == pid;
}

// The child leads a process group of its own, so that stopping it reaches
// everything it started and nothing of the station's.
bool Spawn(const QStringList& commandLine, const QString& input, int out, int err, pid_t& pid)
{
    const QByteArray inputPath = input.isEmpty() ? QByteArray("/dev/null") : input.toLocal8Bit();
    std::vector<QByteArray> words;
    for (const QString& word : commandLine)
        words.push_back(word.toLocal8Bit());
    std::vector<char*> argv;
    for (QByteArray& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, inputPath.constData(), O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, out, 1);
    posix_spawn_file_actions_adddup2(&actions, err, 2);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigset_t defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    sigaddset(&defaults, SIGTERM);
    sigaddset(&defaults, SIGINT);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    const int status = posix_spawnp(&pid, argv[0], &actions, &attributes, argv.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    errno = status;
    return status == 0;
}
}

void CStepRunner::RequestStop(int signal)
{
    s_StopSignal = signal;
}

int CStepRunner::StopRequested()
{
    return s_StopSignal;
}

RunResult_T CStepRunner::Run(const QStringList& commandLine, double timeoutSeconds, const QString& input,
                             Kind_T kind) const
{
    RunResult_T result;
    const bool stoppable = kind == STEP;
    if (s_StopSignal && stoppable)
        return result;
    QElapsedTimer timer;
    timer.start();
    int out[2];
    int err[2];
    if (commandLine.isEmpty() || pipe2(out, O_CLOEXEC) != 0)
        return result;
    if (pipe2(err, O_CLOEXEC) != 0)
    {
        close(out[0]);
        close(out[1]);
        return result;
    }
    pid_t pid = 0;
    const bool started = Spawn(commandLine, input, out[1], err[1], pid);
    const int spawnError = errno;
    close(out[1]);
    close(err[1]);
    if (!started)
    {
        close(out[0]);
        close(err[0]);
        result.errors = QString("cannot start %1: %2\n").arg(commandLine[0], strerror(spawnError)).toLocal8Bit();
        result.seconds = timer.elapsed() / 1000.0;
        return result;
    }

    const qint64 limit = static_cast<qint64>(timeoutSeconds * 1000);
    const qint64 grace = static_cast<qint64>(m_GraceSeconds * 1000);
    qint64 stoppedAt = -1;
    qint64 exitedAt = -1;
    pollfd fds[2] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
    while (fds[0].fd >= 0 || fds[1].fd >= 0 || exitedAt < 0)
    {
        const qint64 now = timer.elapsed();
        if (exitedAt < 0 && HasExited(pid))
        {
            // Whatever it left running in its group goes with it.
            kill(-pid, SIGKILL);
            exitedAt = now;
        }
        if (exitedAt >= 0 && now - exitedAt > c_DrainMilliseconds)
            break;
        if (exitedAt < 0 && stoppedAt < 0 && (now > limit || (s_StopSignal && stoppable)))
        {
            // The command gets the chance to stop its unit and remove it.
            result.stopped = s_StopSignal && stoppable;
            result.timedOut = !result.stopped;
            kill(pid, SIGTERM);
            stoppedAt = now;
        }
        if (exitedAt < 0 && stoppedAt >= 0 && now - stoppedAt > grace)
            kill(-pid, SIGKILL);
        if (poll(fds, 2, fds[0].fd < 0 && fds[1].fd < 0 ? 5 : 50) > 0)
            for (int i = 0; i < 2; ++i)
                if (fds[i].fd >= 0 && (fds[i].revents & (POLLIN | POLLHUP | POLLERR)))
                    ReadSome(fds[i].fd, i == 0 ? result.output : result.errors);
    }
    for (pollfd& fd : fds)
        if (fd.fd >= 0)
            close(fd.fd);

    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR)
    {
    }
    result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    result.seconds = timer.elapsed() / 1000.0;
    return result;
}
