#include "PortableTarget.h"

#include "FusedTable-inl.h"
