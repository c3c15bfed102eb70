#pragma once

namespace vantorel {

/// What the system lets a thread set for itself alone, at the thread's begin.
void prepareWorkerThread();

} // namespace vantorel
