#include "discovery/volumes/LockedVolumes.h"

namespace vantorel {

LockedVolumesTool lockedVolumesTool() { return diskutilTool(); }

} // namespace vantorel
