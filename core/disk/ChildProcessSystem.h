#pragma once

#include <array>

#include <spawn.h>

namespace vantorel {

/// What starting a child takes that differs between systems.
namespace ChildProcessSystem {

/// A pipe whose ends no child inherits; 0 or an errno value.
int openPipe(std::array<int, 2>& ends);
/// The spawn flag by which a child gets no descriptor but those that it was given. 0 where every descriptor
/// is opened so that no child inherits it.
short closeOthersFlag();
/// This process's environment, ended by a null.
char** environment();

} // namespace ChildProcessSystem

} // namespace vantorel
