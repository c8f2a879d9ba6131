#include "platform/linux/zone_watch.h"

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <sys/inotify.h>
#include <unistd.h>

constexpr char ZONE_FILE[] = "/etc/localtime";
constexpr int MOST_LINKS = 8;
constexpr int SLEEPS_UNTOLD = 60; // between two readings, where changes cannot be told
constexpr uint32_t CHANGED = IN_MODIFY | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF | IN_CREATE | IN_MOVED_TO;

static int changes = -1;
static int sleeps_to_go;    // until the zone is read; 0: never
static char zone_path[256]; // on the way from the zone file through its links

// The C library takes a zone file of the same number and second of change for the one that it has read, which copies of
// zone files often have. But it forgets the file when it is told of another zone in between. So the environment has
// this entry, whose first letter makes it TZ for that moment (decision 0121).
static char other_zone[] = "tZ=UTC0";

// The file and every link on the way to it are watched themselves, so that other files beside them wake nobody. Only
// what is not there is waited for in its folder.
static bool watch_one(char *name)
{
    if (inotify_add_watch(changes, zone_path, IN_DONT_FOLLOW | CHANGED) >= 0)
        return true;
    const char first = *name;
    *name = '\0';
    const bool is_told = inotify_add_watch(changes, zone_path, CHANGED) >= 0;
    *name = first;
    return is_told;
}

// False: a change may remain untold.
static bool watch_zone_file()
{
    char target[256];
    memcpy(zone_path, ZONE_FILE, sizeof ZONE_FILE);
    for (int links = 0; links < MOST_LINKS; links++) {
        char *const name = strrchr(zone_path, '/') + 1;
        if (!watch_one(name))
            return false;
        const ssize_t length = readlink(zone_path, target, sizeof target);
        if (length < 0)
            return true;
        char *const to = target[0] == '/' ? zone_path : name;
        if (length >= zone_path + sizeof zone_path - to)
            return false;
        memcpy(to, target, static_cast<size_t>(length));
        to[length] = '\0';
    }
    return false;
}

// Watched anew first, so that no change is missed between the two.
static void read_zone()
{
    if (changes >= 0)
        close(changes);
    changes = inotify_init1(IN_CLOEXEC);
    sleeps_to_go = watch_zone_file() ? INT_MAX : SLEEPS_UNTOLD;
    other_zone[0] = 'T';
    tzset();
    other_zone[0] = 't';
    tzset();
}

void zone_watch_begin()
{
    if (getenv("TZ") == nullptr && putenv(other_zone) == 0)
        zone_may_have_changed(); // since it was first read
}

int zone_changes()
{
    return changes;
}

void zone_may_have_changed()
{
    sleeps_to_go = 1;
}

void zone_slept(bool /*stood_still*/)
{
    if (sleeps_to_go > 0 && --sleeps_to_go == 0)
        read_zone();
}
