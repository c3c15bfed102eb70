#include "discovery/volumes/MountedVolumes.h"

namespace vantorel {

MountedVolumes mountedVolumes(const SystemCalls& calls)
{
    const auto table = calls.systemText("/proc/self/mountinfo");
    return table ? mountedVolumesIn(parseMountTable(*table)) : MountedVolumes();
}

} // namespace vantorel
