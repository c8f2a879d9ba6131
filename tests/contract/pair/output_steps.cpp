// Standard output: what arrives there. What printf counts is libc's alone (platform/sim/wrap.h).
#include <cstdarg>
#include <cstring>
#include <unistd.h>

#include "tests/contract/pair/libc_steps.h"

namespace pair
{
namespace
{

Words value_words(Random &random)
{
    const std::string number = std::to_string(static_cast<int>(random.next()));
    std::string text = some_text(random, random.one_in(10) ? 2500 : 20);
    std::erase(text, '\0');
    return {number, text};
}

Words some_words(Random &random)
{
    std::string text = some_text(random, random.one_in(10) ? 1100 : 10);
    std::erase(text, '\0');
    return {text};
}

Words byte_words(Random &random)
{
    return {std::string(1, random.pick(std::string_view("abc\n\n\x80\xff \t", 9)))};
}

Words buffer_words(Random &random)
{
    return {std::to_string(random.pick(std::vector<int>{_IOLBF, _IONBF, _IOFBF}))};
}

void run_printf(const Words &words, Answer &answer)
{
    const int number = number_of(words[0]);
    libc.printf("%d|%5d|%-8d|%08x|%c|%%|%s\n", number, number % 1000, number % 77, static_cast<unsigned>(number),
                'a' + (number & 15), words[1].c_str());
    libc.printf("%.3s|%20s|%lld", words[1].c_str(), "right", static_cast<long long>(number) * 1000000);
    answer.number(0);
}

__attribute__((format(printf, 1, 2))) void print_by_list(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    libc.vfprintf(stdout, format, arguments);
    va_end(arguments);
}

void run_vfprintf(const Words &words, Answer &answer)
{
    print_by_list("%s:%u:%s", words[1].c_str(), static_cast<unsigned>(number_of(words[0])), words[0].c_str());
    answer.number(0);
}

void run_puts(const Words &words, Answer &answer)
{
    answer.number(libc.puts(words[0].c_str()) >= 0);
}

void run_putchar(const Words &words, Answer &answer)
{
    answer.number(libc.putchar(words[0].empty() ? 0 : words[0][0]));
}

// Past the buffer, as a program does that has emptied it.
void run_write(const Words &words, Answer &answer)
{
    fflush(stdout);
    answer.result(libc.write(STDOUT_FILENO, words[0].data(), words[0].size()));
}

void run_setvbuf(const Words &words, Answer &answer)
{
    answer.result(libc.setvbuf(stdout, nullptr, number_of(words[0]), 0));
}

void run_look(const Words & /*words*/, Answer &answer)
{
    libc.putchar('\n'); // the log keeps whole lines
    answer.text(take_what_was_printed());
}

} // namespace

const Family output = {.name = "output",
                       .steps = {{"printf", "printf", 5, value_words, run_printf},
                                 {"vfprintf", "vfprintf", 3, value_words, run_vfprintf},
                                 {"puts", "puts", 3, some_words, run_puts},
                                 {"putchar", "putchar", 3, byte_words, run_putchar},
                                 {"write", "write", 2, some_words, run_write},
                                 {"setvbuf", "setvbuf", 1, buffer_words, run_setvbuf},
                                 {"look", "", 8, no_words, run_look}},
                       .longest = 20,
                       .in_own_process = false,
                       .begin = begin_libc,
                       .end = nullptr};

} // namespace pair
