// The status page's reader on a file of any bytes, and on a page with some of its bytes changed. The input's first byte
// says which.
#include <cstring>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

#include "platform/common/status_file.h"
#include "tests/fuzz/expect.h"
#include "tests/fuzz/input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace
{

status_fault read_file(const void *bytes, size_t size, status_reading *reading)
{
    const int fd = memfd_create("page", MFD_CLOEXEC);
    expect(fd >= 0 && write(fd, bytes, size) == static_cast<ssize_t>(size), "there is a file");
    const status_fault fault = status_read(("/proc/self/fd/" + std::to_string(fd)).c_str(), reading);
    close(fd);
    expect(fault != STATUS_NO_PAGE && fault != STATUS_UNREADABLE, "a file is a page or something else");
    expect(memchr(reading->program, '\0', sizeof reading->program) != nullptr, "a version has an end");
    return fault;
}

void change_page(Input &input)
{
    auto file = std::make_unique<status_file>();
    memcpy(file->magic, STATUS_MAGIC, sizeof file->magic);
    file->byte_order = STATUS_BYTE_ORDER;
    file->version = STATUS_VERSION;
    file->size = sizeof *file;
    bool is_head_whole = true;
    while (!input.ended()) {
        const size_t at = input.word() % sizeof *file;
        const auto change = static_cast<char>(input.byte());
        reinterpret_cast<char *>(file.get())[at] ^= change;
        is_head_whole = is_head_whole && (at >= offsetof(status_file, pid) || change == 0);
    }
    status_reading reading;
    const status_fault fault = read_file(file.get(), sizeof *file, &reading);
    expect(!is_head_whole || fault == STATUS_READ, "any numbers are a page");
    if (fault != STATUS_READ)
        return;
    expect(memcmp(&reading.status.main, file->main[file->main_number % 2], sizeof reading.status.main) == 0 &&
               memcmp(&reading.status.wans, file->wans[file->wans_number % 2], sizeof reading.status.wans) == 0,
           "the copy that the number speaks of is read");
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Input input(data, size);
    if (input.byte() % 2 == 0) {
        status_reading reading;
        read_file(data + (size > 0 ? 1 : 0), size > 0 ? size - 1 : 0, &reading);
    } else {
        change_page(input);
    }
    return 0;
}
