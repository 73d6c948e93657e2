#include "PortableTarget.h"

#include "GroupTable-inl.h"
