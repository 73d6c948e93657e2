#include "PixelBlitter.h"
