#include "router/netctrl/message.h"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace
{

constexpr verb VERBS[] = {
#define NETCTRL_VERB(module, op, arguments, verb, subject, supersedes)                                                 \
    {module, op, arguments, verb, subject, supersedes},
#include "router/netctrl/verbs.def"
#undef NETCTRL_VERB
};

// Takes what stands before `parting` off the text; all of it when there is none.
std::string_view next_part(std::string_view *text, char parting)
{
    const std::string_view part = text->substr(0, text->find(parting));
    text->remove_prefix(std::min(text->size(), part.size() + 1));
    return part;
}

std::optional<int> number_in(std::string_view text)
{
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

typedef std::map<std::string, std::string, std::less<>> named_values;

// "key=value,key=value"; a later item for the same key wins.
std::optional<named_values> items_in(std::string_view text)
{
    named_values items;
    while (!text.empty()) {
        const std::string_view item = next_part(&text, ',');
        const size_t equals = item.find('=');
        if (equals == std::string_view::npos)
            return std::nullopt;
        items.insert_or_assign(std::string(item.substr(0, equals)), std::string(item.substr(equals + 1)));
    }
    return items;
}

bool is_one_of(std::string_view value, std::string_view allowed)
{
    while (!allowed.empty())
        if (next_part(&allowed, '|') == value)
            return true;
    return false;
}

// Whether the items are those of the row, all and no more.
bool match(const named_values &items, std::string_view row)
{
    size_t matching = 0;
    while (!row.empty()) {
        std::string_view allowed = next_part(&row, ',');
        const auto found = items.find(next_part(&allowed, '='));
        if (found == items.end() || !is_one_of(found->second, allowed))
            return false;
        matching++;
    }
    return matching == items.size();
}

std::string subject_of(const verb &verb, const named_values &arguments)
{
    std::string subject(verb.subject);
    const size_t begin = subject.find('{');
    if (begin == std::string::npos)
        return subject;
    const size_t end = subject.find('}');
    const std::string &value = arguments.find(subject.substr(begin + 1, end - begin - 1))->second;
    return subject.replace(begin, end - begin + 1, value);
}

// The arguments in the row's order, whatever that of the message was.
std::string message_of(const verb &verb, const named_values &arguments)
{
    std::string text = std::to_string(verb.module) + "?op=" + std::to_string(verb.op);
    std::string_view row = verb.arguments;
    while (!row.empty()) {
        std::string_view item = next_part(&row, ',');
        const std::string_view name = next_part(&item, '=');
        text.append(",").append(name).append("=").append(arguments.find(name)->second);
    }
    return text;
}

} // namespace

std::span<const verb> all_verbs()
{
    return VERBS;
}

std::optional<request> read_message(std::string_view text)
{
    const std::optional<int> module = number_in(next_part(&text, '?'));
    std::optional<named_values> items = items_in(text);
    if (!module || !items)
        return std::nullopt;
    const auto op_item = items->find("op");
    const std::optional<int> op = op_item == items->end() ? std::nullopt : number_in(op_item->second);
    if (!op)
        return std::nullopt;
    items->erase(op_item);
    for (const verb &verb : VERBS)
        if (verb.module == *module && verb.op == *op && match(*items, verb.arguments))
            return request{&verb, message_of(verb, *items), subject_of(verb, *items), std::move(*items)};
    return std::nullopt;
}

bool supersedes(const request &later, const request &earlier)
{
    if (later.message == earlier.message)
        return true;
    std::string_view names = later.what->supersedes;
    while (!names.empty())
        if (next_part(&names, ' ') == earlier.what->name)
            return true;
    return false;
}

std::vector<std::string> messages_of(const verb &verb)
{
    std::vector<std::string> texts = {std::to_string(verb.module) + "?op=" + std::to_string(verb.op)};
    std::string_view row = verb.arguments;
    while (!row.empty()) {
        std::string_view values = next_part(&row, ',');
        const std::string name(next_part(&values, '='));
        std::vector<std::string> longer;
        while (!values.empty()) {
            const std::string value(next_part(&values, '|'));
            for (const std::string &text : texts)
                longer.push_back(std::string(text).append(",").append(name).append("=").append(value));
        }
        texts = longer;
    }
    return texts;
}

std::vector<std::string> environment_of(const request &request)
{
    std::vector<std::string> variables = {"TC_VERB=" + std::string(request.what->name), "TC_MESSAGE=" + request.message,
                                          "TC_SUBJECT=" + request.subject};
    for (const auto &[name, value] : request.arguments) {
        std::string variable = "TC_";
        for (const char letter : name)
            variable += static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
        variables.push_back(variable.append("=").append(value));
    }
    return variables;
}
