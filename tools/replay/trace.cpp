#include "tools/replay/trace.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <utility>

#include <fmt/format.h>

namespace replay
{

namespace
{

constexpr std::string_view HEAD = "time_check trace 1";
constexpr size_t FILE_MAX = size_t{256} * 1024 * 1024;
constexpr micros UPTIME_MAX = 1000000000 * SECOND;
constexpr int64_t NUMBER_MAX = 1000000;
constexpr size_t ZONE_MAX = 100;

struct shape {
    std::string_view word;
    std::string_view words;
};
constexpr std::array SHAPES = {
#define TRACE_KIND(name, word, words) shape{word, words},
#include "tools/replay/kinds.def"
};

struct fault {
    size_t at; // from 0
    std::string why;
};

// ---- words ----

bool is_hex(char c)
{
    return std::string_view("0123456789abcdefABCDEF").find(c) != std::string_view::npos;
}

// The byte that an escape stands for, and the bytes that it takes; 0 bytes: it is none.
std::pair<char, size_t> escape_at(std::string_view text)
{
    constexpr std::string_view LETTERS = "\\nrt";
    constexpr std::string_view MEANT = "\\\n\r\t";
    if (text.size() >= 2)
        if (const size_t found = LETTERS.find(text[1]); found != std::string_view::npos)
            return {MEANT[found], 2};
    unsigned value = 0;
    if (text.size() < 4 || text[1] != 'x' || !is_hex(text[2]) || !is_hex(text[3]))
        return {0, 0};
    std::from_chars(text.data() + 2, text.data() + 4, value, 16);
    return {static_cast<char>(value), value == 0 ? 0 : 4};
}

std::string decoded(std::string_view text, size_t at)
{
    std::string result;
    for (size_t i = 0; i < text.size();) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte < 0x20 || byte == 0x7F)
            throw fault{at + i, "a control character"};
        const auto [meant, length] = text[i] == '\\' ? escape_at(text.substr(i)) : std::pair(text[i], size_t{1});
        if (length == 0)
            throw fault{at + i, "a backslash that begins no escape"};
        result += meant;
        i += length;
    }
    return result;
}

// `more` are bytes that would end the word.
std::string encoded(std::string_view text, std::string_view more = "")
{
    constexpr std::string_view NAMED = "\\\n\r\t";
    constexpr std::string_view LETTERS = "\\nrt";
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (const size_t found = NAMED.find(c); found != std::string_view::npos)
            result += {'\\', LETTERS[found]};
        else if (byte < 0x20 || byte == 0x7F || more.find(c) != std::string_view::npos)
            result += fmt::format("\\x{:02x}", byte);
        else
            result += c;
    }
    return result;
}

// A word that would be read as something else than itself.
std::string encoded_word(char form, const std::string &word)
{
    if (word.empty())
        return form == 'a' ? "*" : "-";
    if (word == "-" || word == "*")
        return fmt::format("\\x{:02x}", static_cast<unsigned>(word[0]));
    return encoded(word, " ");
}

int64_t read_number(std::string_view word, size_t at, int64_t least)
{
    int64_t value = 0;
    const auto result = std::from_chars(word.data(), word.data() + word.size(), value);
    if (result.ec != std::errc() || result.ptr != word.data() + word.size() || value < least || value > NUMBER_MAX)
        throw fault{at, fmt::format("no number from {} to {}", least, NUMBER_MAX)};
    return value;
}

void check_bytes(std::string_view word, size_t at)
{
    uint64_t value = 0;
    const auto result = std::from_chars(word.data(), word.data() + word.size(), value);
    if (result.ec != std::errc() || result.ptr != word.data() + word.size())
        throw fault{at, "no number of bytes, 0 to 18446744073709551615"};
}

void check_percent(std::string_view word, size_t at)
{
    const size_t point = std::min(word.find('.'), word.size());
    const std::string_view decimals = word.substr(std::min(point + 1, word.size()));
    if (point < word.size() &&
        (decimals.empty() || decimals.size() > 2 || decimals.find_first_not_of("0123456789") != std::string_view::npos))
        throw fault{at, "no number of per cent with two decimals at most"};
    read_number(word.substr(0, point), at, 0);
}

void check_one_of(std::string_view word, size_t at, std::string_view first, std::string_view second)
{
    if (word != first && word != second)
        throw fault{at, fmt::format("neither {} nor {}", first, second)};
}

void check_zone(const std::string &word, size_t at)
{
    if (word.size() > ZONE_MAX || word.starts_with(':') || word.find('/') == 0 || word.find("..") != std::string::npos)
        throw fault{at, "no time zone"};
}

