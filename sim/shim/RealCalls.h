#ifndef REALCALLS_H
#define REALCALLS_H

#include <cstddef>
#include <poll.h>
#include <sys/types.h>

// The C library's own functions behind the shim's wrappers.
int RealOpen(const char* path, int flags);
ssize_t RealRead(int fd, void* buffer, size_t count);
ssize_t RealWrite(int fd, const void* buffer, size_t count);
int RealClose(int fd);
int RealPoll(struct pollfd* fds, nfds_t count, int timeout);

#endif
