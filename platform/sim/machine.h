// The machine that runs the daemon: its threads in virtual time, its restarts, and the changes that the world makes
// meanwhile.
//
// Each of the daemon's threads is a fibre; one runs at a time, and it runs until it waits. Then time jumps to whatever
// is due next. A test may also call the daemon's functions itself, outside the fibres: their waits let time pass.
//
// Nothing here waits in real time, and nothing is random: the same calls in the same order give the same journal. What
// the daemon does between two waits takes no virtual time at all, however long the host computes.
//
// What a test could wait for in vain throws std::runtime_error or std::logic_error: a million turns in which no time
// passes, a pass of the main loop that takes a day, nothing left that could happen.
#ifndef PLATFORM_SIM_MACHINE_H
#define PLATFORM_SIM_MACHINE_H

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/message_bus.h"
#include "platform/sim/clock.h"
#include "platform/sim/fiber.h"

namespace sim
{

class Machine
{
public:
    Clock clock;

    // ---- for the test; none of these may be called by the daemon, unless it says so ----

    // boot, tick, run and run_until let time pass; all others return at the same virtual moment. A change of the world,
    // and a hook that a call of the daemon leads to, may post, order changes and restart, and is not to let time pass:
    // in one of the daemon's threads run and run_until throw std::logic_error.

    // Starts the daemon and runs it into its first sleep, that is, through its first tick. False: main returned. While
    // it runs already: std::logic_error. The world is taken as it stands: up-time goes on from where it is.
    bool boot();
    // Whether the daemon's main has been started and has not returned; so it is while the machine restarts, too.
    bool running() const
    {
        return main_runs_;
    }
    // What the last main that returned gave, -1 before.
    int exit_status() const
    {
        return main_result_;
    }
    // That many passes of the main loop, each into the sleep after it; fewer when main returns, none when no daemon
    // runs. A restart in between is waited for, and its first tick counts as a pass.
    void tick(unsigned passes = 1);
    // Lets time pass for seconds, or until the wall clock shows this local time "YYYY-MM-DD HH:MM:SS", whatever sets or
    // steps it meanwhile. At once when it is later already. Fractions of a second count to the microsecond; run(0) does
    // what is due at this moment. Without a daemon time passes all the same, and the changes of the world come.
    void run(double seconds);
    void run_until(const std::string &local);
    // Posts a message to the daemon. It is handed over in its current or next sleep: at once when it is asleep. False:
    // nobody holds the name. A change of the world may post, too. The queue has no end and a message no greatest
    // length; a restart loses what was not handed over. With no daemon booted, and the bus name taken by a function
    // that the test called, it is handed over inside this call.
    bool post(std::string text, std::string sender = "test");
    // Ask of the daemon what a signal does: to end in order, or to read its settings again. It does so in its current
    // or next sleep, at once when it is asleep, in the order of messages. The end leaves the router as it then is, and
    // a later boot() starts a fresh daemon. False: none was booted, or it has ended.
    bool ask_to_end();
    bool ask_to_read_again();
    // A change of the world, seconds from now. Changes come before the daemon's threads at the same moment, and in the
    // order in which they were ordered. They outlive a restart. A time below 0 is now; to repeat itself a change
    // orders its next. It runs outside the daemon's threads, between two of their waits, never in the middle of a
    // computation. The wall clock plays no part: it may be set meanwhile.
    void at(double seconds_from_now, std::function<void()> change);
    // Asked at the end of every pass of the main loop, before its sleep and before messages are handed over: for who
    // follows the daemon second by second. It runs on the daemon's stack, and may look at everything, set parts of the
    // world and clear the journal, but neither call the daemon's ticks nor let time pass. A restart keeps it.
    void watch_passes(std::function<void()> look)
    {
        look_ = std::move(look);
    }
    // Asked when the pause ends that begins now: the main loop's at the end of a pass, or a pause or command of another
    // thread. It is given the moment of clock.now() at which it would end, and gives the one at which it does: for who
    // lets the daemon go at the pace at which another machine let it. On the daemon's stack, as watch_passes.
    void pace_pauses(std::function<Micros(bool is_main_loop, Micros ends)> pace)
    {
        pace_ = std::move(pace);
    }
    // The daemon's main starts now, from its beginning, and whatever it was at is given up: a restart of the machine is
    // over by it, and otherwise the daemon alone was started again. A change of the world may do it.
    void start_daemon_now();
    // A power cut: restarts the machine now, without a journal line of the daemon. A change of the world may do it. The
    // call itself takes no time; the daemon's main starts when the restart is over, if it ran before.
    void restart();
    // How long a restart takes by the wall clock, in seconds; 20 unless set. It counts for the restarts after it.
    void restart_takes(int seconds)
    {
        restart_takes_s_ = seconds;
    }
    uint64_t restarts() const
    {
        return restarts_;
    }
    // Threads of the daemon that have not ended, its main included, also while it waits for a restart to be over.
    size_t threads() const
    {
        return threads_.size();
    }
    // Passes of the main loop since the program started, over all restarts.
    uint64_t ticks() const
    {
        return ticks_;
    }

