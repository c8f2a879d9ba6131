// Settings files as tcctl check reads them: whatever they hold, what is wrong with the text is told with its place, and
// what is wrong with the settings is about a line that is there.
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/linux/store/text.h"
#include "tests/fuzz/expect.h"
#include "tools/tcctl/finding.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace
{

std::vector<std::string> lines_of(const std::string &text)
{
    std::vector<std::string> lines(1);
    for (const char c : text) {
        if (c == '\n')
            lines.emplace_back();
        else
            lines.back() += c;
    }
    return lines;
}

// What `cfm import` would refuse.
std::vector<unsigned> refused_lines(std::string text)
{
    const size_t length = text.size();
    text += '\0';
    store_text_reader reader = {.next = text.data(),
                                .end = text.data() + length,
                                .line_number = 0,
                                .key = nullptr,
                                .value = nullptr,
                                .fault = nullptr};
    std::vector<unsigned> lines;
    for (store_text_line line = store_text_read(&reader); line != STORE_TEXT_END; line = store_text_read(&reader))
        if (line == STORE_TEXT_BAD)
            lines.push_back(reader.line_number);
    return lines;
}

void expect_places(const std::vector<tcctl::bad_line> &bad, const std::vector<std::string> &lines)
{
    for (const tcctl::bad_line &each : bad) {
        expect(each.line >= 1 && each.line <= lines.size(), "a wrong line is there");
        expect(each.column >= 1 && each.column <= lines[each.line - 1].size() + 1, "and so is its column");
        expect(!each.why.empty(), "a wrong line has a reason");
    }
}

void expect_findings(const tcctl::settings &given, const std::vector<std::string> &lines)
{
    for (const tcctl::finding &each : tcctl::check_settings(given)) {
        expect(each.where.line >= 1 && each.where.line <= lines.size(), "a finding is about a line");
        expect(lines[each.where.line - 1].find('=') != std::string::npos, "which is a setting");
        expect(given.has(each.where.key), "of a key that is there");
        expect(!each.message.empty() && !each.effect.empty(), "and says what is wrong, and what comes of it");
        expect(each.suggestion.empty() || each.suggestion != each.where.value, "nobody is told to keep what is wrong");
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string text(data, data + size);
    const std::vector<std::string> lines = lines_of(text);
    tcctl::settings given;
    const std::vector<tcctl::bad_line> bad = given.add_text("input", text);
    std::vector<unsigned> numbers;
    for (const tcctl::bad_line &each : bad)
        numbers.push_back(each.line);
    expect(numbers == refused_lines(text), "the lines that an import refuses are the wrong ones");
    expect_places(bad, lines);
    expect_findings(given, lines);
    given.set_whole();
    expect_findings(given, lines);
    return 0;
}
