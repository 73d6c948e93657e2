#include "zyncore.h"
