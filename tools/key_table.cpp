#include "tools/key_table.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

namespace keys
{

namespace
{

// The table's rows as one text: a letter that says what a row is, then its columns, each with its end. An array of
// pointers would be relocated at every start of a program, which may not need it at all.
#define CONFIG_KEY(NAME, key, TYPE, range, standard, KIND, writers, after, meaning)                                    \
    "K\0" key "\0" #TYPE "\0" range "\0" standard "\0" #KIND "\0" writers "\0" after "\0" meaning "\0"
#define CONFIG_TRAP(text)                         "T\0" text "\0"
#define CONFIG_READ(unit, when, missing, meaning) "R\0" #unit "\0" when "\0" missing "\0" meaning "\0"
#define CONFIG_WRITE(unit, meaning)               "W\0" #unit "\0" meaning "\0"
constexpr char ROWS[] =
#include "platform/config_keys.def"
    ;

constexpr std::array<std::string_view, 9> TYPES = {"flag",        "number", "text",      "word",   "time",
                                                   "weekly_time", "days",   "interface", "address"};
constexpr std::array<std::string_view, 4> KINDS = {"setting", "secret", "state", "published"};

bool is_same_letter(char one, char other)
{
    return one == other || (one >= 'A' && one <= 'Z' && one - 'A' + 'a' == other);
}

// The place of a name, which the rows write in capitals.
template <typename Result, size_t Size>
Result named(const std::array<std::string_view, Size> &names, std::string_view name)
{
    const auto *const found = std::find_if(names.begin(), names.end(), [&](std::string_view each) {
        return std::equal(name.begin(), name.end(), each.begin(), each.end(), is_same_letter);
    });
    return static_cast<Result>(found - names.begin());
}

// Where a row's details are among those of all rows.
struct place {
    size_t first = 0;
    size_t end = 0;
};

struct row_details {
    place traps;
    place reads;
    place writes;
};

class contents
{
public:
    contents()
    {
        while (next < static_cast<const char *>(ROWS) + sizeof ROWS - 1)
            take_row();
        for (size_t i = 0; i < rows.size(); i++) {
            rows[i].traps = part(traps, details[i].traps);
            rows[i].reads = part(reads, details[i].reads);
            rows[i].writes = part(writes, details[i].writes);
        }
    }
    std::vector<row> rows;

private:
    template <typename Detail>
    static std::span<const Detail> part(const std::vector<Detail> &all, place place)
    {
        return std::span(all).subspan(place.first, place.end - place.first);
    }

    std::string_view take()
    {
        const std::string_view text = next;
        next += text.size() + 1;
        return text;
    }

    void take_row()
    {
        const char what = take()[0];
        if (what == 'K') {
            take_key();
            return;
        }
        if (what == 'T')
            traps.push_back(take());
        else if (what == 'R')
            reads.push_back({take(), take(), take(), take()});
        else
            writes.push_back({take(), take()});
        has_details = true;
        for (size_t i = group; i < details.size(); i++) { // all of a family's keys
            details[i].traps.end = traps.size();
            details[i].reads.end = reads.size();
            details[i].writes.end = writes.size();
        }
    }

    void take_key()
    {
        if (has_details)
            group = rows.size();
        has_details = false;
        rows.push_back({.key = take(),
                        .type = named<type>(TYPES, take()),
                        .range = take(),
                        .standard = take(),
                        .kind = named<kind>(KINDS, take()),
                        .writers = take(),
                        .after = take(),
                        .meaning = take(),
                        .traps = {},
                        .reads = {},
                        .writes = {}});
        details.push_back({{traps.size(), traps.size()}, {reads.size(), reads.size()}, {writes.size(), writes.size()}});
    }

