#include "disk/ChildProcessSystem.h"

#include <cerrno>

#include <crt_externs.h>
#include <fcntl.h>
#include <unistd.h>

namespace vantorel::ChildProcessSystem {

int openPipe(std::array<int, 2>& ends)
{
    if (pipe(ends.data()) != 0) {
        return errno;
    }
    // There is no pipe2. A child that another thread starts in between is started with the flag below.
    for (const int end : ends) {
        fcntl(end, F_SETFD, FD_CLOEXEC);
    }
    return 0;
}

short closeOthersFlag() { return POSIX_SPAWN_CLOEXEC_DEFAULT; }

char** environment() { return *_NSGetEnviron(); }

} // namespace vantorel::ChildProcessSystem
