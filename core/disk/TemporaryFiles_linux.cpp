#include "disk/TemporaryFiles.h"

#include <cstdlib>

namespace vantorel {

DiskPath systemTemporaryPlace()
{
    const char* chosen = std::getenv("TMPDIR"); // NOLINT(concurrency-mt-unsafe): nothing here sets variables
    if (chosen != nullptr && chosen[0] == '/') {
        return chosen;
    }
    return "/var/tmp"; // /tmp may be memory, and a copy of a database may be larger than that
}

} // namespace vantorel
