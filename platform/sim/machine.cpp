#include "platform/sim/machine.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include "platform/sim/daemon_state.h"
#include "platform/sim/virtual_router.h"

extern "C" int time_check_main(int count, char **arguments); // the daemon's main, under the name that it has in here

namespace sim
{
namespace
{

constexpr Micros FOREVER = INT64_MAX;

// Where a test that would never end is given up: a loop of the daemon in which no time passes, and a pass of its main
// loop that does nothing but wait.
constexpr uint64_t STEPS_WITHOUT_TIME = 1000000;
constexpr Micros LONGEST_PASS = 24 * Micros{3600} * SECOND;

Micros micros(double seconds)
{
    return std::llround(seconds * static_cast<double>(SECOND));
}

auto later = [](const auto &left, const auto &right) {
    return left.when != right.when ? left.when > right.when : left.number > right.number;
};

} // namespace

// ---- the daemon's side ----

// Whether nothing else is due before the running fibre wakes again. Then time can pass without a change of stacks.
bool Machine::wakes_next(Micros deadline) const
{
    if (deadline <= clock.now() || deadline > run_.limit || ticks_ >= run_.tick_goal ||
        clock.changes() != run_.wall_changes)
        return false;
    if (!changes_.empty() && changes_.front().when <= deadline)
        return false;
    return std::ranges::all_of(
        threads_, [this, deadline](const auto &each) { return each.get() == current_ || each->wakes > deadline; });
}

void Machine::leave_until(Micros deadline)
{
    if (wakes_next(deadline)) {
        clock.pass_to(deadline);
        return;
    }
    current_->wakes = deadline;
    current_->fiber->leave();
}

void Machine::wait(Micros duration)
{
    const Micros deadline = clock.now() + std::max<Micros>(duration, 0);
    if (current_ == nullptr)
        let_pass(deadline);
    else if (deadline > clock.now())
        leave_until(deadline);
}

void Machine::pause(Micros duration)
{
    const Micros ends = clock.now() + duration;
    wait(pace_ && !runs_main_thread() ? pace_(false, ends) - clock.now() : duration);
}

void Machine::hand_over()
{
    while (!messages_.empty()) {
        const Message message = std::move(messages_.front());
        messages_.pop_front();
        if (message.wish == nullptr)
            handle_(message.sender.c_str(), message.text.c_str());
        else if (message.wish == end_daemon_)
            end_by_daemon();
        else
            message.wish();
    }
}

void Machine::sleep_for_messages(Micros duration)
{
    if (current_ == nullptr || !current_->takes_messages) {
        wait(duration);
        return;
    }
    ticks_++;
    if (look_)
        look_();
    const Micros deadline = pace_ ? pace_(true, clock.now() + duration) : clock.now() + duration;
    do {
        main_sleeps_ = true;
        leave_until(messages_.empty() ? deadline : clock.now());
        main_sleeps_ = false;
        hand_over();
    } while (clock.now() < deadline);
}

uint64_t Machine::start_thread(std::function<void()> body)
{
    const uint64_t id = next_id_++;
    threads_.push_back(std::make_unique<Thread>(Thread{
        .id = id, .wakes = clock.now(), .takes_messages = false, .fiber = std::make_unique<Fiber>(std::move(body))}));
    return id;
}

uint64_t Machine::current_thread() const
{
    return current_ == nullptr ? 0 : current_->id;
}

bool Machine::take_name(message_handle_fn handle)
{
    if (handle_ != nullptr)
        return false;
    handle_ = handle;
    return true;
}

void Machine::restart_by_daemon()
{
    if (current_ == nullptr)
        return;
    restart_asked_ = true;
    current_->fiber->leave_for_good();
}

void Machine::end_by_daemon()
{
    end_daemon_();
    end_asked_ = true;
    current_->fiber->leave_for_good();
}

// ---- the test's side ----

void Machine::run_main()
{
    main_runs_ = true;
    char name[] = "time_check";
    char *arguments[] = {name, nullptr};
    main_result_ = time_check_main(1, arguments);
    main_runs_ = false;
}

void Machine::start_main(Micros when)
{
    main_runs_ = true;
    threads_.push_back(std::make_unique<Thread>(
        Thread{.id = next_id_++, .wakes = when, .takes_messages = true, .fiber = std::make_unique<Fiber>([this] {
                                                                            run_main();
                                                                        })}));
}

bool Machine::boot()
{
    if (main_runs_ || current_ != nullptr)
        throw std::logic_error("boot: the daemon runs");
    start_main(clock.now());
    tick(1);
    return main_runs_;
}

void Machine::tick(unsigned passes)
{
    const Micros limit = clock.now() + restart_takes_s_ * SECOND + (passes + 1) * LONGEST_PASS;
    const Run outside = std::exchange(run_, {.limit = limit, .tick_goal = ticks_ + passes});
    while (main_runs_ && ticks_ < run_.tick_goal) {
        run_.wall_changes = clock.changes();
        if (!step(limit))
            throw std::runtime_error("a pass of the main loop does not end");
    }
    run_ = outside;
}

Machine::Thread *Machine::next_thread()
{
    Thread *next = nullptr;
    for (const auto &thread : threads_)
        if (next == nullptr || thread->wakes < next->wakes)
            next = thread.get();
    return next;
}

void Machine::enter(Thread &thread)
{
    Thread *const outside = std::exchange(current_, &thread);
    thread.fiber->enter();
    current_ = outside;
    if (restart_asked_) {
        begin_anew();
    } else if (end_asked_) {
        end_asked_ = false;
        main_result_ = 0;
        forget_daemon();
    } else if (thread.fiber->ended()) {
        std::erase_if(threads_, [&thread](const auto &each) { return each.get() == &thread; });
    }
}

// Does the next thing that is due up to `limit`; false when there is none, and then it is `limit`. Changes of the world
// come before the daemon at the same moment, its older threads before the younger.
bool Machine::step(Micros limit)
{
    Thread *const thread = next_thread();
    const bool change_is_next = !changes_.empty() && (thread == nullptr || changes_.front().when <= thread->wakes);
    if (!change_is_next && thread == nullptr && limit == FOREVER)
        throw std::logic_error("nothing is left that could happen");
    const Micros when = change_is_next ? changes_.front().when : thread == nullptr ? FOREVER : thread->wakes;
    if (when > limit) {
        clock.pass_to(std::max(clock.now(), limit));
        return false;
    }
    steps_without_time_ = when > clock.now() ? 0 : steps_without_time_ + 1;
    if (steps_without_time_ > STEPS_WITHOUT_TIME)
        throw std::runtime_error("the daemon goes on and no time passes");
    clock.pass_to(std::max(clock.now(), when));
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

void Machine::let_pass(Micros target, bool watch_wall)
{
    if (current_ != nullptr)
        throw std::logic_error("time is let pass from inside the daemon");
    const uint64_t changes = clock.changes();
    const Run outside = std::exchange(run_, {.limit = target, .tick_goal = UINT64_MAX});
    do
        run_.wall_changes = clock.changes();
    while (step(target) && !(watch_wall && clock.changes() != changes));
    run_ = outside;
}

void Machine::run(double seconds)
{
    let_pass(clock.now() + micros(seconds));
}

void Machine::run_until(const std::string &local)
{
    const Micros goal = static_cast<Micros>(from_local_text(local)) * SECOND;
    while (clock.wall_us() < goal)
        let_pass(clock.now() + goal - clock.wall_us(), true);
}

bool Machine::post(std::string text, std::string sender)
{
    return handle_ != nullptr && deliver({.sender = std::move(sender), .text = std::move(text)});
}

bool Machine::ask_to_end()
{
    return main_runs_ && deliver({.sender = "", .text = "", .wish = end_daemon_});
}

bool Machine::ask_to_read_again()
{
    return main_runs_ && deliver({.sender = "", .text = "", .wish = read_again_});
}

// Always true.
bool Machine::deliver(Message message)
{
    messages_.push_back(std::move(message));
    Thread *main = nullptr;
    for (const auto &thread : threads_)
        if (thread->takes_messages)
            main = thread.get();
    if (main == nullptr) {
        hand_over(); // no daemon was booted: the test itself took the name
    } else if (main_sleeps_) {
        main->wakes = clock.now();
        if (current_ == nullptr) {
            const Run outside = std::exchange(run_, {}); // it is handed over, and no time passes
            enter(*main);
            run_ = outside;
        }
    }
    return true;
}

void Machine::at(double seconds_from_now, std::function<void()> change)
{
    changes_.push_back({.when = clock.now() + std::max<Micros>(micros(seconds_from_now), 0),
                        .number = change_number_++,
                        .what = std::move(change)});
    std::ranges::push_heap(changes_, later);
}

void Machine::restart()
{
    if (current_ != nullptr)
        restart_by_daemon();
    begin_anew();
}

// The daemon's threads are given up where they stand, as a machine gives them up.
void Machine::forget_daemon()
{
    threads_.clear();
    messages_.clear();
    handle_ = nullptr;
    main_runs_ = false;
    main_sleeps_ = false;
    restore_daemon_state();
    srandom(1); // as a process finds them
    srand(1);
}

void Machine::start_daemon_now()
{
    forget_daemon();
    start_main(clock.now());
}

void Machine::begin_anew()
{
    const bool had_main = main_runs_;
    restart_asked_ = false;
    restarts_++;
    router().machine_restarted();
    forget_daemon();
    const Micros up = clock.now() + restart_takes_s_ * SECOND;
    clock.machine_starts_at(up);
    if (had_main)
        start_main(up);
}

} // namespace sim
