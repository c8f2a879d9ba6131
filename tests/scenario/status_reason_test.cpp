// Whoever looks at the status page when an act is done finds there whose act it is, and the verdict that made it.
#include <map>
#include <utility>

#include "platform/status.h"
#include "tests/support/faults_world.h"
#include "time_check/time_check_cpu.h"
#include "time_check/time_check_daemon.h"
#include "time_check/time_check_stoppage_check.h"
#include "time_check/time_check_wifi_connect.h"
#include "time_check/wan_surf_check.h"

namespace
{

using namespace soak;

// Who acts, and by which verdict.
using Reason = std::pair<int, int>;

template <typename Verdict>
Reason by(int who, Verdict verdict)
{
    return {who, static_cast<int>(verdict)};
}

class StatusReason : public RouterTest
{
protected:
    // Notes what both parts of the page say when a command is run.
    void begin(const Mode &mode)
    {
        box.log.keep(false);
        configure_all();
        enter(mode);
        box.commands.set_hook([this](const std::string &command) {
            const status_main &main = status_memory.main;
            const status_wans &wans = status_memory.wans;
            of_main_[command] = {main.acting, main.acting_verdict};
            of_wans_[command] = {wans.acting, wans.acting_verdict};
            return sim::NOT_HANDLED;
        });
        ASSERT_TRUE(box.boot());
        box.run(120);
    }

    Reason in_main(const std::string &command) const
    {
        const auto found = of_main_.find(command);
        return found == of_main_.end() ? Reason{-1, -1} : found->second;
    }
    Reason in_wans(const std::string &command) const
    {
        const auto found = of_wans_.find(command);
        return found == of_wans_.end() ? Reason{-1, -1} : found->second;
    }

private:
    std::map<std::string, Reason> of_main_;
    std::map<std::string, Reason> of_wans_;
};

} // namespace

TEST_F(StatusReason, IsThatTheInternetIsLostOrBackWhenItIsAnnounced)
{
    begin(MODES[0]);
    box.network.set_internet(false);
    box.run(300);
    EXPECT_EQ(in_wans("cfm post netctrl 52?op=16,wan_id=2"), by(STATUS_WAN2, reachability_verdict::unreachable));
    box.network.set_internet(true);
    box.run(60);
    EXPECT_EQ(in_wans("cfm post netctrl 52?op=15,wan_id=1"), by(STATUS_WAN1, reachability_verdict::reachable));
}

TEST_F(StatusReason, IsTheMinuteWithoutALinkWhenTheInterfaceIsTakenDown)
{
    begin(MODES[1]);
    radio_is(1, 0);
    box.run(120);
    EXPECT_EQ(in_main("ifconfig wlc0 down && ifconfig wlc0 up"),
              by(STATUS_WIFI_CONNECT, wifi_connect_verdict::bounced));
}

TEST_F(StatusReason, IsTheProgramsOffenceWhenItIsKilled)
{
    begin(MODES[0]);
    box.processes.set_share("httpd", 100);
    box.post("6?op=1,string_info=minidlna");
    box.processes.end("minidlna");
    box.run(1200);
    EXPECT_EQ(in_main("killall -9 httpd"), by(STATUS_CPU, cpu_verdict::over_for_long));
    EXPECT_EQ(in_main("killall -9 minidlna"), by(STATUS_DAEMON, daemon_verdict::missing_for_long));
}

TEST_F(StatusReason, IsTheLastingFaultWhenTheDiagnosisServerIsStarted)
{
    begin(MODES[0]);
    for (const int wan : {1, 2}) {
        box.network.set_link(wan, false);
        box.network.set_address("eth" + std::to_string(wan), "");
    }
    box.run(120);
    EXPECT_EQ(in_main("cfm post netctrl 53?op=1"), by(STATUS_STOPPAGE, stoppage_verdict::fault_lasts));
}
