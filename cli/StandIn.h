#pragma once

#include <functional>

namespace vantorel::cli {

/// Runs a program in a child process and stands in for it towards whoever waits. A thread that hangs in a
/// disk call keeps its process from ending, whatever is done to it: a shell would wait for as long as the
/// disk is silent. The process that it waits for must have no such thread.
///
/// Signals that end a process are handed on; the child ends when this process is killed. Returns, in both
/// processes, what `main` returns; where the child was ended by a signal, so is this process. Before any
/// other thread is started.
int runStandingIn(const std::function<int()>& program);

/// Ends the child at once with this status, and the process that stands in for it, although threads may hang
/// here. Where there is none, this process alone.
[[noreturn]] void leaveAtOnce(int status);

} // namespace vantorel::cli
