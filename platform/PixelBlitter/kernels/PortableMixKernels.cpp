#include "PortableTarget.h"

#include "MixTable-inl.h"
