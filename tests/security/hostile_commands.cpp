// Values that want to be commands, in every setting, name and message that reaches a command of the daemon; each
// command is then run by a real shell. Its programs are functions that tell how they were called, and nothing else is
// to be found in its PATH. hostile_commands [--commands N] [--seed S] [--shell PATH]
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <regex>
#include <set>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "platform/config_keys.h"
#include "platform/sim/virtual_router.h"
#include "tests/fuzz/command_grammar.h"
#include "tests/fuzz/fuzz_daemon.h"
#include "tests/support/busy_settings.h"
#include "time_check/time_check_uplink.h"
#include "time_check/time_check_wifi_connect.h"
#include "time_check/wan_surf_probe.h"

namespace
{

using Words = std::vector<std::string>;

struct Given {
    std::string text;
    Words values; // that must be words of it
};

struct Options {
    size_t commands = 100000;
    uint32_t seed = 1;
    std::string shell = "sh";
};

constexpr size_t BATCH = 4000;
constexpr const char *PROGRAMS[] = {"pppoecd", "ifconfig", "wlconf", "iptables", "ip", "killall", "cfm", "date"};
constexpr const char *FRAGMENTS[] = {"'",
                                     "\"",
                                     "\\",
                                     "\\'",
                                     "'\\''",
                                     "`",
                                     "$(canary)",
                                     "`canary`",
                                     "${IFS}",
                                     "$IFS",
                                     ";canary;",
                                     "&canary&",
                                     "&&canary ",
                                     "||canary ",
                                     "|canary",
                                     "\ncanary\n",
                                     "\r",
                                     "\t",
                                     " ",
                                     "  ",
                                     ">mark",
                                     ">>mark ",
                                     "<mark",
                                     "2>mark",
                                     "<<X\n",
                                     "$'\\n'canary",
                                     "!canary",
                                     "#",
                                     "*",
                                     "?",
                                     "[a-z]",
                                     "~",
                                     "~root",
                                     "{a,b}",
                                     "(canary)",
                                     "{ canary;}",
                                     "\xff",
                                     "\xc3\xa4",
                                     "\x01",
                                     "\x7f",
                                     "%s%n%d%1000000s",
                                     "-",
                                     "--help",
                                     "-x",
                                     "=",
                                     "canary",
                                     "a",
                                     "B9",
                                     "AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA",
                                     "';canary;'",
                                     "\";canary;\"",
                                     "$((1))",
                                     "$1",
                                     "$@",
                                     "\\\n",
                                     "''",
                                     "\"\"",
                                     ")",
                                     "fi;canary",
                                     "done",
                                     "EOF\n",
                                     "eval canary",
                                     "exec canary",
                                     ". mark"};

[[noreturn]] void give_up(const std::string &what, const std::string &text)
{
    fprintf(stderr, "hostile_commands: %s:\n%s\n", what.c_str(), text.c_str());
    exit(1);
}

sim::VirtualRouter &box = sim::router();

// Every key that there is; of several WANs, radios and rules the first.
constexpr const char *KEY_PATTERNS[] = {
#define CONFIG_KEY(NAME, key, ...) key,
#include "platform/config_keys.def"
};

std::string key_of(std::string pattern)
{
    for (size_t at = pattern.find('%'); at != std::string::npos; at = pattern.find('%'))
        pattern.replace(at, 2, pattern[at + 1] == 's' ? "nkgw.wlan" : "1");
    return pattern;
}

// ---- commands with such values ----

std::vector<Given> given;

// Notes each command that the daemon gives.
void watch()
{
    box.commands.set_hook([](const std::string &command) {
        given.push_back({.text = command, .values = {}});
        return sim::NOT_HANDLED;
    });
}

std::mt19937 dice;
size_t values; // that were made

std::string hostile(size_t most)
{
    values++;
    std::string text;
    for (size_t parts = dice() % 8; parts > 0; parts--)
        text += FRAGMENTS[dice() % std::size(FRAGMENTS)];
    if (dice() % 8 == 0)
        text.append(dice() % 300, "a'\"$"[dice() % 4]);
    return text.substr(0, most);
}

// A dialled uplink whose client has gone, and is called with the account.
Words dial()
{
    WIFI_CONNECT wifi = {};
    strcpy(wifi.wl_mode, "wisp");
    strcpy(wifi.access_mode, "pppoe");
    Words account = {hostile(255), hostile(255), hostile(15)};
    box.store.set(KEY_WISP_PPPOE_NAME, account[0]);
    box.store.set(KEY_WISP_PPPOE_PASSWORD, account[1]);
    box.store.set(KEY_WISP_PPPOE_MTU, account[2]);
    box.processes.end("pppoecd");
    check_wisp_pppoe_exist(&wifi);
    check_wisp_pppoe_exist(&wifi);
    return account;
}

// A radio uplink that is lost for a minute, and tried with another cipher.
Words lose_uplink()
{
    WIFI_CONNECT wifi = {};
    const std::string name = hostile(sizeof wifi.ifname - 1);
    strcpy(wifi.ifname, name.c_str());
    wpa2_tkip_aes_change(&wifi, "aes");
    link_watch link = {};
    link.wl_not_conn_time = LINK_BOUNCE_S;
    time_check_link_bounce_when_due(&link, wifi.ifname, "lost");
    return {name};
}

Words lose_wan()
{
    const std::string name = hostile(63);
    config_iptables_rule(name.c_str(), IPTABLES_ADD);
    config_iptables_rule(name.c_str(), IPTABLES_DEL);
    return {name};
}

// The whole daemon for some minutes, with such values wherever some can be.
Words live()
{
    sim::make_router_anew();
    watch();
    box.log.keep(false);
    for (const auto &[key, value] : BUSY_SETTINGS)
        box.store.set(key, value);
    for (const char *const pattern : KEY_PATTERNS)
        if (dice() % 3 == 0)
            box.store.set(key_of(pattern), hostile(300));
    for (const char *const path : FILES_READ)
        if (dice() % 3 == 0)
            box.files.set(path, hostile(300));
    box.store.set(KEY_WL2G_PUBLIC_MODE, dice() % 2 == 0 ? "wisp" : "apclient");
    box.store.set(KEY_WISP_ACCESS_MODE, "pppoe");
    box.radios.set_name(24, hostile(15));
    box.network.set_wan(1, hostile(15));
    box.network.set_wan(2, hostile(15));
    box.boot();
    for (int i = 0; i < 8 && box.running(); i++) {
        box.tick(20);
        box.post(hostile(300));
        box.post("5?op=1,string_info=" + hostile(100));
    }
    return {};
}

std::vector<Given> more_commands()
{
    constexpr Words (*WAYS[])() = {dial, lose_uplink, lose_wan};
    given.clear();
    const Words words = dice() % 256 == 0 ? live() : WAYS[dice() % std::size(WAYS)]();
    for (Given &each : given)
        each.values = words;
    return std::exchange(given, {});
}

// ---- the shell ----

// In another way than the daemon's.
std::string quoted(const std::string &text)
{
    std::string quoted = "'";
    for (const char c : text)
        quoted += c == '\'' ? std::string("'\"'\"'") : std::string(1, c);
    return quoted + "'";
}

// A call as the functions below tell it: the number of its words, then these, each ended by a zero.
std::string told(const Words &call)
{
    std::string text = std::to_string(call.size()) + '\0';
    for (const std::string &word : call)
        text += word + '\0';
    return text;
}

// What a right shell tells of the command.
std::string expected(const Given &command)
{
    std::vector<ShellToken> tokens;
    if (!is_daemon_command(command.text) || !read_shell_tokens(command.text, tokens))
        give_up("not a command of the daemon's", command.text);
    std::string all;
    Words call;
    bool is_file = false;
    for (const ShellToken &token : tokens) {
        if (token.is_operator && token.text.back() == '&') {
            all += told(call);
            call.clear();
        } else if (!token.is_operator && !is_file) {
            call.push_back(token.text);
        }
        is_file = token.is_operator && token.text.back() == '>';
    }
    for (const std::string &value : command.values)
        if (!value.empty() && all.find(value + '\0') == std::string::npos &&
            std::ranges::find(call, value) == call.end())
            give_up("a value is not a word of it", command.text);
    return call.empty() ? all : all + told(call);
}

std::string script_of(const std::vector<Given> &commands)
{
    std::string script = "say() { printf '%s\\000' $# \"$@\"; }\ncanary() { : >canary-has-run; say canary; }\n";
    for (const char *const program : PROGRAMS)
        script += std::string(program) + "() { say " + program + " \"$@\"; }\n";
    for (const Given &command : commands)
        script += "eval " + quoted(command.text) + "\nwait\nsay end\n";
    return script;
}

std::string content_of(const std::filesystem::path &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// With the path of its program, since it gets another PATH.
std::string program_of(const std::string &shell)
{
    const size_t end = std::min(shell.find(' '), shell.size());
    return "$(command -v " + shell.substr(0, end) + ")" + shell.substr(end);
}

// A folder of its own, in which a shell has written what it tells, and must have written nothing else.
class Folder
{
public:
    Folder()
    {
        std::string name = std::filesystem::temp_directory_path() / "hostile-XXXXXX";
        if (mkdtemp(name.data()) == nullptr)
            give_up("no folder", strerror(errno));
        path_ = name;
        std::filesystem::create_directory(path_ / "cwd");
    }
    ~Folder()
    {
        std::filesystem::remove_all(path_);
    }
    Folder(const Folder &) = delete;
    Folder &operator=(const Folder &) = delete;

    std::string run(const std::string &shell, const std::string &script)
    {
        std::ofstream(path_ / "script", std::ios::binary) << script;
        const std::string command = "cd " + (path_ / "cwd").string() + " && exec env -i PATH=/nowhere " +
                                    program_of(shell) + " ../script >../said 2>../errors </dev/null";
        const int status = system(command.c_str());
        if (!std::filesystem::is_empty(path_ / "cwd"))
            give_up("a file was made", std::filesystem::directory_iterator(path_ / "cwd")->path());
        const std::string errors = content_of(path_ / "errors");
        if (status != 0 || !errors.empty())
            give_up("the shell ends with " + std::to_string(status), errors);
        return content_of(path_ / "said");
    }

private:
    std::filesystem::path path_;
};

void run_all(const std::vector<Given> &commands, const std::string &shell)
{
    Folder folder;
    const std::string said = folder.run(shell, script_of(commands));
    size_t at = 0;
    for (const Given &command : commands) {
        const std::string right = expected(command) + told({"end"});
        if (said.compare(at, right.size(), right) != 0)
            give_up("the shell makes something else of it", command.text + "\n" + said.substr(at, right.size() + 100));
        at += right.size();
    }
    if (at != said.size())
        give_up("there is more than was asked for", said.substr(at));
}

// ---- the run ----

Options options_of(int count, char **arguments)
{
    Options options;
    for (int i = 1; i + 1 < count; i += 2) {
        const std::string name = arguments[i];
        if (name == "--commands")
            options.commands = strtoull(arguments[i + 1], nullptr, 10);
        else if (name == "--seed")
            options.seed = static_cast<uint32_t>(strtoul(arguments[i + 1], nullptr, 10));
        else if (name == "--shell")
            options.shell = arguments[i + 1];
        else
            count = 0;
    }
    if (count % 2 == 0 || options.commands == 0) {
        fprintf(stderr, "usage: hostile_commands [--commands N] [--seed S] [--shell PROGRAM]\n");
        exit(2);
    }
    return options;
}

// Whether it is to be run: those without a value are run once.
bool is_wanted(const std::string &command, std::set<std::string> &seen)
{
    static const std::regex with_values("(pppoecd|ifconfig|wlconf|iptables -[AD] dns_drop -o) ");
    if (command == "echo nameserver > /etc/resolv_wisp.conf") // writes to a file of this machine
        return false;
    return std::regex_search(command, with_values, std::regex_constants::match_continuous) ||
           seen.insert(command).second;
}

} // namespace

int main(int count, char **arguments) // NOLINT(bugprone-exception-escape): a test that fails
{
    const Options options = options_of(count, arguments);
    dice.seed(options.seed);
    size_t done = 0;
    std::vector<Given> batch;
    std::set<std::string> seen;
    watch();
    box.log.keep(false);
    while (done < options.commands) {
        for (Given &command : more_commands())
            if (is_wanted(command.text, seen))
                batch.push_back(std::move(command));
        if (batch.size() < std::min(BATCH, options.commands - done))
            continue;
        run_all(batch, options.shell);
        done += batch.size();
        batch.clear();
    }
    printf("hostile values: %zu commands of the daemon with %zu values, as they are, in %s, seed %u\n", done, values,
           options.shell.c_str(), options.seed);
    return 0;
}
