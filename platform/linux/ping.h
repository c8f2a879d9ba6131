// What an echo request and its answer are made of. Any thread.
#ifndef PLATFORM_LINUX_PING_H
#define PLATFORM_LINUX_PING_H

#include <cstddef>
#include <cstdint>
#include <netinet/ip_icmp.h>

// What travels: the token tells our replies from those of other programs and of earlier calls (decision 0028).
struct echo_packet {
    icmphdr header;
    uint64_t token[2];
};

struct pinger {
    int socket;
    bool is_raw; // raw sockets see every reply of the machine, and with its IP header
    echo_packet request;
};

// Fills a request, but for its sequence number and checksum, with a token that no other has.
void make_echo_request(echo_packet *request);

// Whether `packet`, `length` bytes as the pinger's socket gave them, answers a request of this pinger: the latest,
// which has the number `sequence`, or, late, one before it.
bool is_our_reply(const pinger *pinger, const char *packet, size_t length, int sequence);

#endif
