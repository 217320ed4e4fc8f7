#include <ombrel/Ombrel.h>

#ifndef OMBREL_VERSION_STRING
#define OMBREL_VERSION_STRING "unknown"
#endif

namespace Kivo {
const char* OmbrelVersion() {
    return OMBREL_VERSION_STRING;
}
}  // namespace Kivo
