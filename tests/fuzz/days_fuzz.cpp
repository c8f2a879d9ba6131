// A day of the booted daemon with both its threads: changes of the world, floods of messages, changes of mode, clock
// steps and failing calls at their moments. At its end everything works again.
#include <memory>

#include "tests/fuzz/fuzz_daemon.h"
#include "tests/fuzz/world.h"

namespace
{

constexpr double DAY_S = 86400;
constexpr unsigned EVENTS = 48;

void flood(const std::string &text, unsigned messages)
{
    for (unsigned i = 0; i < messages; i++)
        sim::router().post(text);
}

// What is left of the input, told at its moments.
void tell_day(const std::shared_ptr<std::string> &story)
{
    Input input(reinterpret_cast<const uint8_t *>(story->data()), story->size());
    const auto shared = std::make_shared<Input>(input);
    sim::VirtualRouter &box = sim::router();
    double moment_s = 0;
    for (unsigned event = 0; event < EVENTS && !shared->ended(); event++) {
        moment_s += DAY_S / 65536 * (shared->word() / 8.0);
        const unsigned kind = shared->below(8);
        const std::string detail = shared->line(64);
        box.at(moment_s, [kind, detail] {
            Input words(reinterpret_cast<const uint8_t *>(detail.data()), detail.size());
            if (kind == 0)
                flood(detail, 200);
            else if (kind <= 2)
                order_fault(words);
            else if (kind == 3)
                sim::router().faults.clear();
            else
                change_world(words);
        });
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Input input(data, size);
    fresh_router();
    watch_commands();
    sim::VirtualRouter &box = sim::router();
    busy_router(input);
    box.clock.set(1772323200 + static_cast<time_t>(input.word()) * 60);
    tell_day(std::make_shared<std::string>(input.rest()));
    box.boot();
    box.run(DAY_S);

    box.faults.clear();
    box.network.set_internet(true);
    const uint64_t ticks = box.ticks();
    box.run(600);
    if (box.ticks() < ticks + 60)
        give_up("the main loop stands", std::to_string(box.ticks() - ticks));
    expect_order();
    return 0;
}
