#include "discovery/SystemPlaces.h"

namespace vantorel {

SystemPlaces systemPlaces() { return {.homes = "/Users", .hasTmutil = true}; }

} // namespace vantorel
