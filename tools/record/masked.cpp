#include "tools/record/masked.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <vector>

#include <fmt/format.h>

#include "tools/key_table.h"

namespace record
{

namespace
{

constexpr std::string_view MASK = "***";
constexpr size_t WORD_AT_MOST = 2; // letters of a secret that are too common inside other words

bool is_word_letter(std::string_view text, size_t at)
{
    return at < text.size() && std::isalnum(static_cast<unsigned char>(text[at])) != 0;
}

bool is_whole_word(std::string_view text, size_t at, size_t length)
{
    return !is_word_letter(text, at + length) && (at == 0 || !is_word_letter(text, at - 1));
}

} // namespace

bool is_told(const std::string &key)
{
    return keys::find_bare(key).has_value();
}

std::string masks::setting(const std::string &key, const std::string &value)
{
    const auto row = keys::find_bare(key);
    if (!row || row->kind != keys::kind::secret || value.empty())
        return text(value);
    secrets_.insert(value);
    return std::string(MASK);
}

void masks::other(const std::string &key, const std::string &value)
{
    std::string name = key;
    std::ranges::transform(name, name.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    constexpr std::array<std::string_view, 8> SECRETIVE = {"pass",   "pwd",   "psk", "key",
                                                           "secret", "token", "pin", "credential"};
    if (!value.empty() &&
        std::ranges::any_of(SECRETIVE, [&name](std::string_view part) { return name.find(part) != std::string::npos; }))
        secrets_.insert(value);
}

std::string masks::text(std::string_view text) const
{
    std::vector<std::string> longest_first(secrets_.begin(), secrets_.end());
    std::ranges::stable_sort(longest_first, std::greater{}, &std::string::size);
    std::string masked(text);
    for (const std::string &secret : longest_first)
        for (size_t at = masked.find(secret); at != std::string::npos; at = masked.find(secret, at)) {
            if (secret.size() <= WORD_AT_MOST && !is_whole_word(masked, at, secret.size())) {
                at++;
                continue;
            }
            masked.replace(at, secret.size(), MASK);
            at += MASK.size();
        }
    return masked;
}

std::string masks::device(const std::string &mac)
{
    if (mac == "00:00:00:00:00:00")
        return mac;
    const size_t number = devices_.try_emplace(mac, devices_.size() + 1).first->second;
    return fmt::format("02:00:00:00:{:02x}:{:02x}", number >> 8U & 0xFFU, number & 0xFFU);
}

} // namespace record
