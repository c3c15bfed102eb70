#include "discovery/volumes/LockedVolumes.h"

namespace vantorel {

LockedVolumesTool lockedVolumesTool() { return lsblkTool(); }

} // namespace vantorel
