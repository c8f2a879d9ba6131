// Commands. In the model no program runs: what a command gives is told to it, and the programs that it knows are
// compared by what the daemon has them do.
#include <cstdio>
#include <cstring>

#include "platform/system.h"
#include "tests/contract/pair/ground_steps.h"

namespace pair
{
namespace
{

std::string some_status(Random &random)
{
    static const std::vector<int> STATUSES = {0, 1, 2, 77, 127, 128 + 1, 128 + 9, 128 + 15};
    return std::to_string(random.pick(STATUSES));
}

Words status_words(Random &random)
{
    const std::string status = some_status(random);
    std::string text = some_text(random, 20);
    std::erase(text, '\0');
    std::erase(text, '\'');
    return {status, text};
}

Words length_words(Random &random)
{
    return {std::to_string(4090 + random.below(10))};
}

void run_status(const Words &words, Answer &answer)
{
    const int status = number_of(words[0]);
    char command[256];
    snprintf(command, sizeof command, "%s %d%s # '%s'", status > 128 ? "kill -s" : "exit",
             status > 128 ? status - 128 : status, status > 128 ? " $$" : "", words[1].c_str());
    const bool is_one_line = words[1].find('\n') == std::string::npos;
    teach_status(command, status);
    answer.number(is_one_line ? doSystemCmd("%s", command) : -2);
}

void run_format(const Words &words, Answer &answer)
{
    const std::string command = "exit " + std::to_string(number_of(words[0]) % 128) + " x 7";
    teach_status(command, number_of(words[0]) % 128);
    answer.number(doSystemCmd("exit %d %c %u", number_of(words[0]) % 128, 'x', 7U));
}

void run_long(const Words &words, Answer &answer)
{
    const std::string command = "exit 3 #" + std::string(static_cast<size_t>(number_of(words[0])) - 8, 'x');
    teach_status(command, 3);
    answer.number(doSystemCmd("%s", command.c_str()));
}

Words eval_words(Random &random)
{
    const std::string waits = std::to_string(random.below(2));
    return {waits, random.pick({"true", ""})};
}

void run_eval(const Words &words, Answer &answer)
{
    char program[16];
    char word[] = "a b; exit 3";
    snprintf(program, sizeof program, "%s", words[1].c_str());
    char *const argv[] = {program[0] == '\0' ? nullptr : program, word, nullptr};
    int pid = 0;
    answer.number(_eval(argv, nullptr, 0, number_of(words[0]) != 0 ? &pid : nullptr));
    answer.number(pid > 0);
}

// ---- packet filter and policy routing ----

Words chain_words(Random &random)
{
    const std::string action = random.pick({"-N", "-N", "-A", "-A", "-I", "-D", "-D", "-F", "-X"});
    const std::string chain = random.pick({"TEST", "TEST", "OUTPUT"});
    return {action, chain, random.pick({"-o eth1 -j DROP", "-o wan2 -j DROP", "-o eth1 -j ACCEPT"})};
}

// As the daemon has it: a built-in chain is neither made, emptied nor removed.
void run_chain(const Words &words, Answer &answer)
{
    const bool takes_rule = words[0] == "-A" || words[0] == "-I" || words[0] == "-D";
    if (words[1] == "OUTPUT" && !takes_rule)
        return answer.word("built in");
    const std::string command = "iptables " + words[0] + " " + words[1] + (takes_rule ? " " + words[2] : "");
    answer.number(doSystemCmd("%s 2>/dev/null", command.c_str()) == 0);
}

Words rule_words(Random &random)
{
    const std::string action = random.pick({"add", "add", "del", "del"});
    const std::string priority = std::to_string(100 + random.below(3));
    return {action, priority, "192.0.2." + std::to_string(1 + random.below(3))};
}

void run_rule(const Words &words, Answer &answer)
{
    const bool adds = words[0] == "add";
    const std::string selector = "to " + words[2] + " iif lo lookup 201";
    answer.number(adds ? doSystemCmd("ip rule add %s prio %s 2>/dev/null", selector.c_str(), words[1].c_str()) == 0
                       : doSystemCmd("ip rule del prio %s 2>/dev/null", words[1].c_str()) == 0);
}

void run_rules(const Words & /*words*/, Answer &answer)
{
    answer.text(rules_here());
}

void begin_rules()
{
    begin_ground();
    for (const char *command : {"iptables -F OUTPUT", "iptables -F TEST", "iptables -X TEST"})
        doSystemCmd("%s 2>/dev/null", command);
    for (int priority = 100; priority < 103; priority++)
        while (doSystemCmd("ip rule del prio %d 2>/dev/null", priority) == 0)
            ;
}

} // namespace

const Family shell = {.name = "shell",
                      .steps = {{"status", "doSystemCmd", 6, status_words, run_status},
                                {"format", "doSystemCmd", 1, status_words, run_format},
                                {"long", "doSystemCmd", 1, length_words, run_long},
                                {"eval", "_eval", 2, eval_words, run_eval}},
                      .longest = 5,
                      .in_own_process = false,
                      .begin = begin_ground,
                      .end = nullptr};

const Family rules = {.name = "rules",
                      .steps = {{"chain", "doSystemCmd", 6, chain_words, run_chain},
                                {"rule", "doSystemCmd", 4, rule_words, run_rule},
                                {"look", "", 2, no_words, run_rules}},
                      .longest = 15,
                      .in_own_process = false,
                      .begin = begin_rules,
                      .end = nullptr};

} // namespace pair
