#include "platform/linux/ledger.h"

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "platform/linux/ground_log.h"
#include "platform/linux/kernel_file.h"
#include "platform/linux/last_restart.h"
#include "platform/linux/process.h"
#include "platform/linux/program.h"
#include "platform/linux/run_directory.h"
#include "platform/system.h"

static ledger_file spare;
ledger_file *ground_ledger = &spare;
time_check_ledger *ledger_memory = &spare.daemon;

ledger_command *ledger_own_command()
{
    return &ground_ledger->commands[program_is_main()];
}

// Another process that has got its number since has begun later.
static void end_command(ledger_command *command)
{
    const int pid = command->pid;
    if (pid > 1 && has_run_since(pid, command->uptime) && kill(-pid, SIGKILL) == 0)
        system_sleep(1); // what it was doing in the kernel is then done, and can be taken back
    command->pid = 0;
}

// All of it is written, not just made longer: a memory file system that is full says so now, and not by ending who
// writes to a mapping.
static ledger_file *map_file(const char *path, int how)
{
    const int fd = open(path, O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | how, 0600);
    if (how != 0) [[maybe_unused]]
        const ssize_t written = write(fd, &spare, sizeof spare); // too little is no such file
    return static_cast<ledger_file *>(file_map(fd, sizeof spare, true));
}

void ledger_open()
{
    char path[RUN_PATH_MAX];
    ledger_head *const head = &spare.head;
    head->version = 1;
    read_first_line("/proc/sys/kernel/random/boot_id", head->boot, sizeof head->boot);
    run_path("ledger", path);
    ledger_file *file = map_file(path, 0);
    if (file == nullptr ||
        memcmp(&file->head, head, sizeof *head) != 0) { // the other one stays mapped, which is seldom
        unlink(path);
        file = map_file(path, O_CREAT | O_EXCL);
        if (file == nullptr)
            return ground_log("ledger: %s cannot be written", path);
    }
    ground_ledger = file;
    ledger_memory = &file->daemon;
    if (file->daemon.chain != 0)
        ground_log("ledger: takes back what a daemon left");
    for (ledger_command &command : file->commands)
        end_command(&command);
    leds_go_on();
}
