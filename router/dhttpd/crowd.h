// Who is connected, and who has to go so that the next one gets in: many that hang on must not keep others out
// (decision 0205).
#ifndef ROUTER_DHTTPD_CROWD_H
#define ROUTER_DHTTPD_CROWD_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace dhttpd
{

using address = std::array<uint8_t, 16>; // an IPv4 address in its first four bytes

struct limits {
    size_t all = 200;         // connections
    size_t of_one = 32;       // of an address
    int64_t longest = 20'000; // milliseconds from the first byte to the last
};

class crowd
{
public:
    explicit crowd(const limits &limits) : limits_(limits)
    {
    }

    // Somebody has connected. Returns the connection that is to be ended for it, or -1; it stays until it has left.
    int comes(int fd, const address &from, int64_t now_ms);

    void leaves(int fd);

    // The next one whose time is up and that has not been told so; -1: none.
    int overdue(int64_t now_ms);

    size_t size() const
    {
        return visitors_.size();
    }

private:
    struct visitor {
        int fd;
        bool is_sent_away;
        address from;
        int64_t since_ms;
    };

    size_t number_of(const address &from) const;
    address most_frequent() const;
    int send_away_oldest(const address &from);

    limits limits_;
    std::vector<visitor> visitors_; // the oldest first
};

} // namespace dhttpd

#endif
