#include "RenderKit.h"
