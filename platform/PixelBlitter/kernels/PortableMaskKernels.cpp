#include "PortableTarget.h"

#include "MaskTable-inl.h"
