#include "base/Product.h"

// The build gives the version; a compiler that looks at this file alone has none to give.
#ifndef VANTOREL_VERSION
#define VANTOREL_VERSION "unknown"
#endif

namespace vantorel::product {

std::string_view version() { return VANTOREL_VERSION; }

} // namespace vantorel::product
