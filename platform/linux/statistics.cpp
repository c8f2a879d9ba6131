#include "platform/statistics.h"
int get_statistic_info(uint64_t *, uint64_t *, int *)
{
    return -1;
}
