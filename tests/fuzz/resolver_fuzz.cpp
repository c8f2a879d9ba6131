// Files that resolvers and DHCP clients leave for the daemon. The input's first byte says which: the resolver's list of
// name servers, what the client of the WAN noted, or what that of the LAN did.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "platform/vos.h"
#include "tests/fuzz/expect.h"
#include "tests/fuzz/fuzz_daemon.h"
#include "tests/fuzz/input.h"
#include "time_check/time_check_stoppage_check.h"
#include "time_check/wan_surf_probe.h"

namespace
{

sim::VirtualRouter &box = sim::router();

constexpr size_t MOST_READ = 2048; // of the list

std::vector<std::string> lines_of(const std::string &text)
{
    std::vector<std::string> lines;
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = std::min(text.find('\n', begin), text.size());
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

// The first name server goes to the end, and nothing else changes.
void change_order(Input &input)
{
    const bool in_place = input.below(2) == 0; // as in a folder that is read-only
    std::string text = input.rest();
    if (text.size() > 1 && text[0] == 'L') // a long one
        text.insert(1, size_t{16} * static_cast<unsigned char>(text[1]), '\n');
    box.files.set("/etc/resolv.conf", text);
    if (in_place)
        box.faults.fail("rename", 1, EROFS);
    adjust_resolv_conf_sequence();
    box.faults.clear();
    const std::string after = box.files.text_of("/etc/resolv.conf");
    std::vector<std::string> lines = lines_of(text);
    const auto first = std::ranges::find_if(lines, [](const auto &line) { return line.starts_with("nameserver"); });
    if (text.size() > MOST_READ || first == lines.end()) {
        expect(after == text, "what does not fit or has no name server stays");
        return;
    }
    std::rotate(first, first + 1, lines.end());
    expect(lines_of(after) == lines, "the first name server is the last line");
}

void read_note(Input &input)
{
    box.files.set("etc/dhcpc/noresp", input.rest());
    const int32_t silent = get_dhcp_noreponse_status();
    expect(silent == 0 || silent == 1, "a server is silent or not");
}

void read_lease(Input &input)
{
    char gateway[VOS_FILE_VALUE_SIZE];
    box.files.set("/etc/lan.ini", input.rest());
    if (vos_get_value_from_file("/etc/lan.ini", "gateway", gateway) == 0)
        expect(memchr(gateway, 0, sizeof gateway) != nullptr, "a value ends in its buffer");
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    constexpr void (*WAYS[])(Input &) = {change_order, read_note, read_lease};
    Input input(data, size);
    box.log.keep(false);
    input.one_of(WAYS)(input);
    return 0;
}