std::string read_word(char form, std::string_view raw, size_t at)
{
    if ((form == 'o' && raw == "-") || (form == 'a' && raw == "*"))
        return "";
    std::string word = decoded(raw, at);
    switch (form) {
    case 'n':
        read_number(word, at, -NUMBER_MAX);
        break;
    case 'p':
    case 'i':
        read_number(word, at, form == 'i' ? 1 : 0);
        break;
    case 'b':
        check_bytes(word, at);
        break;
    case 'c':
        check_percent(word, at);
        break;
    case 'l':
        check_one_of(word, at, "up", "down");
        break;
    case 'y':
        check_one_of(word, at, "yes", "no");
        break;
    case 'm':
        if (!read_moment(word))
            throw fault{at, "no moment such as 2026-03-02T23:00:00Z or 2026-03-02T23:00:00+01:00"};
        break;
    case 'z':
        check_zone(word, at);
        break;
    default:
        break;
    }
    return word;
}

std::vector<std::string> read_setting(std::string_view rest, size_t at)
{
    const size_t equals = rest.find('=');
    if (equals == std::string_view::npos)
        throw fault{at + rest.size(), "no '=' between key and value"};
    if (equals == 0)
        throw fault{at, "the key is empty"};
    return {decoded(rest.substr(0, equals), at), decoded(rest.substr(equals + 1), at + equals + 1)};
}

// ---- lines ----

// One line from its front.
class line_reader
{
public:
    explicit line_reader(std::string_view line) : line_(line)
    {
    }
    size_t at() const
    {
        return at_;
    }
    // "" at the end.
    std::string_view word()
    {
        at_ = std::min(line_.find_first_not_of(' ', next_), line_.size());
        next_ = std::min(line_.find(' ', at_), line_.size());
        return line_.substr(at_, next_ - at_);
    }
    bool at_end() const
    {
        return line_.find_first_not_of(' ', next_) == std::string_view::npos;
    }
    bool has_uptime() const
    {
        const size_t begin = line_.find_first_not_of(' ', next_);
        return begin != std::string_view::npos && line_[begin] == '+';
    }
    // What is behind one blank.
    std::string_view rest()
    {
        at_ = std::min(next_ + 1, line_.size());
        next_ = line_.size();
        return line_.substr(at_);
    }

private:
    std::string_view line_;
    size_t at_ = 0; // of the last word
    size_t next_ = 0;
};

micros read_uptime(std::string_view word, size_t at)
{
    const size_t point = std::min(word.find('.'), word.size());
    const std::string_view decimals = word.substr(std::min(point + 1, word.size()));
    int64_t seconds = 0;
    const auto result = std::from_chars(word.data() + 1, word.data() + point, seconds);
    if (result.ec != std::errc() || result.ptr != word.data() + point || seconds < 0 || seconds > UPTIME_MAX / SECOND ||
        decimals.size() > 6 || (point < word.size() && decimals.empty()) ||
        decimals.find_first_not_of("0123456789") != std::string_view::npos)
        throw fault{at, "no up-time in seconds, such as +7200 or +7200.25"};
    micros fraction = 0;
    for (size_t i = 0; i < 6; i++)
        fraction = fraction * 10 + (i < decimals.size() ? decimals[i] - '0' : 0);
    return seconds * SECOND + fraction;
}

kind read_kind(std::string_view word, size_t at)
{
    const auto *const found = std::ranges::find(SHAPES, word, &shape::word);
    if (found == SHAPES.end())
        throw fault{at, word.empty() ? "the line ends without saying what changed"
                                     : fmt::format("no kind of change: {}", decoded(word, at))};
    return static_cast<kind>(found - SHAPES.begin());
}

std::vector<std::string> read_words(line_reader &in, kind what)
{
    std::vector<std::string> words;
    for (const char form : SHAPES.at(static_cast<size_t>(what)).words) {
        const std::string_view raw = form == 't' || form == 's' ? in.rest() : in.word();
        if (form == 's')
            return read_setting(raw, in.at());
        if (raw.empty() && form != 't')
            throw fault{in.at(), fmt::format("{} has more words than these", name_of(what))};
        words.push_back(read_word(form, raw, in.at()));
    }
    if (!in.at_end()) {
        in.word();
        throw fault{in.at(), fmt::format("{} has fewer words than these", name_of(what))};
    }
    return words;
}

