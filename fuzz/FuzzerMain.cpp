#include "FuzzTarget.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    vantorel::fuzz::runTarget({reinterpret_cast<const char*>(bytes), size});
    return 0;
}
