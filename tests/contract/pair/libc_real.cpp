// libc's side. It is played in kit/in_namespaces: /tmp and the resolver file are its own.
#include <arpa/inet.h>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include "tests/contract/pair/libc_steps.h"

namespace pair
{
namespace
{

constexpr const char *PRINTED = "/tmp/printed";

// ---- the name server ----

std::mutex table_lock;
std::map<std::string, std::string> table; // what the name server knows
bool server_is_up = true;

constexpr size_t HEAD = 12;
constexpr unsigned SERVER_FAILS = 2;
constexpr unsigned NO_SUCH_NAME = 3;

// The name asked for, and where its question ends; 0: it is none.
size_t name_in(const unsigned char *packet, size_t size, std::string &name)
{
    size_t at = HEAD;
    while (at < size && packet[at] != 0) {
        const size_t length = packet[at];
        if (at + 1 + length >= size)
            return 0;
        name.append(name.empty() ? "" : ".").append(reinterpret_cast<const char *>(packet + at + 1), length);
        at += length + 1;
    }
    for (char &each : name)
        each = static_cast<char>(tolower(each));
    return at + 5 <= size ? at + 5 : 0;
}

// Makes the answer in place; its size.
size_t answer_to(std::array<unsigned char, 1024> &packet, size_t size)
{
    std::string name;
    const size_t end = name_in(packet.data(), size, name);
    if (end == 0)
        return 0;
    const std::scoped_lock lock(table_lock);
    const auto found = table.find(name);
    in_addr address = {};
    const bool known = server_is_up && found != table.end() && inet_pton(AF_INET, found->second.c_str(), &address) == 1;
    packet[2] = 0x81;
    packet[3] = static_cast<unsigned char>(0x80U | (!server_is_up ? SERVER_FAILS : known ? 0 : NO_SUCH_NAME));
    packet[6] = 0;
    packet[7] = known ? 1 : 0;
    memset(packet.data() + 8, 0, 4);
    if (!known)
        return end;
    static constexpr unsigned char RECORD[] = {0xc0, HEAD, 0, 1, 0, 1, 0, 0, 0, 0, 0, 4};
    memcpy(packet.data() + end, RECORD, sizeof RECORD);
    memcpy(packet.data() + end + sizeof RECORD, &address, sizeof address);
    return end + sizeof RECORD + sizeof address;
}

void serve(int socket)
{
    std::array<unsigned char, 1024> packet = {};
    for (;;) {
        sockaddr_in from = {};
        socklen_t length = sizeof from;
        const ssize_t got = recvfrom(socket, packet.data(), 512, 0, reinterpret_cast<sockaddr *>(&from), &length);
        const size_t size = got > static_cast<ssize_t>(HEAD) ? answer_to(packet, static_cast<size_t>(got)) : 0;
        if (size > 0)
            sendto(socket, packet.data(), size, 0, reinterpret_cast<sockaddr *>(&from), length);
    }
}

void start_name_server()
{
    const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in here = {};
    here.sin_family = AF_INET;
    here.sin_port = htons(53);
    here.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::ofstream("/tmp/resolv.conf") << "nameserver 127.0.0.1\noptions attempts:1\n";
    if (bind(socket, reinterpret_cast<sockaddr *>(&here), sizeof here) != 0 ||
        system("mount --bind /tmp/resolv.conf /etc/resolv.conf") != 0) { // NOLINT(cert-env33-c)
        perror("no name server of the test's own: run this by kit/in_namespaces");
        _exit(1);
    }
    std::thread(serve, socket).detach();
}

} // namespace

Libc libc;

void begin_program()
{
    start_name_server();
    const int file = ::open(PRINTED, O_RDWR | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600);
    dup2(file, STDOUT_FILENO);
    ::close(file);
}

void begin_libc()
{
    std::filesystem::remove_all(std::filesystem::path(SCRATCH).parent_path()); // links lead there, too
    std::filesystem::create_directories(SCRATCH);
    libc = real_libc(SCRATCH);
    take_what_was_printed();
    const std::scoped_lock lock(table_lock);
    table.clear();
    server_is_up = true;
}

std::string take_what_was_printed()
{
    std::string text;
    char piece[4096];
    fflush(stdout);
    lseek(STDOUT_FILENO, 0, SEEK_SET);
    for (ssize_t got = ::read(STDOUT_FILENO, piece, sizeof piece); got > 0;
         got = ::read(STDOUT_FILENO, piece, sizeof piece))
        text.append(piece, static_cast<size_t>(got));
    if (::ftruncate(STDOUT_FILENO, 0) != 0)
        text += "?";
    return text;
}

void read_zone()
{
    tzset();
}

void tell_name(const std::string &name, const std::string &address)
{
    const std::scoped_lock lock(table_lock);
    table[name] = address;
}

void tell_name_server(bool is_up)
{
    const std::scoped_lock lock(table_lock);
    server_is_up = is_up;
}

} // namespace pair
