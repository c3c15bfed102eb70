#include "disk/TemporaryFiles.h"

#include <array>

#include <sys/param.h>
#include <unistd.h>

namespace vantorel {

DiskPath systemTemporaryPlace()
{
    std::array<char, MAXPATHLEN> name{};
    const std::size_t length = ::confstr(_CS_DARWIN_USER_TEMP_DIR, name.data(), name.size());
    if (length == 0 || length > name.size()) {
        return "/private/var/tmp"; // a session without a folder of its own, as some background ones are
    }
    return name.data();
}

} // namespace vantorel
