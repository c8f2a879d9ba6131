// The commands that change the store, and the one that scripts call most.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

#include "platform/config_store.h"
#include "platform/linux/store/admin.h"
#include "tools/cfm/commands.h"
#include "tools/cfm/output.h"
#include "tools/cfm/settings.h"
#include "tools/key_table.h"

namespace
{

std::array<char, CONFIG_STORE_VALUE_MAX + 1> value_of_key; // which get prints

// ---- warnings ----

// What looks like a mistake, which is stored all the same: programs share the store, and what the daemon makes of a
// value is its own affair (decision 0150).
void warn_of(const std::string &key, const std::string &value, bool is_any_unknown)
{
    const std::optional<keys::row> row = keys::find_bare(key);
    if (!row) {
        const std::string_view near = keys::nearest(key);
        if (!near.empty())
            tell(key + " is no key that the daemon reads (did you mean " + keys::filled(near, key) + "?)");
        else if (is_any_unknown)
            tell(key + " is no key that the daemon reads");
        return;
    }
    const std::optional<std::string> fault = keys::range_fault(*row, value);
    if (fault)
        tell(key + (row->kind == keys::kind::secret ? "" : "=" + value.substr(0, 80)) + ": " + *fault);
}

void warn_of_imported(void * /*context*/, const char *key, const char *value)
{
    warn_of(key, value, false);
}

// ---- applying ----

// What to do after a change of any of these keys, each thing once, in the order of the keys.
std::vector<std::string> things_to_do(const assignments &changed)
{
    std::vector<std::string> things;
    for (const auto &[key, value] : changed) {
        const std::optional<keys::row> row = keys::find_bare(key);
        std::string_view rest = row ? row->after : std::string_view();
        while (!rest.empty()) {
            const std::string thing(rest.substr(0, rest.find(' ')));
            rest.remove_prefix(std::min(rest.size(), thing.size() + 1));
            if (std::find(things.begin(), things.end(), thing) == things.end())
                things.push_back(thing);
        }
    }
    return things;
}

// A message "MODULE?..." or "MODULE" for the daemon, or "KEY=VALUE".
int do_thing(const std::string &thing)
{
    const size_t equals = thing.find('=');
    if (equals == std::string::npos || thing.find('?') < equals)
        return post("time_check", thing);
    return SetValue(thing.substr(0, equals).c_str(), thing.substr(equals + 1).c_str()) != 0 ? DONE : FAILED;
}

int apply_changes(const assignments &changed)
{
    if (commit() != DONE)
        return FAILED;
    int outcome = DONE;
    for (const std::string &thing : things_to_do(changed))
        if (do_thing(thing) != DONE)
            outcome = FAILED;
    return outcome;
}

} // namespace

// The store is closed before anything is printed: whoever reads the output may take his time, and there are only some
// hundred places for processes that look at the store.
int get(const std::string &key)
{
    if (!open_store(config_store_open_to_read))
        return FAILED;
    const bool is_found = GetValue(key.c_str(), value_of_key.data(), value_of_key.size()) != 0;
    config_store_leave();
    if (!is_found)
        return fail("no key '" + key + "'");
    // Programs take values as they are; a terminal would obey them.
    const std::string text = value_of_key.data();
    if (isatty(STDOUT_FILENO) != 0)
        return print(shown(text, true) + '\n');
    return print(text + '\n');
}

int set(const assignments &wanted, bool apply)
{
    if (!open_store())
        return FAILED;
    const bool is_person = isatty(STDERR_FILENO) != 0; // who may want to know that the key is another program's
    for (const auto &[key, value] : wanted) {
        if (SetValue(key.c_str(), value.c_str()) == 0)
            return FAILED;
        warn_of(key, value, is_person);
    }
    return apply ? apply_changes(wanted) : DONE;
}

int unset(const std::vector<std::string> &keys)
{
    int outcome = DONE;
    for (const std::string &key : keys) {
        const int result = config_store_unset(key.c_str());
        if (result <= 0)
            outcome = result == 0 ? fail("no key '" + key + "'") : FAILED;
    }
    return outcome;
}

int import(const std::string &file)
{
    if (file == "-")
        return config_store_import(STDIN_FILENO, "standard input", warn_of_imported) ? DONE : FAILED;
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return fail("cannot open " + file + ": " + std::strerror(errno));
    const bool imported = config_store_import(fd, file.c_str(), warn_of_imported);
    close(fd);
    return imported ? DONE : FAILED;
}

int export_all()
{
    std::string text;
    const bool is_exported = config_store_export(
        [](void *all, const char *piece, size_t length) {
            static_cast<std::string *>(all)->append(piece, length);
            return true;
        },
        &text);
    config_store_close();
    return is_exported ? print(shown(text, true)) : FAILED;
}

int commit()
{
    return CommitCfm() != 0 ? DONE : FAILED;
}