    const char *next = ROWS;
    size_t group = 0; // the first of the keys that the details are about
    bool has_details = false;
    std::vector<row_details> details; // beside rows
    std::vector<std::string_view> traps;
    std::vector<read> reads;
    std::vector<write> writes;
};

// ---- patterns ----

bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

size_t digits_at(std::string_view text)
{
    return static_cast<size_t>(std::find_if_not(text.begin(), text.end(), is_digit) - text.begin());
}

struct parts {
    explicit parts(std::string_view text) : before(text.substr(0, text.find('%')))
    {
        if (before.size() == text.size())
            return;
        conversion = text[before.size() + 1];
        after = text.substr(before.size() + 2);
    }
    std::string_view before;
    char conversion = '\0';
    std::string_view after;
};

bool matches(const parts &pattern, std::string_view key)
{
    if (pattern.conversion == '\0')
        return key == pattern.before;
    if (!key.starts_with(pattern.before) || !key.ends_with(pattern.after) ||
        key.size() <= pattern.before.size() + pattern.after.size())
        return false;
    key = key.substr(pattern.before.size(), key.size() - pattern.before.size() - pattern.after.size());
    return pattern.conversion == 's' || (key[0] != '0' && digits_at(key) == key.size());
}

// What stands in the key where the pattern has its conversion, as near as that can be told.
std::string_view number_in(std::string_view key)
{
    const auto *const first = std::find_if(key.begin(), key.end(), is_digit);
    key.remove_prefix(static_cast<size_t>(first - key.begin()));
    return key.empty() ? "1" : key.substr(0, digits_at(key));
}

std::string_view name_in(std::string_view key)
{
    const size_t first = key.find('.');
    const size_t last = key.rfind('.');
    return first == std::string_view::npos || last <= first + 1 ? "NAME" : key.substr(first + 1, last - first - 1);
}

// ---- nearness ----

constexpr size_t FAR = 4; // changes: no two keys that look alike need as many

size_t cost_of(char c)
{
    return is_digit(c) ? 2 : 1;
}

// How many changes make one of the other: a character more, less, another, or two that changed places. A digit counts
// for two, and another digit in its place for too much: ssid2 is a network of its own and no misspelt ssid1.
size_t distance(std::string_view one, std::string_view other)
{
    std::vector<size_t> before(other.size() + 1);
    std::vector<size_t> last(other.size() + 1);
    std::vector<size_t> current(other.size() + 1);
    for (size_t j = 0; j < other.size(); j++)
        last[j + 1] = last[j] + cost_of(other[j]);
    for (size_t i = 0; i < one.size(); i++) {
        current[0] = last[0] + cost_of(one[i]);
        for (size_t j = 0; j < other.size(); j++) {
            const bool is_same = one[i] == other[j];
            const size_t replaced = std::max(cost_of(one[i]), cost_of(other[j])) > 1 ? FAR : 1;
            current[j + 1] = std::min(
                {last[j + 1] + cost_of(one[i]), current[j] + cost_of(other[j]), last[j] + (is_same ? 0 : replaced)});
            if (i > 0 && j > 0 && one[i] == other[j - 1] && one[i - 1] == other[j])
                current[j + 1] = std::min(current[j + 1], before[j - 1] + 1);
        }
        std::swap(before, last);
        std::swap(last, current);
    }
    return last[other.size()];
}

} // namespace

std::string_view name_of(type type)
{
    return TYPES[static_cast<size_t>(type)];
}

std::string_view name_of(kind kind)
{
    return KINDS[static_cast<size_t>(kind)];
}

std::span<const row> table()
{
    static const contents CONTENTS;
    return CONTENTS.rows;
}

const row *find(std::string_view key)
{
    const std::span<const row> rows = table();
    const auto found = std::find_if(rows.begin(), rows.end(), [&](const row &row) {
        return row.key.substr(0, 1) == key.substr(0, 1) && matches(parts(row.key), key);
    });
    return found == rows.end() ? nullptr : &*found;
}

std::string_view nearest(std::string_view key)
{
    std::string_view found;
    size_t fewest = std::min(key.size() / 4 + 1, FAR);
    for (const row &row : table()) {
        const std::string meant = filled(row.key, key);
        const size_t longer = std::max(meant.size(), key.size()) - std::min(meant.size(), key.size());
        const size_t changes = longer >= fewest ? longer : distance(key, meant);
        if (changes < fewest) {
            fewest = changes;
            found = row.key;
        }
    }
    return found;
}

std::string filled(std::string_view pattern, std::string_view key)
{
    const parts parts(pattern);
    std::string result(parts.before);
    if (parts.conversion != '\0')
        result += parts.conversion == 's' ? name_in(key) : number_in(key);
    result += parts.after;
    return result;
}

} // namespace keys