class trace_reader
{
public:
    void read_line(std::string_view line)
    {
        if (line.empty() || line.starts_with('#'))
            return;
        line_reader in(line);
        const std::string_view when = in.word();
        const std::optional<micros> moment = read_moment(when);
        if (!moment)
            throw fault{in.at(), "no moment such as 2026-03-02T23:00:00Z or 2026-03-02T23:00:00+01:00"};
        const std::optional<micros> uptime = place(*moment, in);
        const std::string_view word = in.word();
        const kind what = read_kind(word, in.at());
        const size_t at = in.at();
        read_.changes.push_back(
            {.elapsed = elapsed_, .what = what, .words = read_words(in, what), .uptime = uptime.value_or(-1)});
        follow(read_.changes.back(), at);
    }

    trace finish()
    {
        if (read_.changes.empty())
            throw fault{0, "the trace has no line that says what changed"};
        read_.length = elapsed_;
        return std::move(read_);
    }

private:
    // Where the line stands in time; the up-time that it tells. Only a change of the clock, which is said, makes the
    // calendar jump.
    std::optional<micros> place(micros moment, line_reader &in)
    {
        const size_t at = in.at();
        std::optional<micros> uptime;
        if (in.has_uptime()) {
            const std::string_view word = in.word();
            uptime = read_uptime(word, in.at());
        }
        if (read_.changes.empty()) {
            if (!uptime)
                throw fault{in.at(), "the first line tells the up-time, too, such as +7200"};
            read_.begin = wall_ = moment;
            read_.uptime = uptime_ = *uptime;
        }
        if (moment < wall_)
            throw fault{at, "this is before the line above"};
        const micros passed = moment - wall_;
        if (elapsed_ + passed > LENGTH_MAX)
            throw fault{at, "more than ten years since the first line"};
        if (uptime)
            check_uptime(*uptime, passed, in.at());
        elapsed_ += passed;
        uptime_ += passed;
        wall_ = moment;
        if (uptime)
            uptime_ = *uptime;
        return uptime;
    }

    // Either it goes with the calendar, or the router was started in between: at the moment of the line above, or a
    // little before by a clock that its start has set.
    void check_uptime(micros uptime, micros passed, size_t at) const
    {
        constexpr micros CLOCK_ERROR = 120 * SECOND;
        const bool is_anew = uptime <= passed || (uptime < uptime_ && uptime <= passed + CLOCK_ERROR);
        if (std::abs(uptime - uptime_ - passed) > SECOND && !is_anew)
            throw fault{at, fmt::format("the up-time is +{} by the lines above: the clock was changed, which a line "
                                        "with clock tells, or the router started, and the up-time is less",
                                        (uptime_ + passed) / SECOND)};
    }

    void follow(const change &made, size_t at)
    {
        if (ended_)
            throw fault{at, "the trace went to its end above"};
        ended_ = made.what == kind::end;
        if (made.what == kind::clock)
            wall_ = *read_moment(made.words[0]);
    }

    trace read_;
    micros wall_ = 0; // of the last line
    micros uptime_ = 0;
    micros elapsed_ = 0;
    bool ended_ = false;
};

} // namespace

std::string_view name_of(kind which)
{
    return SHAPES.at(static_cast<size_t>(which)).word;
}

trace parse(std::string_view text, const std::string &name)
{
    size_t number = 0;
    trace_reader reader;
    try {
        for (size_t begin = 0; begin < text.size() || number == 0;) {
            const size_t end = std::min(text.find('\n', begin), text.size());
            const std::string_view line = text.substr(begin, end - begin);
            number++;
            if (number > 1)
                reader.read_line(line);
            else if (line != HEAD)
                throw fault{0, fmt::format("no trace: its first line is not \"{}\"", HEAD)};
            begin = end + 1;
        }
        return reader.finish();
    } catch (const fault &found) {
        throw refused(fmt::format("{}:{}:{}: {}", name, number, found.at + 1, found.why));
    }
}

trace read(const std::string &path)
{
    const tools::text_file file = tools::read_text(path, FILE_MAX, "a trace");
    return parse(file.text, file.name);
}

std::string head()
{
    return std::string(HEAD) + '\n';
}

std::string line_of(micros moment, int offset_s, micros uptime, kind what, const std::vector<std::string> &words)
{
    const shape &form = SHAPES.at(static_cast<size_t>(what));
    std::string line = moment_text(moment, offset_s);
    if (uptime >= 0)
        line += fmt::format(" +{}", uptime / SECOND) + fraction_text(uptime % SECOND);
    line += fmt::format(" {}", form.word);
    if (form.words == "s")
        return line + fmt::format(" {}={}\n", encoded(words.at(0), " ="), encoded(words.at(1)));
    for (size_t i = 0; i < form.words.size(); i++)
        if (form.words[i] != 't')
            line += ' ' + encoded_word(form.words[i], words.at(i));
        else if (!words.at(i).empty())
            line += ' ' + encoded(words.at(i));
    return line + '\n';
}

} // namespace replay
