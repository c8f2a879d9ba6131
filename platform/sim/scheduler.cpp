#include "platform/sim/scheduler.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include "platform/sim/daemon_state.h"
#include "platform/sim/model.h"

extern "C" int time_check_main(); // the daemon's main, under the name that it has in here

namespace sim
{
namespace
{

constexpr Micros FOREVER = INT64_MAX;

// Where a test that would never end is given up: a loop of the daemon in which no time passes, and a pass of its main
// loop that does nothing but wait.
constexpr uint64_t STEPS_WITHOUT_TIME = 1000000;
constexpr Micros LONGEST_PASS = 24 * Micros{3600} * SECOND;

auto later = [](const auto &left, const auto &right) {
    return left.when != right.when ? left.when > right.when : left.number > right.number;
};

} // namespace

void Scheduler::set_wall(time_t wall)
{
    wall_offset_ = static_cast<Micros>(wall) * SECOND - now_;
    wall_changes_++;
}

void Scheduler::step_wall(Micros by)
{
    wall_offset_ += by;
    wall_changes_++;
}

void Scheduler::set_uptime(int uptime)
{
    started_ = now_ - uptime * SECOND;
}

// ---- the daemon's side ----

// Whether nothing else is due before the running fibre wakes again. Then time can pass without a change of stacks.
bool Scheduler::wakes_next(Micros deadline) const
{
    if (deadline <= now_ || deadline > run_.limit || ticks_ >= run_.tick_goal || wall_changes_ != run_.wall_changes)
        return false;
    if (!changes_.empty() && changes_.front().when <= deadline)
        return false;
    return std::ranges::all_of(
        threads_, [this, deadline](const auto &each) { return each.get() == current_ || each->wakes > deadline; });
}

void Scheduler::leave_until(Micros deadline)
{
    if (wakes_next(deadline)) {
        now_ = deadline;
        return;
    }
    current_->wakes = deadline;
    current_->fiber->leave();
}

void Scheduler::wait(Micros duration)
{
    const Micros deadline = now_ + std::max<Micros>(duration, 0);
    if (current_ == nullptr)
        run_until(deadline);
    else if (deadline > now_)
        leave_until(deadline);
}

void Scheduler::hand_over()
{
    while (!messages_.empty()) {
        const Message message = std::move(messages_.front());
        messages_.pop_front();
        handle_(message.sender.c_str(), message.text.c_str());
    }
}

void Scheduler::sleep_for_messages(Micros duration)
{
    const Micros deadline = now_ + duration;
    if (current_ == nullptr || !current_->takes_messages) {
        wait(duration);
        return;
    }
    ticks_++;
    do {
        main_sleeps_ = true;
        leave_until(messages_.empty() ? deadline : now_);
        main_sleeps_ = false;
        hand_over();
    } while (now_ < deadline);
}

uint64_t Scheduler::start_thread(std::function<void()> body)
{
    const uint64_t id = next_id_++;
    threads_.push_back(std::make_unique<Thread>(
        Thread{.id = id, .wakes = now_, .takes_messages = false, .fiber = std::make_unique<Fiber>(std::move(body))}));
    return id;
}

void Scheduler::end_thread()
{
    if (current_ == nullptr)
        throw std::logic_error("a thread ends that is none of the daemon's");
    current_->fiber->leave_for_good();
}

uint64_t Scheduler::current_thread() const
{
    return current_ == nullptr ? 0 : current_->id;
}

bool Scheduler::take_name(const char *name, message_handle_fn handle)
{
    if (handle_ != nullptr)
        return false;
    name_ = name;
    handle_ = handle;
    return true;
}

void Scheduler::restart_machine()
{
    if (current_ == nullptr)
        return;
    restart_asked_ = true;
    current_->fiber->leave_for_good();
}

// ---- the test's side ----

void Scheduler::run_main()
{
    main_runs_ = true;
    main_result_ = time_check_main();
    main_runs_ = false;
}

void Scheduler::start_main(Micros when)
{
    main_runs_ = true;
    threads_.push_back(std::make_unique<Thread>(
        Thread{.id = next_id_++, .wakes = when, .takes_messages = true, .fiber = std::make_unique<Fiber>([this] {
                                                                            run_main();
                                                                        })}));
}

bool Scheduler::boot()
{
    if (main_runs_ || current_ != nullptr)
        throw std::logic_error("boot: the daemon runs");
    start_main(now_);
    tick(1);
    return main_runs_;
}

void Scheduler::tick(unsigned passes)
{
    const Micros limit = now_ + restart_takes_s_ * SECOND + (passes + 1) * LONGEST_PASS;
    const Run outside = std::exchange(run_, {.limit = limit, .tick_goal = ticks_ + passes});
    while (main_runs_ && ticks_ < run_.tick_goal) {
        run_.wall_changes = wall_changes_;
        if (!step(limit))
            throw std::runtime_error("a pass of the main loop does not end");
    }
    run_ = outside;
}

Scheduler::Thread *Scheduler::next_thread()
{
    Thread *next = nullptr;
    for (const auto &thread : threads_)
        if (next == nullptr || thread->wakes < next->wakes)
            next = thread.get();
    return next;
}

void Scheduler::enter(Thread &thread)
{
    Thread *const outside = std::exchange(current_, &thread);
    thread.fiber->enter();
    current_ = outside;
    if (restart_asked_)
        restart();
    else if (thread.fiber->ended())
        std::erase_if(threads_, [&thread](const auto &each) { return each.get() == &thread; });
}

// Does the next thing that is due up to `limit`; false when there is none, and then it is `limit`. Changes of the world
// come before the daemon at the same moment, its older threads before the younger.
bool Scheduler::step(Micros limit)
{
    Thread *const thread = next_thread();
    const bool change_is_next = !changes_.empty() && (thread == nullptr || changes_.front().when <= thread->wakes);
    if (!change_is_next && thread == nullptr && limit == FOREVER)
        throw std::logic_error("nothing is left that could happen");
    const Micros when = change_is_next ? changes_.front().when : thread == nullptr ? FOREVER : thread->wakes;
    if (when > limit) {
        now_ = std::max(now_, limit);
        return false;
    }
    steps_without_time_ = when > now_ ? 0 : steps_without_time_ + 1;
    if (steps_without_time_ > STEPS_WITHOUT_TIME)
        throw std::runtime_error("the daemon goes on and no time passes");
    now_ = std::max(now_, when);
    if (change_is_next) {
        std::ranges::pop_heap(changes_, later);
        const Change change = std::move(changes_.back());
        changes_.pop_back();
        change.what();
    } else {
        enter(*thread);
    }
    return true;
}

void Scheduler::run_until(Micros target, bool watch_wall)
{
    if (current_ != nullptr)
        throw std::logic_error("time is let pass from inside the daemon");
    const uint64_t changes = wall_changes_;
    const Run outside = std::exchange(run_, {.limit = target, .tick_goal = UINT64_MAX});
    do
        run_.wall_changes = wall_changes_;
    while (step(target) && !(watch_wall && wall_changes_ != changes));
    run_ = outside;
}

bool Scheduler::post(std::string sender, std::string text)
{
    if (handle_ == nullptr)
        return false;
    messages_.push_back({.sender = std::move(sender), .text = std::move(text)});
    Thread *main = nullptr;
    for (const auto &thread : threads_)
        if (thread->takes_messages)
            main = thread.get();
    if (main == nullptr) {
        hand_over(); // no daemon was booted: the test itself took the name
    } else if (main_sleeps_) {
        main->wakes = now_;
        if (current_ == nullptr) {
            const Run outside = std::exchange(run_, {}); // it is handed over, and no time passes
            enter(*main);
            run_ = outside;
        }
    }
    return true;
}

void Scheduler::at(Micros from_now, std::function<void()> change)
{
    changes_.push_back(
        {.when = now_ + std::max<Micros>(from_now, 0), .number = change_number_++, .what = std::move(change)});
    std::ranges::push_heap(changes_, later);
}

void Scheduler::restart_now()
{
    if (current_ != nullptr)
        restart_machine();
    restart();
}

// The daemon's threads are given up where they stand, as a machine gives them up.
void Scheduler::restart()
{
    const bool had_main = main_runs_;
    restart_asked_ = false;
    threads_.clear();
    messages_.clear();
    handle_ = nullptr;
    main_runs_ = false;
    main_sleeps_ = false;
    restarts_++;
    model().machine_restarted();
    restore_daemon_state();
    srandom(1); // as a process finds them
    srand(1);
    started_ = now_ + restart_takes_s_ * SECOND;
    if (had_main)
        start_main(started_);
}

} // namespace sim
