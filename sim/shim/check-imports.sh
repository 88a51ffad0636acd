#!/bin/sh
# check-imports.sh PROGRAM SHIM
# Fails when PROGRAM imports a C library call that can carry data to or from
# a device node and the shim neither wraps it nor knows it to be harmless, so
# a new call cannot bypass the simulated FPGAs unnoticed.
set -eu
program=$1
shim=$2
wrapped=$(nm -D --defined-only "$shim" | awk '$2 == "T" || $2 == "W" { print $3 }')
imports=$(nm -D --undefined-only "$program" | awk '{ print $NF }' | sed 's/@.*//')
reaching='^(open|open64|openat|openat64|creat|creat64|__open.*|__openat.*|read|__read_chk|pread|pread64|__pread.*|readv|preadv.*|write|pwrite|pwrite64|writev|pwritev.*|ioctl|__ioctl.*|poll|__poll_chk|ppoll|__ppoll_chk|select|pselect|__fdelt_chk|epoll_.*|close|close_range|fclose|fopen|fopen64|freopen.*|fread|__fread.*|fwrite|fgets|__fgets.*|fgetc|getc|fscanf|__isoc99_fscanf|system|popen|posix_spawn.*|dup|dup2|dup3|sendfile.*|splice|copy_file_range|mmap|mmap64|fcntl|fcntl64|fdopen|tcflush|tcgetattr|tcsetattr|tcdrain|isatty|cfsetispeed|cfsetospeed|cfmakeraw)$'
# Harmless: record locks and flags are real on a memfd; the terminal calls are
# real on the pseudo-terminal of a UART node; fdopen only wraps a descriptor,
# data that a FILE stream pushes into a memfd trips the tripwire, and a
# formatted read of a memfd finds it empty (end of file, never stale data).
harmless=' fcntl fcntl64 fdopen isatty tcflush tcgetattr tcsetattr tcdrain cfsetispeed cfsetospeed cfmakeraw __isoc99_fscanf fscanf '
missing=""
for name in $imports; do
    echo "$name" | grep -Eq "$reaching" || continue
    echo "$wrapped" | grep -qx "$name" && continue
    case "$harmless" in *" $name "*) continue ;; esac
    missing="$missing $name"
done
if [ -n "$missing" ]; then
    echo "$(basename "$program") imports calls the device shim does not wrap:$missing"
    exit 1
fi
echo "$(basename "$program"): every device-reaching import is wrapped"
