#pragma once

#include "app/model/AppServices.h"

namespace vantorel {

/// The core as it is, over the given services.
AppEnvironment realEnvironment(const CoreServices& services);
CoreWork realCoreWork(const CoreServices& services);
/// A detached thread for each piece of work.
bool startOnThread(std::function<void()> work);

/// What is learnt of a folder that was chosen for an export; none when its disk did not answer. Blocks,
/// guarded.
std::optional<DestinationFacts> destinationFactsOf(
    const CoreServices& services, const DestinationQuestion& question);

} // namespace vantorel
