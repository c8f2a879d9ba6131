/* As sleeper.c, but for the system calls of the daemon's idle tick: what is left of the daemon's time is its own code.
 */
#include <net/if.h>
#include <poll.h>
#include <pthread.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

static void *sleep_long(void *unused)
{
    for (;;)
        sleep(20);
    return unused;
}

int main(void)
{
    static const char *const names[] = {"ppp0", "ppp45"};
    pthread_t thread;
    const int asked = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    struct pollfd waited = {.fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0), .events = POLLIN};
    if (asked < 0 || waited.fd < 0 || pthread_create(&thread, NULL, sleep_long, NULL) != 0)
        return 1;
    for (;;) {
        const struct timespec second = {.tv_sec = 1};
        for (size_t i = 0; i < sizeof names / sizeof names[0]; i++) {
            struct ifreq request = {0};
            strcpy(request.ifr_name, names[i]);
            ioctl(asked, SIOCGIFADDR, &request);
        }
        ppoll(&waited, 1, &second, NULL);
    }
}
