// No service manager is told anything.
#include "platform/linux/service_manager.h"

void service_begin()
{
}

void service_failed(const char * /*name*/, bus_result /*result*/)
{
}

void service_is_ready()
{
}

void service_reloads()
{
}

void service_stops()
{
}

int64_t service_lives(int64_t milliseconds)
{
    return milliseconds;
}

const char *service_summary()
{
    return "";
}
