#include "app/model/FullDiskAccess.h"

namespace vantorel {

bool hasFullDiskAccess(const SystemCalls&) { return true; }

} // namespace vantorel
