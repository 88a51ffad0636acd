// The device shim: preloaded into the program under test, it puts the
// simulated FPGAs behind the unit's device nodes. Every call on any other
// path or descriptor goes straight to the C library.
#include "RealCalls.h"
#include "ShimDevices.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace
{
// Calls the shim itself makes (the trace file, the placeholders) and calls
// made while the device table is set up go straight through.
thread_local int t_Inside = 0;

struct Inside_T
{
    Inside_T() { ++t_Inside; }
    ~Inside_T() { --t_Inside; }
};

template <typename F>
F Next(const char* name)
{
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}

#define REAL(name, type) static const auto real_##name = Next<type>(#name)

bool MaySimulate(const char* path)
{
    return t_Inside == 0 && path && strncmp(path, "/dev/", 5) == 0;
}

CShimDevices& Devices()
{
    Inside_T inside;
    return CShimDevices::Instance();
}

// -1 with errno 0: not a simulated node.
int OpenSimulated(const char* path, int flags)
{
    if (!MaySimulate(path))
    {
        errno = 0;
        return -1;
    }
    CShimDevices& devices = Devices();
    Inside_T inside;
    return devices.Open(path, flags);
}

CFpgaModel* Simulated(int fd)
{
    if (t_Inside)
        return nullptr;
    CShimDevices& devices = Devices();
    Inside_T inside;
    return devices.Model(fd);
}

mode_t ModeArgument(int flags, va_list args)
{
    return (flags & O_CREAT) || (flags & O_TMPFILE) == O_TMPFILE ? static_cast<mode_t>(va_arg(args, int)) : 0;
}

// Simulated descriptors are answered from their models; the rest go to the
// real poll, at once when a simulated one is ready. A simulated node never
// becomes ready by waiting, so a wait on it alone ends at once.
template <typename RealPollCall>
int PollSome(struct pollfd* fds, nfds_t count, RealPollCall call)
{
    std::vector<CFpgaModel*> models(count, nullptr);
    bool any = false;
    for (nfds_t i = 0; i < count; ++i)
        any |= (models[i] = Simulated(fds[i].fd)) != nullptr;
    if (!any)
        return call(fds, count, false);
    std::vector<struct pollfd> others(fds, fds + count);
    int ready = 0;
    bool waitable = false;
    for (nfds_t i = 0; i < count; ++i)
    {
        if (!models[i])
        {
            waitable |= fds[i].fd >= 0;
            continue;
        }
        Inside_T inside;
        std::lock_guard<std::mutex> lock(models[i]->Mutex());
        short revents = static_cast<short>(fds[i].events & POLLOUT);
        if ((fds[i].events & POLLIN) && models[i]->Readable())
            revents = static_cast<short>(revents | POLLIN);
        fds[i].revents = revents;
        ready += revents != 0;
        others[i].fd = -1;
    }
    int result = 0;
    if (waitable)
    {
        result = call(others.data(), count, ready > 0);
        if (result < 0)
            return result;
        for (nfds_t i = 0; i < count; ++i)
            if (!models[i])
                fds[i].revents = others[i].revents;
    }
    return result + ready;
}
}

int RealOpen(const char* path, int flags)
{
    REAL(open, int (*)(const char*, int, ...));
    return real_open(path, flags, 0);
}

ssize_t RealRead(int fd, void* buffer, size_t count)
{
    REAL(read, ssize_t(*)(int, void*, size_t));
    return real_read(fd, buffer, count);
}

ssize_t RealWrite(int fd, const void* buffer, size_t count)
{
    REAL(write, ssize_t(*)(int, const void*, size_t));
    return real_write(fd, buffer, count);
}

int RealClose(int fd)
{
    REAL(close, int (*)(int));
    return real_close(fd);
}

int RealPoll(struct pollfd* fds, nfds_t count, int timeout)
{
    REAL(poll, int (*)(struct pollfd*, nfds_t, int));
    return real_poll(fds, count, timeout);
}

