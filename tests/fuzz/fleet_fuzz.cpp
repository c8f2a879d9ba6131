// What tcctl fleet reads: a profile, or what a part of a fleet has written. The input's first byte says which. What is
// taken is written again as the same.
#include <string>
#include <string_view>

#include "tests/fuzz/expect.h"
#include "tests/fuzz/input.h"
#include "tools/fleet/counts.h"
#include "tools/fleet/profile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace
{

std::string joined(const std::vector<std::string> &lines)
{
    std::string text;
    for (const std::string &line : lines)
        text += line + "\n";
    return text;
}

void read_profile(const std::string &text)
{
    const fleet::profile given = fleet::parse_profile(text, "input");
    const fleet::profile again = fleet::parse_profile(joined(given.lines), "written");
    expect(again.lines == given.lines, "a profile is read as it was written");
    fleet::after_begin(given, 0);
}

void read_part(const std::string &text)
{
    fleet::counts given = fleet::counts_of(text, "input");
    const std::string written = fleet::json_of(given);
    const fleet::counts again = fleet::counts_of(written, "written");
    expect(fleet::json_of(again) == written, "what a part writes is read as it was written");
    fleet::is_whole(given);
    fleet::add(given, again); // refused, but for a part without a router
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Input input(data, size);
    const bool is_profile = input.byte() % 2 == 0;
    try {
        is_profile ? read_profile(input.rest()) : read_part(input.rest());
    } catch (const preview::refused &) { // as it should be
    }
    return 0;
}
