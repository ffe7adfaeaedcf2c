#include "FluvaneCore/CheckedMath.h"

#include <cstdio>
#include <cstdlib>

namespace fluvane {

void fatal(const char* what) {
    std::fputs("Fluvane stops: ", stderr);
    std::fputs(what, stderr);
    std::fputs(".\n", stderr);
    std::abort();
}

} // namespace fluvane
