// Settings files of "key=value" lines, among the virtual files.
#include "platform/common/settings_line.h"
#include "platform/sim/virtual_router.h"
#include "platform/vos.h"

using sim::Call;
using sim::router;

extern "C" int vos_get_value_from_file(const char *file, const char *key, char *value)
{
    value[0] = '\0';
    if (router().faults.hits(Call::vos_get_value_from_file))
        return -1;
    const int fd = router().files.open(file, 0);
    if (fd < 0)
        return -1;
    router().files.close(fd);
    const std::string text = router().files.text_of(file);
    for (size_t begin = 0; begin < text.size(); begin = text.find('\n', begin) + 1) {
        const size_t end = std::min(text.find('\n', begin), text.size());
        if (settings_line_value(text.data() + begin, end - begin, key, value))
            return 0;
        if (end == text.size())
            break;
    }
    return -1;
}
