// Commands whose output is read, to its end: who closes before may end the real one by a signal, which the model does
// not.
#include <cstring>

#include "tests/contract/pair/libc_steps.h"

namespace pair
{
namespace
{

// A command that prints the text and ends with the status, or by a signal.
std::string command_that(const std::string &text, int status)
{
    std::string format;
    char byte[8];
    for (const char each : text) {
        snprintf(byte, sizeof byte, "\\%03o", static_cast<unsigned char>(each));
        format += byte;
    }
    const std::string end =
        status > 128 ? "kill -" + std::to_string(status - 128) + " $$" : "exit " + std::to_string(status);
    return "printf '" + format + "'; " + end;
}

std::string some_status(Random &random)
{
    static const std::vector<int> STATUSES = {0, 0, 1, 2, 3, 126, 127, 128, 128 + 1, 128 + 9, 128 + 15};
    return std::to_string(random.pick(STATUSES));
}

Words popen_words(Random &random)
{
    const std::string text = some_text(random, random.one_in(8) ? 5000 : 40);
    const std::string status = some_status(random);
    const std::string mode = random.one_in(6) ? random.pick({"", "x", "?r", "R", "re", "xr"}) : "r";
    return {text, status, std::to_string(2 + random.below(60)), mode};
}

void read_lines(FILE *stream, int size, Answer &answer)
{
    char line[64];
    for (int i = 0; i < 10000; i++) {
        memset(line, '#', sizeof line);
        if (fgets(line, size, stream) == nullptr)
            return;
        answer.text({line, strnlen(line, sizeof line)});
    }
}

void run_popen(const Words &words, Answer &answer)
{
    const std::string command = command_that(words[0], number_of(words[1]));
    libc.teach_command(command, number_of(words[1]), words[0]);
    FILE *const stream = libc.popen(command.c_str(), words[3].c_str());
    answer.pointer(stream);
    if (stream == nullptr)
        return;
    read_lines(stream, number_of(words[2]) % 64, answer);
    answer.number(feof(stream) != 0);
    answer.result(libc.pclose(stream));
}

// Two at a time, the first one closed first.
void run_two(const Words &words, Answer &answer)
{
    FILE *streams[2];
    for (int i = 0; i < 2; i++) {
        const std::string command = command_that(words[0] + words[0], number_of(words[1]) % 128 + i);
        libc.teach_command(command, number_of(words[1]) % 128 + i, words[0] + words[0]);
        streams[i] = libc.popen(command.c_str(), "r");
    }
    for (FILE *stream : streams) {
        answer.pointer(stream);
        read_lines(stream, 64, answer);
        answer.result(libc.pclose(stream));
    }
}

} // namespace

const Family commands = {
    .name = "commands",
    .steps = {{"popen", "popen pclose", 6, popen_words, run_popen}, {"two", "popen pclose", 1, popen_words, run_two}},
    .longest = 4,
    .in_own_process = false,
    .begin = begin_libc,
    .end = nullptr};

} // namespace pair
