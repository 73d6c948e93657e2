#include "BRTFoundation.h"
