// Not built yet: does nothing.
#include "time_check/time_check_stoppage_check.h"

void time_check_stoppage()
{
}
