#include "app/model/FullDiskAccess.h"

#include <cstdlib>

#include <pwd.h>
#include <unistd.h>

namespace vantorel {

bool hasFullDiskAccess(const SystemCalls& calls)
{
    const passwd* user = getpwuid(getuid()); // main thread only
    const char* home = user ? user->pw_dir : std::getenv("HOME");
    return home && canOpenProtectedFile(calls, home);
}

bool systemGuardsPrivacy() { return true; }

} // namespace vantorel
