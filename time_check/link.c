/* The program's own source: empty, so that the C compiler links it. main is in time_check.cpp. */
typedef int time_check_link_anchor;
