#include "tests/contract/pair/pair.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <map>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace pair
{

// splitmix64
uint64_t Random::next()
{
    state_ += 0x9e3779b97f4a7c15U;
    uint64_t mixed = state_;
    mixed = (mixed ^ (mixed >> 30U)) * 0xbf58476d1ce4e5b9U;
    mixed = (mixed ^ (mixed >> 27U)) * 0x94d049bb133111ebU;
    return (mixed ^ (mixed >> 31U)) >> 1U;
}

// ---- words ----

std::string quoted(std::string_view text)
{
    if (text.empty())
        return "%";
    std::string word;
    for (const char each : text) {
        const auto byte = static_cast<unsigned char>(each);
        char hex[4];
        snprintf(hex, sizeof hex, "%%%02x", byte);
        word += byte <= ' ' || byte >= 0x7f || each == '%' ? std::string(hex) : std::string(1, each);
    }
    return word;
}

std::string unquoted(std::string_view word)
{
    std::string text;
    for (size_t i = 0; i < word.size() && word != "%"; i++) {
        if (word[i] != '%' || i + 2 >= word.size()) {
            text += word[i];
            continue;
        }
        text += static_cast<char>(strtol(std::string(word.substr(i + 1, 2)).c_str(), nullptr, 16));
        i += 2;
    }
    return text;
}

int number_of(const std::string &word)
{
    return static_cast<int>(strtol(word.c_str(), nullptr, 10));
}

Words no_words(Random & /*random*/)
{
    return {};
}

std::string some_text(Random &random, int longest)
{
    std::string text;
    const int length = random.below(longest + 1);
    for (int i = 0; i < length; i++)
        text += random.one_in(12) ? random.pick(std::string_view("\n\t\0\x80\xff =%'\"\\", 11))
                                  : static_cast<char>('a' + random.below(26));
    return text;
}

// ---- answers ----

void Answer::word(std::string_view word)
{
    line_.append(line_.empty() ? "" : " ").append(word);
}

void Answer::number(long long value)
{
    word(std::to_string(value));
}

void Answer::result(long long value)
{
    const int error = errno;
    number(value);
    if (value < 0)
        word(strerrorname_np(error) == nullptr ? "no error" : strerrorname_np(error));
}

void Answer::pointer(const void *pointer)
{
    result(pointer == nullptr ? -1 : 0);
}

void Answer::text(std::string_view text)
{
    word(quoted(text));
}

namespace
{

// ---- scripts ----

using Script = std::vector<std::string>;

Words words_of(const std::string &line)
{
    std::istringstream stream(line);
    Words words;
    for (std::string word; stream >> word;)
        words.push_back(unquoted(word));
    return words;
}

const Step &some_step(const Family &family, Random &random)
{
    int all = 0;
    for (const Step &each : family.steps)
        all += each.weight;
    int left = random.below(all);
    for (const Step &each : family.steps)
        if ((left -= each.weight) < 0)
            return each;
    return *family.steps.begin();
}

Script made_up(const Family &family, uint64_t seed)
{
    Random random(seed);
    Script script;
    const int length = 1 + random.below(family.longest);
    for (int i = 0; i < length; i++) {
        const Step &step = some_step(family, random);
        std::string line = step.name;
        for (const std::string &word : step.words(random))
            line += " " + quoted(word);
        script.push_back(line);
    }
    return script;
}

// ---- what is told ----

// Not by standard output, which is among what is compared.
int report = -1;
std::string untold;

// False: nobody takes it any more.
bool send()
{
    for (size_t sent = 0; sent < untold.size();) {
        const ssize_t wrote = write(report, untold.data() + sent, untold.size() - sent);
        if (wrote <= 0)
            return false;
        sent += static_cast<size_t>(wrote);
    }
    untold.clear();
    return true;
}

void tell(const std::string &line)
{
    constexpr size_t MOST = 1U << 16U;
    untold += line + "\n";
    if (untold.size() > MOST && !send())
        _exit(1);
}

// ---- playing ----

// False: there is no such step.
bool play_line(const Family &family, const std::string &line)
{
    Words words = words_of(line);
    if (words.empty())
        return true;
    const auto *const step =
        std::ranges::find_if(family.steps, [&](const Step &each) { return words[0] == each.name; });
    if (step == family.steps.end())
        return false;
    words.erase(words.begin());
    words.resize(words.size() + 6); // a script that was cut by hand lacks some
    Answer answer;
    step->run(words, answer);
    tell(step->name + (" " + answer.line()));
    return true;
}

void play_here(const Family &family, const Script &script)
{
    family.begin();
    for (const std::string &line : script)
        if (!play_line(family, line))
            tell("no such step: " + line);
    if (family.end != nullptr)
        family.end();
}

void play_script(const Family &family, const Script &script)
{
    if (!family.in_own_process)
        return play_here(family, script);
    send();
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        play_here(family, script);
        send();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (status != 0)
        tell("its process ended with wait status " + std::to_string(status));
}

int play_seeds(const Family &family, uint64_t seed, long long rounds, bool prints)
{
    for (long long i = 0; i < rounds; i++, seed++) {
        const Script script = made_up(family, seed);
        tell("= " + std::to_string(seed));
        if (prints)
            for (const std::string &line : script)
                tell(line);
        else
            play_script(family, script);
    }
    tell("= end");
    return send() ? 0 : 1;
}

int play_input(const Family &family)
{
    Script script;
    for (std::string line; std::getline(std::cin, line);)
        script.push_back(line);
    play_script(family, script);
    return send() ? 0 : 1;
}

int list(std::initializer_list<const Family *> families)
{
    for (const Family *const family : families)
        for (const Step &step : family->steps)
            std::cout << family->name << "\t" << step.name << "\t" << step.calls << "\n";
    return 0;
}

} // namespace

int play(int count, char **arguments, void (*begin)(), std::initializer_list<const Family *> families)
{
    std::map<std::string, std::string> options;
    for (int i = 1; i < count; i++) {
        const std::string word = arguments[i];
        const bool has_value = word == "--family" || word == "--seed" || word == "--rounds";
        options[word] = has_value && i + 1 < count ? arguments[++i] : "yes";
    }
    if (options.contains("--list"))
        return list(families);
    const auto *const family =
        std::ranges::find_if(families, [&](const Family *each) { return options["--family"] == each->name; });
    if (family == families.end()) {
        std::cerr << "usage: " << arguments[0]
                  << " --list | --family NAME (--script | --seed N --rounds N [--print])\n";
        return 2;
    }
    report = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 100);
    begin();
    if (options.contains("--script"))
        return play_input(**family);
    return play_seeds(**family, strtoull(options["--seed"].c_str(), nullptr, 10),
                      strtoll(options["--rounds"].c_str(), nullptr, 10), options.contains("--print"));
}

} // namespace pair