    // ---- for the daemon ----

    // Durations are in microseconds of virtual time. Called outside the daemon's threads, by a test in a function of
    // the daemon, a pause lets time pass as run() does.

    // Pauses the caller for this long; the others and the changes of the world go on. 0 or less, in a thread: goes on
    // without their turn.
    void wait(Micros duration);
    // The same, and messages are handed over meanwhile, one at a time on the caller's stack: the main loop's pause,
    // which ends a tick. A message does not shorten it. In any other thread it is wait().
    void sleep_for_messages(Micros duration);
    // The same as wait(), but for a pace that was told.
    void pause(Micros duration);
    // Starts a thread; its number, from 1 and never given twice. It runs first when its maker waits. std::bad_alloc: no
    // memory for its stack. There is no end but that of its body, and nobody can wait for that.
    uint64_t start_thread(std::function<void()> body);
    uint64_t current_thread() const; // 0 outside the daemon's threads
    bool runs_main_thread() const    // or the test itself, in its place
    {
        return current_ == nullptr || current_->takes_messages;
    }
    // What asks of the daemon lead to.
    void take_program(void (*end)(), void (*read_again)())
    {
        end_daemon_ = end;
        read_again_ = read_again;
    }
    // Takes the bus name, the only one that there is; whatever is posted goes to `handle`. False: it is held. A restart
    // sets it free, a main that returns does not.
    bool take_name(message_handle_fn handle);
    // Restarts the machine: does not come back inside the daemon, comes back at once outside.
    void restart_by_daemon();

private:
    // In threads_ from the oldest to the youngest, which is the order in which those wake that are due together.
    struct Thread {
        uint64_t id;
        Micros wakes;        // the moment of Clock::now() from which on it may run
        bool takes_messages; // the daemon's main
        std::unique_ptr<Fiber> fiber;
    };
    // Of those that are due together the one with the lower number comes first.
    struct Change {
        Micros when;
        uint64_t number;
        std::function<void()> what;
    };
    struct Message {
        std::string sender;
        std::string text;
        void (*wish)() = nullptr; // what to call instead, when it is no message but an ask
    };

    // How far the test lets time pass now: to a moment, to a pass of the main loop, to a clock that is set. A fibre
    // reads it so that a pause in which nothing else happens needs no change of stacks, and most are such.
    struct Run {
        Micros limit = 0;
        uint64_t tick_goal = 0;
        uint64_t wall_changes = 0;
    };

    // enter() and step() are for the owner of the fibres, leave_until() and hand_over() for the running one.
    // begin_anew() makes the restarted machine: nobody may stand on the stack of a thread then.
    Thread *next_thread();
    bool step(Micros limit);
    void let_pass(Micros target, bool watch_wall = false);
    void enter(Thread &thread);
    bool wakes_next(Micros deadline) const;
    void leave_until(Micros deadline);
    void hand_over();
    void run_main();
    void start_main(Micros when);
    void begin_anew();
    void forget_daemon();
    bool deliver(Message message);
    void end_by_daemon();

    Run run_;
    std::vector<std::unique_ptr<Thread>> threads_;
    Thread *current_ = nullptr; // the one that runs; null while the test or a change of the world does
    uint64_t next_id_ = 1;
    std::vector<Change> changes_; // a heap, the next one in front
    uint64_t change_number_ = 0;
    std::deque<Message> messages_;
    message_handle_fn handle_ = nullptr;
    void (*end_daemon_)() = nullptr;
    void (*read_again_)() = nullptr;
    bool main_runs_ = false; // also while it waits for the end of a restart
    bool main_sleeps_ = false;
    int main_result_ = -1;
    bool restart_asked_ = false; // by a thread, which cannot take its own stack away
    bool end_asked_ = false;     // as well
    int restart_takes_s_ = 20;
    uint64_t ticks_ = 0;
    uint64_t steps_without_time_ = 0;
    uint64_t restarts_ = 0;
    std::function<void()> look_; // at the end of a pass
    std::function<Micros(bool, Micros)> pace_;
};

} // namespace sim

#endif
