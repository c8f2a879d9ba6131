// The store's settings, and which of their changes were others' and not the daemon's.
#ifndef TOOLS_RECORD_SETTINGS_WATCH_H
#define TOOLS_RECORD_SETTINGS_WATCH_H

#include <map>
#include <string>
#include <string_view>

#include "tools/record/masked.h"
#include "tools/record/scribe.h"

namespace record
{

using settings = std::map<std::string, std::string>;

class settings_watch
{
public:
    explicit settings_watch(masks &hides) : hides_(hides)
    {
    }

    // Tells all of them, those first that a start would bring back. False: the store cannot be read.
    bool begin(scribe &out);
    // Whether there may be something new; nearly free.
    bool may_have_changed() const;
    // Tells what has changed since, but for what the daemon's journal says that it did itself.
    void look(scribe &out);

private:
    void tell_changes(scribe &out, const settings &now);
    void look_at_commits(scribe &out);

    masks &hides_;
    settings last_;
    unsigned long long changes_ = 0;
    std::string committed_;  // what tells one committed file from another
    micros commit_seen_ = 0; // the look before a commit that nobody has owned yet; 0: there is none
    micros looked_ = 0;      // when
};

} // namespace record

#endif
