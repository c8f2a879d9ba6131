// How far somebody has come in the journal, over restarts of them and of the router.
#ifndef TOOLS_TCCTL_EVENT_PLACE_H
#define TOOLS_TCCTL_EVENT_PLACE_H

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "platform/common/journal.h"

namespace tcctl
{

// Remembers the last record that is done with, in a file; "" for none, and then nothing outlasts the process.
class event_place
{
public:
    explicit event_place(std::string path);

    // How many of the first records were done with when the file was written; none of them when it names a record that
    // is not there, which was overwritten since. All of them when there is no file yet.
    size_t done_in(const std::vector<journal_record> &records) const;

    // Records that were taken, in order; and that the first `number` of all of them are done with.
    void take(const journal_record &record);
    bool done(uint64_t number); // false: the file cannot be written, errno says why

private:
    std::string path_;
    std::deque<journal_record> waiting_;
    uint64_t done_ = 0;
};

} // namespace tcctl

#endif
