/* Two threads that only sleep: the least that a program with the daemon's shape can cost. */
#include <pthread.h>
#include <unistd.h>

static void *sleep_long(void *unused)
{
    for (;;)
        sleep(20);
    return unused;
}

int main(void)
{
    pthread_t thread;
    if (pthread_create(&thread, NULL, sleep_long, NULL) != 0)
        return 1;
    for (;;)
        sleep(1);
}
