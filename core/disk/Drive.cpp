#include "disk/Drive.h"

namespace vantorel {

bool mayShareHeads(const Drive& one, const Drive& other)
{
    const bool maySpin = one.spins.value_or(true) && other.spins.value_or(true);
    const bool areKnown = !one.identity.empty() && !other.identity.empty();
    return maySpin && (!areKnown || one.identity == other.identity);
}

} // namespace vantorel
