// Bait: the include check must find this one.
#include "transport/ReceiveEngine.h"
