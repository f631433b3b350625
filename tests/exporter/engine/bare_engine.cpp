// A library that can be opened and has none of an engine's entry points.
#include "utils/export.h"

extern "C" VEK_API int bare_engine_marker();
extern "C" VEK_API int bare_engine_marker() { return 1; }
