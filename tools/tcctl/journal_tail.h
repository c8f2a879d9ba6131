// The journal of this machine's daemon: what it did before the router's last restart, since, and as it goes on.
#ifndef TOOLS_TCCTL_JOURNAL_TAIL_H
#define TOOLS_TCCTL_JOURNAL_TAIL_H

#include <cstdint>
#include <string>
#include <sys/types.h>
#include <vector>

#include "platform/common/journal.h"

namespace tcctl
{

// A journal's file. False: `why` says what is wrong with it; nothing is appended then.
bool read_journal(const std::string &path, std::vector<journal_record> &records, std::string *why);

class journal_tail
{
public:
    journal_tail();
    ~journal_tail();
    journal_tail(const journal_tail &) = delete;
    journal_tail &operator=(const journal_tail &) = delete;

    // Appends all that is there, in order. False: there is none, or what is there is no journal; `why` says which.
    bool begin(std::vector<journal_record> &records, std::string *why);

    // Appends what has come since, also from a ring that stands in the old one's place. Two system calls when there is
    // nothing new (decision 0169).
    void look(std::vector<journal_record> &records);

    // How many records were overwritten before they were read, since this was last asked.
    uint32_t take_lost();

private:
    bool open_ring();
    bool is_replaced() const;
    bool has_more() const;
    void read_more(std::vector<journal_record> &records);

    std::string path_;
    std::string past_path_;
    int fd_ = -1;
    dev_t device_ = 0;
    ino_t inode_ = 0;
    uint32_t newest_ = 0; // that was read
    uint32_t lost_ = 0;
};

} // namespace tcctl

#endif
