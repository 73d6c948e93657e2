#include "BrokerFixture.h"
