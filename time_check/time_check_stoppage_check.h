// The WAN stoppage check: why the first WAN is not online.
#ifndef TIME_CHECK_TIME_CHECK_STOPPAGE_CHECK_H
#define TIME_CHECK_TIME_CHECK_STOPPAGE_CHECK_H

// The tick.
void time_check_stoppage();

#endif
