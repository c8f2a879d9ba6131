// The commands for the store. It is closed before anything is printed: whoever reads the output may take his time, and
// there are only some hundred places for processes that look at the store.
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <string>
#include <unistd.h>

#include "platform/config_store.h"
#include "platform/linux/store/admin.h"
#include "tools/cfm/commands.h"
#include "tools/cfm/output.h"

namespace
{

bool append(void *text, const char *piece, size_t length)
{
    static_cast<std::string *>(text)->append(piece, length);
    return true;
}

} // namespace

int get(const std::string &key)
{
    const auto value = std::make_unique_for_overwrite<char[]>(CONFIG_STORE_VALUE_MAX + 1);
    if (!config_store_open())
        return FAILED;
    const bool is_found = GetValue(key.c_str(), value.get(), CONFIG_STORE_VALUE_MAX + 1) != 0;
    config_store_close();
    if (!is_found)
        return fail("no key '" + key + "'");
    // Programs take values as they are; a terminal would obey them.
    const std::string text = value.get();
    const std::string safe = shown(text, true);
    return print((safe != text && isatty(STDOUT_FILENO) != 0 ? safe : text) + '\n');
}

int set(const std::string &key, const std::string &value)
{
    return SetValue(key.c_str(), value.c_str()) != 0 ? DONE : FAILED;
}

int unset(const std::string &key)
{
    const int result = config_store_unset(key.c_str());
    if (result == 0)
        return fail("no key '" + key + "'");
    return result > 0 ? DONE : FAILED;
}

int export_all()
{
    std::string text;
    const bool is_exported = config_store_export(append, &text);
    config_store_close();
    return is_exported ? print(shown(text, true)) : FAILED;
}

int import(const std::string &file)
{
    if (file == "-")
        return config_store_import(STDIN_FILENO, "standard input") ? DONE : FAILED;
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return fail("cannot open " + file + ": " + std::strerror(errno));
    const bool imported = config_store_import(fd, file.c_str());
    close(fd);
    return imported ? DONE : FAILED;
}

int commit()
{
    return CommitCfm() != 0 ? DONE : FAILED;
}
