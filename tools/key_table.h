// The table of the store's keys (platform/config_keys.def) for programs that look a key up while they run.
//
// It is read at the first call that asks for it, so that a program that never asks pays nothing for it. Any thread.
#ifndef TOOLS_KEY_TABLE_H
#define TOOLS_KEY_TABLE_H

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace keys
{

// What platform/config_keys.def says of each, in its order there.
enum class type { flag, number, text, word, time, weekly_time, days, interface, address };
enum class kind { setting, secret, state, published };

// As they are written above.
std::string_view name_of(type type);
std::string_view name_of(kind kind);

struct read {
    std::string_view unit;
    std::string_view when; // "start, message"
    std::string_view missing;
    std::string_view meaning; // "": what the key's own says
};

struct write {
    std::string_view unit;
    std::string_view meaning;
};

// One key or pattern of keys. The texts live as long as the program.
struct row {
    std::string_view key; // a pattern has "%d" or "%u", a number from 1, or "%s", a name
    keys::type type;
    std::string_view range;
    std::string_view standard;
    keys::kind kind;
    std::string_view writers;
    std::string_view after;
    std::string_view meaning;
    std::span<const std::string_view> traps;
    std::span<const read> reads;
    std::span<const write> writes;
};

// In the order of the file.
std::span<const row> table();

// The row of a key, or null when there is none. A pattern itself is no key.
const row *find(std::string_view key);

// The same without traps, reads and writes, for programs that start often: the table is not put together for it.
std::optional<row> find_bare(std::string_view key);

// The key of the table that somebody probably meant, as it stands there; "" when none is near. Other programs have keys
// in the store as well: a key that differs in a number alone is taken for one of theirs.
std::string_view nearest(std::string_view key);

// A pattern of the table with the numbers and the name that stand in `key`, "1" and "NAME" for what does not:
// "wan%d_isonln" and "wan2.isonln" give "wan2_isonln".
std::string filled(std::string_view pattern, std::string_view key);

// Why a value is outside what the row says, such as "it is not within 0..3"; none when it is inside. An empty value is:
// it counts as a missing one.
std::optional<std::string> range_fault(const row &row, std::string_view value);

} // namespace keys

#endif
