// What the modules' rules find, as the page has it: a number, the name of a branch, and its sentence.
#ifndef TOOLS_TCCTL_VERDICTS_H
#define TOOLS_TCCTL_VERDICTS_H

#include <cstdint>
#include <span>

namespace tcctl
{

struct verdict_words {
    const char *name;
    const char *sentence;
};

#define VERDICT(name, why) name,
enum class reboot : uint8_t {
#include "platform/verdicts/reboot.def"
};
#define VERDICT(name, why) name,
enum class power : uint8_t {
#include "platform/verdicts/power.def"
};
#define VERDICT(name, why) name,
enum class wifi : uint8_t {
#include "platform/verdicts/wifi.def"
};
#define VERDICT(name, why) name,
enum class led : uint8_t {
#include "platform/verdicts/led.def"
};
#define VERDICT(name, why) name,
enum class guest : uint8_t {
#include "platform/verdicts/guest.def"
};
#define VERDICT(name, why) name,
enum class cpu : uint8_t {
#include "platform/verdicts/cpu.def"
};
#define VERDICT(name, why) name,
enum class liveness : uint8_t {
#include "platform/verdicts/daemon.def"
};
#define VERDICT(name, why) name,
enum class uplink : uint8_t {
#include "platform/verdicts/wifi_connect.def"
};
#define VERDICT(name, why) name,
enum class gateway : uint8_t {
#include "platform/verdicts/ap_connect.def"
};
#define VERDICT(name, why) name,
enum class stoppage : uint8_t {
#include "platform/verdicts/stoppage.def"
};
#define VERDICT(name, why) name,
enum class reach : uint8_t {
#include "platform/verdicts/reachability.def"
};

// The words of the verdicts of one kind, in the order of their numbers.
std::span<const verdict_words> words_of(reboot kind);
std::span<const verdict_words> words_of(power kind);
std::span<const verdict_words> words_of(wifi kind);
std::span<const verdict_words> words_of(led kind);
std::span<const verdict_words> words_of(guest kind);
std::span<const verdict_words> words_of(cpu kind);
std::span<const verdict_words> words_of(liveness kind);
std::span<const verdict_words> words_of(uplink kind);
std::span<const verdict_words> words_of(gateway kind);
std::span<const verdict_words> words_of(stoppage kind);
std::span<const verdict_words> words_of(reach kind);

// The same of a module by its number in platform/status.h; of others nothing.
std::span<const verdict_words> words_of_who(uint8_t who);

} // namespace tcctl

#endif
