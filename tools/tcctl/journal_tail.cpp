#include "tools/tcctl/journal_tail.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>

#include "platform/linux/run_directory.h"

namespace tcctl
{

namespace
{

int open_file(const std::string &path)
{
    return open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
}

// From its beginning, at most what a journal can have; read and not mapped, so that nobody can shorten it meanwhile.
std::vector<char> bytes_of(int fd)
{
    std::vector<char> bytes(sizeof(journal_ring));
    size_t length = 0;
    while (length < bytes.size()) {
        const ssize_t got = pread(fd, bytes.data() + length, bytes.size() - length, static_cast<off_t>(length));
        if (got <= 0)
            break;
        length += static_cast<size_t>(got);
    }
    bytes.resize(length);
    return bytes;
}

// Those after number `after`. False: the bytes are no journal, or hold no whole record.
bool records_in(const std::vector<char> &bytes, uint32_t after, std::vector<journal_record> &records)
{
    if (journal_newest(bytes.data(), bytes.size()) == 0)
        return false;
    std::vector<journal_record> found(JOURNAL_SLOTS);
    found.resize(journal_read(bytes.data(), bytes.size(), after, found.data(), found.size()));
    records.insert(records.end(), found.begin(), found.end());
    return true;
}

bool is_same(const journal_record &one, const journal_record &other)
{
    return one.sequence == other.sequence && one.time == other.time && one.uptime == other.uptime &&
           std::memcmp(one.text, other.text, sizeof one.text) == 0;
}

} // namespace

bool read_journal(const std::string &path, std::vector<journal_record> &records, std::string *why)
{
    const int fd = open_file(path);
    if (fd < 0) {
        *why = errno == ENOENT || errno == ENOTDIR ? fmt::format("no daemon has run here: there is no {}", path)
                                                   : fmt::format("cannot read {}: {}", path, std::strerror(errno));
        return false;
    }
    const bool is_journal = records_in(bytes_of(fd), 0, records);
    close(fd);
    if (!is_journal)
        *why = fmt::format("{} is no journal of this version and machine, or is damaged", path);
    return is_journal;
}

journal_tail::journal_tail()
    : path_(std::string(run_directory()) + "/journal"), past_path_(std::string(run_directory()) + "/last_restart")
{
}

journal_tail::~journal_tail()
{
    if (fd_ >= 0)
        close(fd_);
}

bool journal_tail::open_ring()
{
    const int fd = open_file(path_);
    struct stat file = {};
    if (fd < 0)
        return false;
    if (fstat(fd, &file) != 0 || !S_ISREG(file.st_mode)) {
        close(fd);
        return false;
    }
    if (fd_ >= 0)
        close(fd_);
    fd_ = fd;
    device_ = file.st_dev;
    inode_ = file.st_ino;
    newest_ = 0;
    return true;
}

// What the daemon did before its last end in order may still stand in the ring.
bool journal_tail::begin(std::vector<journal_record> &records, std::string *why)
{
    std::vector<journal_record> now;
    if (!read_journal(path_, now, why))
        return false;
    std::vector<journal_record> past;
    if (access(past_path_.c_str(), F_OK) == 0 && !read_journal(past_path_, past, why))
        return false;
    for (const journal_record &each : past)
        if (std::none_of(now.begin(), now.end(), [&](const journal_record &other) { return is_same(each, other); }))
            records.push_back(each);
    open_ring();
    read_more(records);
    lost_ = 0;
    return true;
}

bool journal_tail::is_replaced() const
{
    struct stat file = {};
    return stat(path_.c_str(), &file) == 0 && (fd_ < 0 || file.st_dev != device_ || file.st_ino != inode_);
}

// The slot that the next record goes to.
bool journal_tail::has_more() const
{
    const off_t slot =
        static_cast<off_t>(sizeof(journal_head) + (newest_ + 1) % JOURNAL_SLOTS * sizeof(journal_record) +
                           offsetof(journal_record, sequence));
    uint32_t sequence = 0;
    return pread(fd_, &sequence, sizeof sequence, slot) == sizeof sequence && sequence > newest_;
}

void journal_tail::read_more(std::vector<journal_record> &records)
{
    const size_t before = records.size();
    records_in(bytes_of(fd_), newest_, records);
    if (records.size() == before)
        return;
    const auto read = static_cast<uint32_t>(records.size() - before);
    lost_ += records.back().sequence - newest_ - read;
    newest_ = records.back().sequence;
}

void journal_tail::look(std::vector<journal_record> &records)
{
    if (is_replaced()) {
        if (fd_ >= 0)
            read_more(records); // the last of the old one's
        if (!open_ring())
            return;
    }
    if (fd_ >= 0 && has_more())
        read_more(records);
}

uint32_t journal_tail::take_lost()
{
    const uint32_t lost = lost_;
    lost_ = 0;
    return lost;
}

} // namespace tcctl