extern "C" {

#define OPEN_WRAPPER(name)                                                  \
    int name(const char* path, int flags, ...)                              \
    {                                                                       \
        REAL(name, int (*)(const char*, int, ...));                         \
        va_list args;                                                       \
        va_start(args, flags);                                              \
        const mode_t mode = ModeArgument(flags, args);                      \
        va_end(args);                                                       \
        const int fd = OpenSimulated(path, flags);                          \
        return fd >= 0 || errno != 0 ? fd : real_##name(path, flags, mode); \
    }
OPEN_WRAPPER(open)
OPEN_WRAPPER(open64)

#define OPENAT_WRAPPER(name)                                                       \
    int name(int dirfd, const char* path, int flags, ...)                          \
    {                                                                              \
        REAL(name, int (*)(int, const char*, int, ...));                           \
        va_list args;                                                              \
        va_start(args, flags);                                                     \
        const mode_t mode = ModeArgument(flags, args);                             \
        va_end(args);                                                              \
        const int fd = OpenSimulated(path, flags);                                 \
        return fd >= 0 || errno != 0 ? fd : real_##name(dirfd, path, flags, mode); \
    }
OPENAT_WRAPPER(openat)
OPENAT_WRAPPER(openat64)

#define OPEN2_WRAPPER(name)                                           \
    int name(const char* path, int flags)                             \
    {                                                                 \
        REAL(name, int (*)(const char*, int));                        \
        const int fd = OpenSimulated(path, flags);                    \
        return fd >= 0 || errno != 0 ? fd : real_##name(path, flags); \
    }
OPEN2_WRAPPER(__open_2)
OPEN2_WRAPPER(__open64_2)

#define OPENAT2_WRAPPER(name)                                                \
    int name(int dirfd, const char* path, int flags)                         \
    {                                                                        \
        REAL(name, int (*)(int, const char*, int));                          \
        const int fd = OpenSimulated(path, flags);                           \
        return fd >= 0 || errno != 0 ? fd : real_##name(dirfd, path, flags); \
    }
OPENAT2_WRAPPER(__openat_2)
OPENAT2_WRAPPER(__openat64_2)

ssize_t read(int fd, void* buffer, size_t count)
{
    if (CFpgaModel* model = Simulated(fd))
    {
        Inside_T inside;
        std::lock_guard<std::mutex> lock(model->Mutex());
        return model->Read(static_cast<uint8_t*>(buffer), count);
    }
    return RealRead(fd, buffer, count);
}

ssize_t __read_chk(int fd, void* buffer, size_t count, size_t size)
{
    REAL(__read_chk, ssize_t(*)(int, void*, size_t, size_t));
    if (count > size || !Simulated(fd))
        return real___read_chk(fd, buffer, count, size);
    return read(fd, buffer, count);
}

ssize_t write(int fd, const void* buffer, size_t count)
{
    if (CFpgaModel* model = Simulated(fd))
    {
        Inside_T inside;
        std::lock_guard<std::mutex> lock(model->Mutex());
        // In ping-read mode the driver hands FIFO data back in the same buffer.
        return model->Write(static_cast<uint8_t*>(const_cast<void*>(buffer)), count);
    }
    return RealWrite(fd, buffer, count);
}

int ioctl(int fd, unsigned long request, ...)
{
    REAL(ioctl, int (*)(int, unsigned long, ...));
    va_list args;
    va_start(args, request);
    void* argument = va_arg(args, void*);
    va_end(args);
    if (CFpgaModel* model = Simulated(fd))
    {
        Inside_T inside;
        std::lock_guard<std::mutex> lock(model->Mutex());
        return model->Ioctl(request, argument);
    }
    return real_ioctl(fd, request, argument);
}

int poll(struct pollfd* fds, nfds_t count, int timeout)
{
    return PollSome(fds, count,
                    [timeout](struct pollfd* f, nfds_t n, bool now) { return RealPoll(f, n, now ? 0 : timeout); });
}

int __poll_chk(struct pollfd* fds, nfds_t count, int timeout, size_t size)
{
    REAL(__poll_chk, int (*)(struct pollfd*, nfds_t, int, size_t));
    if (count > size / sizeof(struct pollfd))
        return real___poll_chk(fds, count, timeout, size);
    return poll(fds, count, timeout);
}

int ppoll(struct pollfd* fds, nfds_t count, const struct timespec* timeout, const sigset_t* mask)
{
    REAL(ppoll, int (*)(struct pollfd*, nfds_t, const struct timespec*, const sigset_t*));
    return PollSome(fds, count, [timeout, mask](struct pollfd* f, nfds_t n, bool now) {
        static const struct timespec zero = {0, 0};
        return real_ppoll(f, n, now ? &zero : timeout, mask);
    });
}

int __ppoll_chk(struct pollfd* fds, nfds_t count, const struct timespec* timeout, const sigset_t* mask, size_t size)
{
    REAL(__ppoll_chk, int (*)(struct pollfd*, nfds_t, const struct timespec*, const sigset_t*, size_t));
    if (count > size / sizeof(struct pollfd))
        return real___ppoll_chk(fds, count, timeout, mask, size);
    return ppoll(fds, count, timeout, mask);
}

int close(int fd)
{
    if (Simulated(fd))
    {
        Inside_T inside;
        CShimDevices::Instance().Forget(fd);
    }
    return RealClose(fd);
}

// glibc closes the descriptor inside fclose without calling close.
int fclose(FILE* file)
{
    REAL(fclose, int (*)(FILE*));
    if (file && Simulated(fileno(file)))
    {
        Inside_T inside;
        CShimDevices::Instance().Forget(fileno(file));
    }
    return real_fclose(file);
}

int system(const char* command)
{
    REAL(system, int (*)(const char*));
    const int result = real_system(command);
    if (command && !t_Inside)
    {
        CShimDevices& devices = Devices();
        Inside_T inside;
        devices.AfterShellCommand(command);
    }
    return result;
}
}

namespace
{
// Shells started by system() must write the real placeholder files, so the
// shim (and the sanitizer runtime the launcher put before it) leave
// LD_PRELOAD as soon as the program is loaded.
__attribute__((constructor)) void LeavePreload()
{
    Dl_info self;
    const char* preload = getenv("LD_PRELOAD");
    if (!preload || !dladdr(reinterpret_cast<void*>(&LeavePreload), &self) || !self.dli_fname)
        return;
    std::string kept, entry;
    const std::string list = std::string(preload) + ":";
    for (char c : list)
    {
        if (c != ':' && c != ' ')
        {
            entry += c;
            continue;
        }
        const std::string base = entry.substr(entry.rfind('/') + 1);
        if (!entry.empty() && entry != self.dli_fname && base.rfind("libasan.so", 0) != 0)
            kept += (kept.empty() ? "" : ":") + entry;
        entry.clear();
    }
    if (kept.empty())
        unsetenv("LD_PRELOAD");
    else
        setenv("LD_PRELOAD", kept.c_str(), 1);
}

__attribute__((destructor)) void CheckTripwiresAtExit()
{
    Inside_T inside;
    CShimDevices::Instance().CheckTripwires();
}
}
