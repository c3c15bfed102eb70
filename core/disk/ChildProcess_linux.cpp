#include "disk/ChildProcessSystem.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace vantorel::ChildProcessSystem {

int openPipe(std::array<int, 2>& ends) { return pipe2(ends.data(), O_CLOEXEC) == 0 ? 0 : errno; }

short closeOthersFlag() { return 0; }

char** environment() { return environ; }

} // namespace vantorel::ChildProcessSystem
