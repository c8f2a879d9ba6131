// The router's surroundings, each second, by the ground's own units: interfaces, links, addresses, neighbours, bytes,
// radios, and the files that the daemon reads.
#ifndef TOOLS_RECORD_WORLD_H
#define TOOLS_RECORD_WORLD_H

#include <string>
#include <string_view>
#include <vector>

#include "tools/record/masked.h"
#include "tools/record/scribe.h"

namespace record
{

// A row of the kernel's tables, as its words in a trace.
using row = std::vector<std::string>;

// The rows of /proc/net/arp: IP, flags, MAC, interface. What is no row is passed over.
std::vector<row> neighbours_in(std::string_view table, masks &hides);

// Of /proc/net/ip_mr_vif: interface and bytes sent, of br0 and br1 alone, as the quiet checks look at them.
std::vector<row> multicast_in(std::string_view table);

class world
{
public:
    explicit world(masks &hides) : hides_(hides)
    {
    }
    void look(scribe &out);
    // At what a diagnosis hangs on within a second: links and addresses alone.
    static void look_at_lines(scribe &out);

private:
    void look_at_neighbours(scribe &out);
    void look_at_file(scribe &out, const char *path, const char *name, std::string_view only);

    masks &hides_;
    std::vector<row> neighbours_;
    bool has_neighbours_ = false; // looked once
};

// The whole of a small file of the kernel's or the router's; false: it cannot be read.
bool read_whole(const std::string &path, std::string &text);

} // namespace record

#endif
