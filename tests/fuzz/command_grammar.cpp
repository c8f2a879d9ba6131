#include "tests/fuzz/command_grammar.h"

#include <algorithm>
#include <regex>

namespace
{

// In these, * is one word of any content or none, # a number, @ an IPv4 address, % a message to netctrl.
constexpr std::string_view COMMANDS[] = {
    "date",
    "cfm post netctrl %",
    "killall -9 *",
    "ifconfig * down && ifconfig * up",
    "echo nameserver > /etc/resolv_wisp.conf",
    "pppoecd eth1 -u * -p * -r * -t * -i 0 -U 0 &",
    "wlconf * down",
    "wlconf * up",
    "wlconf * start",
    "iptables -D OUTPUT -p udp --dport # -m state --state NEW -j dns_drop",
    "iptables -A OUTPUT -p udp --dport # -m state --state NEW -j dns_drop",
    "iptables -F dns_drop",
    "iptables -X dns_drop",
    "iptables -N dns_drop",
    "iptables -A dns_drop -o * -j DROP",
    "iptables -D dns_drop -o * -j DROP",
    "ip rule del prio #",
    "ip rule add to @ iif lo lookup wan1 prio # 2> /dev/null",
    "ip rule add to @ iif lo lookup wan2 prio # 2> /dev/null",
};

constexpr std::string_view BLANKS = " \t";
constexpr std::string_view EXPANDED = "$`\"\\;|<()*[]!#~{}\n\r";

std::vector<std::string_view> words_of(std::string_view line)
{
    std::vector<std::string_view> words;
    for (size_t begin = 0; begin < line.size();) {
        const size_t end = std::min(line.find(' ', begin), line.size());
        words.push_back(line.substr(begin, end - begin));
        begin = end + 1;
    }
    return words;
}

bool fits(std::string_view place, const ShellToken &token)
{
    static const std::regex number("[0-9]+");
    static const std::regex address("[0-9]{1,3}(\\.[0-9]{1,3}){3}");
    static const std::regex message("[0-9]+\\?op=[0-9]+(,[a-z_]+=[a-z0-9_]+)*");
    if (place == "*")
        return !token.is_operator;
    if (place == "#" || place == "@" || place == "%")
        return !token.is_operator && std::regex_match(token.text, place == "#"   ? number
                                                                  : place == "@" ? address
                                                                                 : message);
    const bool is_operator = place == "&&" || place == "&" || place == ">" || place == "2>";
    return token.is_operator == is_operator && token.text == place;
}

bool matches(const std::vector<std::string_view> &places, size_t place, const std::vector<ShellToken> &tokens,
             size_t token)
{
    if (place == places.size())
        return token == tokens.size();
    if (token < tokens.size() && fits(places[place], tokens[token]) && matches(places, place + 1, tokens, token + 1))
        return true;
    return places[place] == "*" && matches(places, place + 1, tokens, token); // an empty setting is no word
}

} // namespace

bool read_shell_tokens(std::string_view line, std::vector<ShellToken> &tokens)
{
    std::string word;
    bool in_word = false;
    const auto finish = [&] {
        if (in_word)
            tokens.push_back({.text = std::move(word), .is_operator = false});
        word.clear();
        in_word = false;
    };
    for (size_t i = 0; i < line.size(); i++) {
        const char c = line[i];
        if (c == '\'') {
            const size_t end = line.find('\'', i + 1);
            if (end == std::string_view::npos)
                return false;
            word += line.substr(i + 1, end - i - 1);
            in_word = true;
            i = end;
        } else if (c == '\\' && i + 1 < line.size() && line[i + 1] == '\'') { // how a quote is quoted
            word += line[++i];
            in_word = true;
        } else if (BLANKS.find(c) != std::string_view::npos) {
            finish();
        } else if (c == '&' || c == '>') {
            const bool of_errors = c == '>' && word == "2";
            if (of_errors)
                word.clear();
            in_word = in_word && !of_errors;
            finish();
            const bool twice = c == '&' && i + 1 < line.size() && line[i + 1] == '&';
            i += twice ? 1 : 0;
            tokens.push_back({.text = twice ? "&&" : of_errors ? "2>" : std::string(1, c), .is_operator = true});
        } else if (EXPANDED.find(c) != std::string_view::npos) {
            return false;
        } else {
            word += c;
            in_word = true;
        }
    }
    finish();
    return true;
}

bool is_daemon_command(std::string_view line)
{
    std::vector<ShellToken> tokens;
    return read_shell_tokens(line, tokens) && std::ranges::any_of(COMMANDS, [&](std::string_view command) {
               return matches(words_of(command), 0, tokens, 0);
           });
}
