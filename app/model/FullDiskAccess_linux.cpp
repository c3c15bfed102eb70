#include "app/model/FullDiskAccess.h"

namespace vantorel {

bool hasFullDiskAccess(const SystemCalls&) { return true; }

bool systemGuardsPrivacy() { return false; }

} // namespace vantorel
