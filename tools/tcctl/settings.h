// Settings as a file or the running store has them.
#ifndef TOOLS_TCCTL_SETTINGS_H
#define TOOLS_TCCTL_SETTINGS_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tcctl
{

struct setting {
    std::string key;
    std::string value;
    std::string file;       // "" for the running store
    size_t file_number = 0; // among the files read
    unsigned line = 0;      // from 1; 0 for the running store
};

// A line that cannot be read.
struct bad_line {
    unsigned line;
    size_t column; // bytes, from 1
    std::string why;
};

class settings
{
public:
    // Adds a text of lines "key=value", as `cfm import` takes it. Of a key that comes twice the later value counts.
    // What cannot be read is left out and told of.
    std::vector<bad_line> add_text(const std::string &file, const std::string &text);

    // The same for the lines of the running store, which is whole.
    void add_store(const std::string &text);

    // Whether a key that is not there is nowhere: so it is in the store, and in what a commit or an export wrote. Any
    // other file only adds to a store (decision 0154).
    [[nodiscard]] bool is_whole() const;
    void set_whole();

    // Null when there is none.
    [[nodiscard]] const setting *find(const std::string &key) const;
    [[nodiscard]] bool has(const std::string &key) const;

    // "" when there is none.
    [[nodiscard]] std::string value(const std::string &key) const;

    // As the daemon reads it; a key that is missing or empty has the number of the table's standard.
    [[nodiscard]] int32_t number(const std::string &key) const;

    // Whether the switch under `key` is on, or may be: a file may be for a store that has it on.
    [[nodiscard]] bool may_be_on(const std::string &key) const;

    // By key.
    [[nodiscard]] const std::map<std::string, setting> &all() const;

    // What a later line of the same file replaced.
    struct replaced_setting {
        setting given;
        setting by;
    };
    [[nodiscard]] const std::vector<replaced_setting> &replaced() const;

private:
    std::map<std::string, setting> kept;
    std::vector<replaced_setting> lost;
    size_t files = 0;
    bool whole = false;
};

} // namespace tcctl

#endif
