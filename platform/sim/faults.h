// Calls that fail on order, and how often each was made.
//
// A call that fails does nothing but give the result that its contract or libc has for failure; what it should have
// written is as the contract says. close gives the descriptor up all the same. Orders and
// counts outlive a restart of the machine.
#ifndef PLATFORM_SIM_FAULTS_H
#define PLATFORM_SIM_FAULTS_H

#include <array>
#include <cerrno>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace sim
{

// Every wrapped and contract call that can fail. The others always go well: clocks, pauses, printing, who runs, what
// the LAN is called, the end of a stream or folder.
#define SIM_CALLS(CALL)                                                                                                \
    CALL(open)                                                                                                         \
    CALL(read)                                                                                                         \
    CALL(write)                                                                                                        \
    CALL(fsync)                                                                                                        \
    CALL(ftruncate)                                                                                                    \
    CALL(fstat)                                                                                                        \
    CALL(fchown)                                                                                                       \
    CALL(fchmod)                                                                                                       \
    CALL(close)                                                                                                        \
    CALL(rename)                                                                                                       \
    CALL(unlink)                                                                                                       \
    CALL(readlink)                                                                                                     \
    CALL(popen)                                                                                                        \
    CALL(opendir)                                                                                                      \
    CALL(readdir)                                                                                                      \
    CALL(select)                                                                                                       \
    CALL(gethostbyname)                                                                                                \
    CALL(pthread_create)                                                                                               \
    CALL(GetValue)                                                                                                     \
    CALL(SetValue)                                                                                                     \
    CALL(CommitCfm)                                                                                                    \
    CALL(RegMsgHandle)                                                                                                 \
    CALL(send_msg_to_netctrl)                                                                                          \
    CALL(doSystemCmd)                                                                                                  \
    CALL(_eval)                                                                                                        \
    CALL(tpi_systool_reboot)                                                                                           \
    CALL(get_statistic_info)                                                                                           \
    CALL(getIfIp)                                                                                                      \
    CALL(getWanIfName)                                                                                                 \
    CALL(get_eth_name)                                                                                                 \
    CALL(tpi_wan_get_ip)                                                                                               \
    CALL(wan_lan_check)                                                                                                \
    CALL(wanid_to_sw_port)                                                                                             \
    CALL(simple_ping)                                                                                                  \
    CALL(ping_by_interface)                                                                                            \
    CALL(tpi_wifi_get_ifname)                                                                                          \
    CALL(tpi_wifi_wisp_connect_check)                                                                                  \
    CALL(tpi_wifi_wisp_phy_link_check)                                                                                 \
    CALL(tpi_wifi_relay_phy_check)                                                                                     \
    CALL(vos_get_value_from_file)

#define SIM_CALL_ID(name) name,
enum class Call : uint8_t { SIM_CALLS(SIM_CALL_ID) COUNT };
#undef SIM_CALL_ID

// Calls are named by their text, as in SIM_CALLS; another text throws std::invalid_argument.
class Faults
{
public:
    // ---- for the test ----

    // The `nth` such call (from 1, counted from now) fails with `error` in errno, once or from then on. A later order
    // for the same call takes this one's place. All callers count together, whatever their arguments: for one file
    // alone there is Files::set_unreadable, for one command Commands::set_hook.
    void fail(std::string_view call, unsigned nth = 1, int error = EIO, bool forever = false);
    // At each such call `fails` is asked whether it fails; the first from now on is number 1. It is asked inside
    // the daemon's call, may look at the whole router, and must not wait.
    void fail_when(std::string_view call, std::function<bool(uint64_t nth)> fails, int error = EIO);
    // Takes all orders back; the counts go on.
    void clear();
    // How often it was made since the program started, failed ones too.
    uint64_t made(std::string_view call) const;
    // Every name that fail() takes.
    static const std::vector<std::string> &names();

    // ---- for the model ----

    // Counts the call; true when it has to fail, and then errno is set. Each function of the model that stands for a
    // call asks once, and none asks through another one that does, for then made() would count twice.
    bool hits(Call call)
    {
        Counter &counter = counters_[static_cast<size_t>(call)];
        counter.made++;
        last_ = call;
        return counter.made >= counter.fails_at && is_due(counter);
    }
    // The last call, and how often it was made. Neither allocates.
    const char *last_call() const;
    uint64_t last_call_made() const
    {
        return counters_[static_cast<size_t>(last_)].made;
    }

private:
    static constexpr uint64_t NEVER = UINT64_MAX;
    // Nearly all calls are made without an order: for them it is an addition and a comparison.
    struct Counter {
        uint64_t made = 0;
        uint64_t fails_at = NEVER; // compared with made
        int error = 0;
        bool forever = false;
        std::function<bool(uint64_t nth)> fails; // when set, it is asked from fails_at on
    };
    static bool is_due(const Counter &counter);

    std::array<Counter, static_cast<size_t>(Call::COUNT)> counters_ = {};
    Call last_ = {};
};

} // namespace sim

#endif
