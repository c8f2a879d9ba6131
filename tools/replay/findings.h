// What a rule found when it acted, in words.
#ifndef TOOLS_REPLAY_FINDINGS_H
#define TOOLS_REPLAY_FINDINGS_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace replay
{

struct finding {
    std::string_view module;
    std::string_view verdict; // its name, and the sentence that says what it means (platform/verdicts)
    std::string_view why;
    bool operator==(const finding &) const = default;
};

// By the numbers of platform/status.h; none where nobody judged.
std::optional<finding> finding_of(uint8_t who, uint8_t verdict);

} // namespace replay

#endif
