#include "tools/key_table.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
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

// Goes through the columns.
struct reader {
    const char *next;

    std::string_view take()
    {
        const std::string_view text = next;
        next += text.size() + 1;
        return text;
    }
};

// A key, from its first column on.
row take_key(reader &text)
{
    return {.key = text.take(),
            .type = named<type>(TYPES, text.take()),
            .range = text.take(),
            .standard = text.take(),
            .kind = named<kind>(KINDS, text.take()),
            .writers = text.take(),
            .after = text.take(),
            .meaning = text.take(),
            .traps = {},
            .reads = {},
            .writes = {}};
}

class contents
{
public:
    contents()
    {
        while (text.next < static_cast<const char *>(ROWS) + sizeof ROWS - 1)
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

    void take_row()
    {
        const char what = text.take()[0];
        if (what == 'K') {
            add_key();
            return;
        }
        if (what == 'T')
            traps.push_back(text.take());
        else if (what == 'R')
            reads.push_back({text.take(), text.take(), text.take(), text.take()});
        else
            writes.push_back({text.take(), text.take()});
        has_details = true;
        for (size_t i = group; i < details.size(); i++) { // all of a family's keys
            details[i].traps.end = traps.size();
            details[i].reads.end = reads.size();
            details[i].writes.end = writes.size();
        }
    }

    void add_key()
    {
        if (has_details)
            group = rows.size();
        has_details = false;
        rows.push_back(take_key(text));
        details.push_back({{traps.size(), traps.size()}, {reads.size(), reads.size()}, {writes.size(), writes.size()}});
    }

    reader text = {ROWS};
    size_t group = 0; // the first of the keys that the details are about
    bool has_details = false;
    std::vector<row_details> details; // beside rows
    std::vector<std::string_view> traps;
    std::vector<read> reads;
    std::vector<write> writes;
};

// ---- where the keys are ----

// Which letters stand in a key, in any number and place. One change of a key changes two of them at the most.
constexpr uint32_t letters_of(std::string_view key)
{
    uint32_t letters = 0;
    for (const char c : key)
        if (c < '0' || c > '9')
            letters |= 1U << (static_cast<unsigned char>(c) & 31U);
    return letters;
}

// What tells at once that a key is another one.
struct entry {
    uint16_t at; // where its row's columns begin
    uint8_t length;
    bool is_pattern;
    uint32_t letters; // without those of a pattern's conversion
};

constexpr bool is_key_at(size_t i)
{
    return ROWS[i] == 'K' && ROWS[i + 1] == '\0' && (i == 0 || ROWS[i - 1] == '\0');
}

constexpr size_t count_keys()
{
    size_t keys = 0;
    for (size_t i = 0; i + 1 < sizeof ROWS; i++)
        keys += is_key_at(i) ? 1 : 0;
    return keys;
}

constexpr size_t KEYS = count_keys();

constexpr std::array<entry, KEYS> find_entries()
{
    std::array<entry, KEYS> found = {};
    size_t number = 0;
    for (size_t i = 0; i + 1 < sizeof ROWS; i++) {
        if (!is_key_at(i))
            continue;
        size_t end = i + 2;
        while (ROWS[end] != '\0')
            end++;
        const std::string_view key(&ROWS[i + 2], end - i - 2);
        const size_t conversion = key.find('%');
        const bool is_pattern = conversion != std::string_view::npos;
        const uint32_t letters =
            letters_of(key.substr(0, conversion)) | (is_pattern ? letters_of(key.substr(conversion + 2)) : 0);
        found.at(number++) = {static_cast<uint16_t>(i + 2), static_cast<uint8_t>(key.size()), is_pattern, letters};
    }
    return found;
}

constexpr std::array<entry, KEYS> ENTRIES = find_entries();

std::string_view key_of(const entry &entry)
{
    return {&ROWS[entry.at], entry.length};
}

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

const entry *find_entry(std::string_view key)
{
    for (const entry &entry : ENTRIES)
        if (entry.is_pattern ? matches(parts(key_of(entry)), key) : key == key_of(entry))
            return &entry;
    return nullptr;
}

// ---- nearness ----

constexpr size_t FAR = 4; // changes: no two keys that look alike need as many

size_t cost_of(char c)
{
    return is_digit(c) ? 2 : 1;
}

constexpr size_t LONGEST = 63; // longer than any key of the table, with a number
using costs = std::array<uint8_t, LONGEST + 1>;

// The cheapest way to the first `i` + 1 characters of one and the first `j` + 1 of the other, from those before.
uint8_t cheapest(std::string_view one, size_t i, std::string_view other, size_t j, const std::array<costs *, 3> &rows)
{
    const auto &[current, last, before] = rows;
    const size_t cost_of_one = cost_of(one[i]);
    const size_t cost_of_other = cost_of(other[j]);
    const size_t replaced = cost_of_one + cost_of_other > 2 ? FAR : 1;
    size_t fewest = std::min({(*last)[j + 1] + cost_of_one, (*current)[j] + cost_of_other,
                              (*last)[j] + (one[i] == other[j] ? 0 : replaced)});
    if (i > 0 && j > 0 && one[i] == other[j - 1] && one[i - 1] == other[j])
        fewest = std::min<size_t>(fewest, (*before)[j - 1] + 1);
    return static_cast<uint8_t>(std::min(fewest, FAR));
}

// How many changes make one of the other: a character more, less, another, or two that changed places. A digit counts
// for two, and another digit in its place for too much: ssid2 is a network of its own and no misspelt ssid1. FAR at the
// most. Only what lies near the diagonal is looked at: what does not has cost too much.
size_t distance(std::string_view one, std::string_view other)
{
    if (std::max(one.size(), other.size()) >= std::min(one.size(), other.size()) + FAR || other.size() > LONGEST)
        return FAR;
    std::array<costs, 3> memory = {};
    std::array<costs *, 3> rows = {memory.data(), &memory[1], &memory[2]}; // the current one, the last, the one before
    for (size_t j = 0; j < other.size(); j++)
        (*rows[0])[j + 1] = static_cast<uint8_t>(std::min((*rows[0])[j] + cost_of(other[j]), FAR));
    for (size_t i = 0; i < one.size(); i++) {
        rows = {rows[2], rows[0], rows[1]};
        rows[0]->fill(FAR);
        (*rows[0])[0] = static_cast<uint8_t>(std::min((*rows[1])[0] + cost_of(one[i]), FAR));
        const size_t end = std::min(other.size(), i + FAR);
        for (size_t j = i < FAR ? 0 : i - FAR; j < end; j++)
            (*rows[0])[j + 1] = cheapest(one, i, other, j, rows);
        if (i > 0 && *std::min_element(rows[0]->begin(), rows[0]->end()) == FAR &&
            *std::min_element(rows[1]->begin(), rows[1]->end()) == FAR)
            return FAR;
    }
    return (*rows[0])[other.size()];
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
    const entry *const found = find_entry(key);
    return found == nullptr ? nullptr : &table()[static_cast<size_t>(found - ENTRIES.data())];
}

std::optional<row> find_bare(std::string_view key)
{
    const entry *const found = find_entry(key);
    if (found == nullptr)
        return std::nullopt;
    reader text = {&ROWS[found->at]};
    return take_key(text);
}

std::string_view nearest(std::string_view key)
{
    const uint32_t letters = letters_of(key);
    std::string_view found;
    size_t fewest = std::min(key.size() / 4 + 1, FAR);
    for (const entry &entry : ENTRIES) {
        // A pattern's name may bring any letters.
        const bool has_name = entry.is_pattern && key_of(entry).find("%s") != std::string_view::npos;
        const uint32_t changed = has_name ? entry.letters & ~letters : entry.letters ^ letters;
        if (static_cast<size_t>(std::popcount(changed)) > 2 * (fewest - 1))
            continue;
        const size_t changes = distance(key, filled(key_of(entry), key));
        if (changes < fewest) {
            fewest = changes;
            found = key_of(entry);
        }
        if (fewest == 0)
            break;
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
