#include "PortableTarget.h"

#include "WarpTable-inl.h"
