// The interfaces are all in the header. The library exists so that a host links, and may replace, RenderKit by its
// name.
#include "RenderKit.h"
