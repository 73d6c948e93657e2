#include "PortableTarget.h"

#include "DepthTable-inl.h"
