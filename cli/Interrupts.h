#pragma once

#include "disk/CancelToken.h"

namespace vantorel::cli {

/// Turns SIGINT, SIGTERM and SIGHUP into Stop: the first sets the token, a second one ends the process at
/// once. Called before any other thread is started, since those inherit the blocked signals; a thread of its
/// own waits for them.
void watchInterrupts(SharedCancelToken cancel);

/// The signal that asked to stop, 0 when none did.
int interruptingSignal();

} // namespace vantorel::cli
