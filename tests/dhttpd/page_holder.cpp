// page_holder PATH: keeps a status page there as a daemon does. Each line of standard input, "fault=4 verdict=8
// since=700 wan1=3 wan2=7 interface=TEXT age=40", is a second in which that is so; what is left out is as after the
// start: no fault, online, no WAN. Prints "ok" once it is to be read.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <iostream>
#include <new>
#include <sstream>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

#include "platform/common/status_file.h"

namespace
{

int32_t seconds_of(clockid_t clock)
{
    timespec now = {};
    clock_gettime(clock, &now);
    return static_cast<int32_t>(now.tv_sec);
}

// 0: the file cannot be kept.
status_file *hold(const char *path)
{
    const int fd = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0640);
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    if (fd < 0 || fcntl(fd, F_SETLK, &lock) != 0 || ftruncate(fd, sizeof(status_file)) != 0)
        return nullptr;
    void *const mapped = mmap(nullptr, sizeof(status_file), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (mapped == MAP_FAILED)
        return nullptr;
    auto *const file = new (mapped) status_file{};
    memcpy(file->magic, STATUS_MAGIC, sizeof file->magic);
    file->byte_order = STATUS_BYTE_ORDER;
    file->version = STATUS_VERSION;
    file->size = sizeof *file;
    file->pid = getpid();
    return file;
}

void set(time_check_status *page, uint32_t *age, const std::string &name, const std::string &value)
{
    const auto number = static_cast<int32_t>(strtol(value.c_str(), nullptr, 10));
    if (name == "fault")
        page->main.stoppage.fault = number;
    else if (name == "verdict")
        page->main.stoppage_row.verdict = static_cast<uint8_t>(number);
    else if (name == "since")
        page->main.stoppage.since_uptime = seconds_of(CLOCK_BOOTTIME) - number;
    else if (name == "wan1" || name == "wan2") {
        const uint32_t wan = name == "wan1" ? 0 : 1;
        page->wans.wan[wan].row.verdict = static_cast<uint8_t>(number);
        page->wans.wan[wan].looked = time(nullptr);
        page->wans.num = wan + 1;
    } else if (name == "interface")
        snprintf(page->wans.wan[0].interface, sizeof page->wans.wan[0].interface, "%s", value.c_str());
    else if (name == "age")
        *age = static_cast<uint32_t>(number);
    else
        exit(2);
}

} // namespace

int main(int count, char *arguments[])
{
    status_file *const file = count == 2 ? hold(arguments[1]) : nullptr;
    if (file == nullptr)
        return 2;
    for (std::string line; std::getline(std::cin, line);) {
        time_check_status page = {};
        uint32_t age = 0;
        std::istringstream words(line);
        for (std::string word; words >> word;)
            set(&page, &age, word.substr(0, word.find('=')), word.substr(word.find('=') + 1));
        timespec now = {};
        clock_gettime(CLOCK_MONOTONIC, &now);
        file->beat = (static_cast<uint32_t>(now.tv_sec) - age) * 1000U + static_cast<uint32_t>(now.tv_nsec / 1000000);
        status_file_publish(file, STATUS_PART_MAIN, &page);
        status_file_publish(file, STATUS_PART_WANS, &page);
        puts("ok");
        fflush(stdout);
    }
    return 0;
}
