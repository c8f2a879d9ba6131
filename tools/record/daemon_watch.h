// What the daemon's page tells of its surroundings: how fast this machine lets it go, what each look at a WAN found,
// and whether a gateway answers (decision 0184).
#ifndef TOOLS_RECORD_DAEMON_WATCH_H
#define TOOLS_RECORD_DAEMON_WATCH_H

#include <array>
#include <cstdint>
#include <map>
#include <string>

#include "platform/common/status_file.h"
#include "tools/record/scribe.h"

namespace record
{

// The passes of the daemon's main loop. Two of them are told where a straight line between two others would miss one.
class pass_line
{
public:
    // The daemon has started: no pass has ended.
    void begin(micros at);
    // So many passes have ended since the last call, the last of them now.
    void add(scribe &out, micros ended, uint64_t passes);
    uint64_t number() const
    {
        return last_.number;
    }
    // Tells the last one, unless it was.
    void finish(scribe &out);

private:
    struct pass {
        micros ended;
        uint64_t number;
    };
    void tell(scribe &out, const pass &which);

    pass told_ = {};         // the last one that was
    pass last_ = {};         // the last one
    double least_slope_ = 0; // that the passes since the last one told still allow, in microseconds a pass
    double most_slope_ = 0;
};

class daemon_watch
{
public:
    // A look at the page, at the moment of `out`: whether the daemon was started, and then all else of it. What the
    // daemon may have seen of links and addresses is told by then.
    void look_at_start(scribe &out, const status_reading &read);
    void look(scribe &out, const status_reading &read);
    void end(scribe &out)
    {
        passes_.finish(out);
    }
    // When its next pass begins; 0: not known.
    micros next_pass() const;
    // The programs that its watchdogs look for.
    const std::map<std::string, bool> &programs() const
    {
        return programs_;
    }

private:
    void look_at_passes(scribe &out, const status_main &page, micros beat);
    uint64_t passes_until(const status_main &page, micros beat, micros now);
    void look_at_wans(scribe &out, const status_wans &wans);
    void tell_answers(scribe &out, const status_wans &wans, int number);
    void tell_looks(scribe &out, const status_wans &wans);
    void look_at_gateway(scribe &out, const status_gateway &gateway);

    pass_line passes_;
    std::map<std::string, bool> programs_;
    int32_t pid_ = 0;
    int32_t start_ = -1;
    micros started_ = 0;
    micros beat_ = 0;        // the last one, by the wall clock
    bool is_first_ = true;   // no pass is sure to have ended since its start
    micros looked_ = 0;      // when this program did
    micros period_ = SECOND; // of a pass, as it mostly is
    struct counted {
        int what = -1;
        uint32_t value = 0;
        uint64_t number = 0; // of the pass in which it had this value
    } counted_;
    uint32_t wans_passes_ = 0;
    micros looks_next_ = 0; // when the next pass of looks begins, as far as the last one tells
    micros looks_end_ = 0;  // of the last pass of looks that was told
};

} // namespace record

#endif
