#include "tools/tcctl/settings.h"

#include <algorithm>
#include <utility>

#include "platform/linux/store/text.h"
#include "time_check/time_check_text.h"
#include "tools/key_table.h"

namespace tcctl
{

namespace
{

// What a commit or an export ends with.
constexpr std::string_view LAST_LINE_BEGIN = "# end: ";

bool is_export(std::string_view text)
{
    while (text.ends_with('\n'))
        text.remove_suffix(1);
    const size_t end = text.rfind('\n');
    return text.substr(end == std::string_view::npos ? 0 : end + 1).starts_with(LAST_LINE_BEGIN);
}

// ---- one line by itself, read by the store's own reader ----

struct line_read {
    store_text_line kind = STORE_TEXT_END;
    std::string key;
    std::string value;
    std::string fault;
};

line_read read_one(std::string_view line)
{
    std::string text(line);
    const size_t length = text.size();
    text += '\0'; // the reader writes there
    store_text_reader reader = {.next = text.data(),
                                .end = text.data() + length,
                                .line_number = 0,
                                .key = nullptr,
                                .value = nullptr,
                                .fault = nullptr};
    line_read result;
    result.kind = store_text_read(&reader);
    if (result.kind == STORE_TEXT_SETTING) {
        result.key = reader.key;
        result.value = reader.value;
    } else if (result.kind == STORE_TEXT_BAD) {
        result.fault = reader.fault;
    }
    return result;
}

// Whether a line is wrong that begins so, however it goes on. A beginning that ends inside a good escape is not: it is
// right again with up to three characters more.
bool is_wrong_from(std::string_view line, size_t length)
{
    constexpr size_t REST_OF_ESCAPE = 3;
    const size_t last = std::min(length + REST_OF_ESCAPE, line.size());
    for (size_t taken = length; taken <= last; taken++) {
        std::string beginning(line.substr(0, taken));
        if (beginning.find('=') == std::string::npos)
            beginning += '=';
        if (read_one(beginning).kind != STORE_TEXT_BAD)
            return false;
    }
    return true;
}

// Where the fault of a line is. One that lacks its "=" lacks it at its end.
size_t column_of_fault(std::string_view line)
{
    size_t right = 0;               // so many characters are not wrong,
    size_t wrong = line.size() + 1; // and so many are
    while (right + 1 < wrong) {
        const size_t middle = right + (wrong - right) / 2;
        if (is_wrong_from(line, middle))
            wrong = middle;
        else
            right = middle;
    }
    return wrong;
}

} // namespace

std::vector<bad_line> settings::add_text(const std::string &file, const std::string &text)
{
    std::vector<bad_line> bad;
    const size_t file_number = files++;
    whole = whole || is_export(text);
    std::string_view rest = text;
    for (unsigned number = 1; !rest.empty(); number++) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(rest.size(), line.size() + 1));
        line_read read = read_one(line);
        if (read.kind == STORE_TEXT_BAD)
            bad.push_back({number, column_of_fault(line), std::move(read.fault)});
        if (read.kind != STORE_TEXT_SETTING)
            continue;
        setting given = {std::move(read.key), std::move(read.value), file, file_number, number};
        const auto before = kept.find(given.key);
        if (before != kept.end()) {
            if (before->second.file_number == file_number) // a file may well replace what one before it says
                lost.push_back({before->second, given});
            kept.erase(before);
        }
        kept.emplace(given.key, std::move(given));
    }
    return bad;
}

void settings::add_store(const std::string &text)
{
    add_text("", text);
    for (auto &[key, given] : kept)
        given.line = 0;
    whole = true;
}

bool settings::is_whole() const
{
    return whole;
}

void settings::set_whole()
{
    whole = true;
}

const setting *settings::find(const std::string &key) const
{
    const auto found = kept.find(key);
    return found == kept.end() ? nullptr : &found->second;
}

bool settings::has(const std::string &key) const
{
    return find(key) != nullptr;
}

std::string settings::value(const std::string &key) const
{
    const setting *const found = find(key);
    return found == nullptr ? "" : found->value;
}

int32_t settings::number(const std::string &key) const
{
    const std::string text = value(key);
    if (!text.empty())
        return time_check_atoi(text.c_str());
    const keys::row *const row = keys::find(key);
    return row == nullptr ? 0 : time_check_atoi(std::string(row->standard).c_str());
}

bool settings::may_be_on(const std::string &key) const
{
    return has(key) || whole ? number(key) != 0 : true;
}

const std::map<std::string, setting> &settings::all() const
{
    return kept;
}

const std::vector<settings::replaced_setting> &settings::replaced() const
{
    return lost;
}

} // namespace tcctl
