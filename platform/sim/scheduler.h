// Virtual time, and the daemon's threads in it.
#ifndef PLATFORM_SIM_SCHEDULER_H
#define PLATFORM_SIM_SCHEDULER_H

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/message_bus.h"
#include "platform/sim/fiber.h"

namespace sim
{

using Micros = int64_t;
inline constexpr Micros SECOND = 1000000;
inline constexpr Micros MILLISECOND = 1000;

class Scheduler
{
public:
    // ---- time ----
    Micros now() const
    {
        return now_;
    }
    Micros wall_us() const
    {
        return wall_offset_ + now_;
    }
    time_t wall() const
    {
        return static_cast<time_t>(seconds(wall_us()));
    }
    int uptime() const
    {
        return static_cast<int>(seconds(now_ - started_));
    }
    void set_wall(time_t wall);
    void step_wall(Micros by);
    void set_uptime(int uptime);

    // ---- seen by the daemon ----

    // Pauses the caller for this long; the others and the changes of the world go on.
    void wait(Micros duration);
    // The same, and messages are handed over meanwhile: the main loop's pause, which ends a tick.
    void sleep_for_messages(Micros duration);
    // Starts a thread.
    uint64_t start_thread(std::function<void()> body);
    [[noreturn]] void end_thread();
    uint64_t current_thread() const;
    bool runs_main_thread() const // or the test itself, in its place
    {
        return current_ == nullptr || current_->takes_messages;
    }
    // Takes the bus name. False: it is held.
    bool take_name(const char *name, message_handle_fn handle);
    // Restarts the machine: does not come back inside the daemon, comes back at once outside.
    void restart_machine();

    // ---- for the test ----
    bool boot();
    bool main_runs() const
    {
        return main_runs_;
    }
    int main_result() const
    {
        return main_result_;
    }
    void tick(unsigned passes);
    // Lets time pass; stops early when the wall clock is set or stepped and `watch_wall` asks for it.
    void run_until(Micros target, bool watch_wall = false);
    bool post(std::string sender, std::string text);
    void at(Micros from_now, std::function<void()> change);
    void restart_now();
    void restart_takes(int seconds)
    {
        restart_takes_s_ = seconds;
    }
    size_t threads() const
    {
        return threads_.size();
    }
    uint64_t ticks() const
    {
        return ticks_;
    }
    uint64_t restarts() const
    {
        return restarts_;
    }

private:
    struct Thread {
        uint64_t id;
        Micros wakes;
        bool takes_messages;
        std::unique_ptr<Fiber> fiber;
    };
    struct Change {
        Micros when;
        uint64_t number;
        std::function<void()> what;
    };
    struct Message {
        std::string sender;
        std::string text;
    };

    // How far the test lets time pass now.
    struct Run {
        Micros limit = 0;
        uint64_t tick_goal = 0;
        uint64_t wall_changes = 0;
    };

    static int64_t seconds(Micros time)
    {
        return time >= 0 ? time / SECOND : -((-time + SECOND - 1) / SECOND);
    }
    Thread *next_thread();
    bool step(Micros limit);
    void enter(Thread &thread);
    bool wakes_next(Micros deadline) const;
    void leave_until(Micros deadline);
    void hand_over();
    void run_main();
    void start_main(Micros when);
    void restart();

    Micros now_ = 0;
    Micros wall_offset_ = 0;
    Micros started_ = 0;
    uint64_t wall_changes_ = 0;
    Run run_;
    std::vector<std::unique_ptr<Thread>> threads_;
    Thread *current_ = nullptr;
    uint64_t next_id_ = 1;
    std::vector<Change> changes_; // a heap, the next one in front
    uint64_t change_number_ = 0;
    std::deque<Message> messages_;
    std::string name_;
    message_handle_fn handle_ = nullptr;
    bool main_runs_ = false;
    bool main_sleeps_ = false;
    int main_result_ = -1;
    bool restart_asked_ = false;
    int restart_takes_s_ = 20;
    uint64_t ticks_ = 0;
    uint64_t steps_without_time_ = 0;
    uint64_t restarts_ = 0;
};

} // namespace sim

#endif
