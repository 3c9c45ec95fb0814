// The function of version.h that this library has.
#pragma GCC visibility push(default)
#include <rovk/version.h>
#pragma GCC visibility pop

const char* rovk_transport_library_version() { return ROVK_VERSION; }
