#include "tools/preview/plan.h"

namespace preview
{

std::string_view name_of(track which)
{
    switch (which) {
    case track::wifi:
        return "wifi";
    case track::led:
        return "led";
    case track::sleep:
        return "sleep";
    case track::guest:
        return "guest";
    case track::restart:
        return "restart";
    }
    return "";
}

std::string_view title_of(track which)
{
    switch (which) {
    case track::wifi:
        return "Wi-Fi";
    case track::led:
        return "LEDs";
    case track::sleep:
        return "Sleep";
    case track::guest:
        return "Guest";
    case track::restart:
        return "Restart";
    }
    return "";
}

bool is_marked(const span &one)
{
    return one.state != "on" && one.state != "awake" && one.state != "closed";
}

} // namespace preview
