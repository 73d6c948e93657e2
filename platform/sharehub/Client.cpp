#include "sharehub.h"
