// What the Linux ground reads of the kernel, of files and of people: an input's first byte says which reader gets it.
#include <arpa/inet.h>
#include <cstring>
#include <linux/netfilter/nfnetlink.h>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

#include "platform/linux/counted_hosts.h"
#include "platform/linux/kernel_file.h"
#include "platform/linux/ping.h"
#include "platform/linux/process.h"
#include "platform/system.h"
#include "platform/vos.h"
#include "tests/fuzz/command_grammar.h"
#include "tests/fuzz/expect.h"
#include "tests/fuzz/input.h"
#include "time_check/time_check_text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

// The daemon is not here, and no setting is.
users_info *ip_info;

extern "C" int GetValue(const char * /*key*/, char *value, size_t /*size*/)
{
    value[0] = '\0';
    return 0;
}

namespace
{

// Memory of just this size, so that one byte too many is seen.
std::unique_ptr<char[]> exactly(const std::string &bytes)
{
    auto memory = std::make_unique<char[]>(bytes.size());
    memcpy(memory.get(), bytes.data(), bytes.size());
    return memory;
}

// ---- from the kernel ----

void read_netlink(Input &input)
{
    const counted_set &set = input.one_of(counted_sets);
    const std::string attributes = input.rest();
    std::string message(NLMSG_HDRLEN + NLMSG_ALIGN(sizeof(nfgenmsg)), '\0');
    message += attributes;
    message.resize(NLMSG_ALIGN(message.size())); // as the kernel's are
    nlmsghdr header = {};
    header.nlmsg_len = static_cast<uint32_t>(message.size());
    memcpy(message.data(), &header, sizeof header);
    const auto memory = exactly(message);
    forget_hosts();
    counted_set context = set;
    take_counted_message(reinterpret_cast<const nlmsghdr *>(memory.get()), &context);
    expect(counted_host_num <= MOST_COUNTED_HOSTS, "hosts stay within their table");
}

// An answer to the request; behind an IP header of that many words where the socket is raw.
std::string answer_to(const pinger &pinger, unsigned header_words)
{
    echo_packet reply = pinger.request;
    reply.header.type = ICMP_ECHOREPLY;
    std::string packet(pinger.is_raw ? header_words * 4 : 0, 'h');
    if (!packet.empty())
        packet[0] = static_cast<char>(0x40U | header_words);
    packet.append(reinterpret_cast<const char *>(&reply), sizeof reply);
    return packet;
}

void read_reply(Input &input)
{
    pinger pinger = {};
    make_echo_request(&pinger.request);
    pinger.is_raw = input.below(2) == 0;
    const int sequence = static_cast<int>(input.word());
    pinger.request.header.un.echo.sequence = htons(static_cast<uint16_t>(sequence));
    std::string packet = answer_to(pinger, 1 + input.below(15));
    const auto is_ours = [&] { return is_our_reply(&pinger, exactly(packet).get(), packet.size(), sequence); };
    expect(is_ours(), "a right answer is known as such");
    const size_t place = packet.size() - 1 - input.below(sizeof pinger.request.token);
    packet[place] = static_cast<char>(packet[place] ^ (1 << input.below(8)));
    expect(!is_ours(), "one whose token is another is not");
    packet = input.rest();
    expect(!is_ours(), "nobody guesses the token");
}

void read_process_line(Input &input)
{
    const std::string name = input.line(64);
    const std::string line = input.line(256);
    has_kernel_name(line.c_str(), name.c_str());
    const std::string own = "1 (" + name.substr(0, KERNEL_NAME_LENGTH) + ") S 1";
    expect(has_kernel_name(own.c_str(), name.c_str()), "a process is known by its name");
    const std::string ended = "1 (" + name.substr(0, KERNEL_NAME_LENGTH) + ") Z 1";
    expect(!has_kernel_name(ended.c_str(), name.c_str()), "one that ended is none");
}

// ---- from files ----

// A file of this content while the object lives.
class File
{
public:
    explicit File(const std::string &content) : fd_(memfd_create("input", MFD_CLOEXEC))
    {
        expect(write(fd_, content.data(), content.size()) == static_cast<ssize_t>(content.size()), "memory for a file");
        path_ = "/proc/self/fd/" + std::to_string(fd_);
    }
    ~File()
    {
        close(fd_);
    }
    File(const File &) = delete;
    File &operator=(const File &) = delete;
    const char *path() const
    {
        return path_.c_str();
    }

private:
    int fd_;
    std::string path_;
};

void read_ini_file(Input &input)
{
    const std::string content = input.rest();
    const auto value = std::make_unique<char[]>(VOS_FILE_VALUE_SIZE);
    const File file(content);
    const int found = vos_get_value_from_file(file.path(), "gateway", value.get());
    expect(memchr(value.get(), '\0', VOS_FILE_VALUE_SIZE) != nullptr, "a value ends in its buffer");
    if (found == 0)
        expect(content.find("gateway") != std::string::npos, "a value is that of its key");
    const File own("#\n" + std::string("gateway = 192.168.0.254 \n") + content);
    expect(vos_get_value_from_file(own.path(), "gateway", value.get()) == 0 &&
               strcmp(value.get(), "192.168.0.254") == 0,
           "the first line of the key counts");
}

void read_kernel_files(Input &input)
{
    const size_t size = 1 + input.below(80);
    const std::string content = input.rest();
    const File file(content);
    const auto buffer = std::make_unique<char[]>(size);
    const size_t expected = std::min(size - 1, content.size());
    expect(read_kernel_file(file.path(), buffer.get(), size) == static_cast<int>(expected), "as much as fits is read");
    expect(memcmp(buffer.get(), content.data(), expected) == 0 && buffer[expected] == '\0', "and ended");
    expect(read_first_line(file.path(), buffer.get(), size), "a file's first line is read");
    const std::string line = content.substr(0, std::min(content.find('\n'), size - 1));
    expect(strcmp(buffer.get(), line.c_str()) == 0, "the first line is what stands before the first line end");
    expect(read_kernel_file("/nowhere/x", buffer.get(), size) == -1, "a file that is not there cannot be read");
    expect(!read_first_line("/nowhere/x", buffer.get(), size), "nor its first line");
}

// ---- from people ----

void read_weekly_time(Input &input)
{
    const std::string text = input.line(64);
    tm time = {};
    if (utc2tm(text.c_str(), &time) != 0)
        return;
    expect(time.tm_hour >= 0 && time.tm_hour < 24 && time.tm_min >= 0 && time.tm_min < 60, "an hour of the day");
    expect(time.tm_wday > 0 && time.tm_wday < 128, "one day at least");
    expect(text.find_first_not_of("SunMoTeWdhFriat0123456789:,. ") == std::string::npos, "nothing else is a time");
}

void quote(Input &input)
{
    const size_t size = 4 + input.word() % 300;
    const std::string text = input.line(256);
    const auto buffer = std::make_unique<char[]>(size);
    shell_quoted(buffer.get(), size, text.c_str());
    std::vector<ShellToken> words;
    const std::string quoted = buffer.get();
    expect(read_shell_tokens("program " + quoted + " end", words), "a shell expands nothing of it");
    const bool empty = quoted.empty();
    expect(words.size() == (empty ? 2 : 3) && !words[1].is_operator, "it is one word");
    expect(empty ? text.empty() : text.starts_with(words[1].text), "the program gets the text, or its beginning");
    if (size >= shell_quoted_size(text.size() + 1))
        expect(empty || words[1].text == text, "and all of it where there is room");
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    constexpr void (*READERS[])(Input &) = {
        read_netlink, read_reply, read_process_line, read_ini_file, read_kernel_files, read_weekly_time, quote};
    Input input(data, size);
    input.one_of(READERS)(input);
    return 0;
}
