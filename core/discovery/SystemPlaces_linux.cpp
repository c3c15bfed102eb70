#include "discovery/SystemPlaces.h"

namespace vantorel {

SystemPlaces systemPlaces() { return {.homes = "/home", .hasTmutil = false}; }

} // namespace vantorel
