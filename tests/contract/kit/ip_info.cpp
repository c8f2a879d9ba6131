// The daemon's, for grounds that are linked without it.
#include "platform/statistics.h"

users_info *ip_info;
