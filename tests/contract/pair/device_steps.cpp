// LEDs, netctrl, the clock and the restart.
#include "platform/netctrl.h"
#include "platform/system.h"
#include "tests/contract/kit/world.h"
#include "tests/contract/pair/ground_steps.h"

namespace pair
{
namespace
{

bool netctrl_listens;

void begin_device()
{
    netctrl_listens = false;
    begin_world();
}

Words led_words(Random &random)
{
    return {std::to_string(random.below(7) - 1)};
}

void run_leds(const Words &words, Answer &answer)
{
    const int state = number_of(words[0]);
    set_all_led(state);
    answer.number(state < 0 || state > 3 ? -2 : kit_world.leds());
}

Words message_words(Random &random)
{
    const std::string module = std::to_string(random.below(60) - 2);
    std::string text =
        random.one_in(6) ? std::string(static_cast<size_t>(4085 + random.below(15)), 'x') : some_text(random, 30);
    std::erase(text, '\0');
    return {module, text};
}

void run_message(const Words &words, Answer &answer)
{
    static char heard[8192];
    if (!netctrl_listens)
        netctrl_listens = kit_world.netctrl_listens(1) == 0;
    heard[0] = '\0';
    const int sent = send_msg_to_netctrl(number_of(words[0]), words[1].c_str());
    answer.number(sent);
    if (sent == 0 && kit_world.netctrl_heard(heard, sizeof heard) == 0)
        answer.text(heard);
}

void run_uptime(const Words & /*words*/, Answer &answer)
{
    const int before = get_uptime();
    system_sleep(0);
    system_sleep(-1);
    const int after = get_uptime();
    answer.number(before >= 0);
    answer.number(after - before <= 1);
    answer.number(after < before);
}

void run_reboot(const Words & /*words*/, Answer &answer)
{
    const int before = kit_world.restarts();
    tpi_systool_reboot();
    answer.number(kit_world.restarts() - before);
}

Words app_words(Random &random)
{
    const std::string name = random.pick({"dhttpd", "netcheckd", "a"});
    return {name, random.pick({"dhttpd", "dhttp", "dhttpdd", "netcheckd", "a", "", "aa", "kthreadd9"})};
}

void run_start(const Words &words, Answer &answer)
{
    answer.number(kit_world.process(words[0].c_str()));
}

void run_app(const Words &words, Answer &answer)
{
    answer.number(check_app(words[1].c_str()));
}

void run_end(const Words & /*words*/, Answer &answer)
{
    answer.number(kit_world.end_processes());
}

} // namespace

const Family device = {.name = "device",
                       .steps = {{"leds", "set_all_led", 5, led_words, run_leds},
                                 {"message", "send_msg_to_netctrl", 5, message_words, run_message},
                                 {"uptime", "get_uptime system_sleep", 2, no_words, run_uptime},
                                 {"reboot", "tpi_systool_reboot", 1, no_words, run_reboot},
                                 {"start", "", 1, app_words, run_start},
                                 {"app", "check_app", 6, app_words, run_app},
                                 {"end", "", 1, no_words, run_end}},
                       .longest = 25,
                       .in_own_process = false,
                       .begin = begin_device,
                       .end = end_world};

} // namespace pair
