// A hash map with text keys that is asked with any kind of text, without making a std::string.
// The store and the files ask it for each call of the daemon, with texts that are the daemon's.
#ifndef PLATFORM_SIM_TEXT_MAP_H
#define PLATFORM_SIM_TEXT_MAP_H

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace sim
{

struct TextHash {
    using is_transparent = void;
    size_t operator()(std::string_view text) const
    {
        return std::hash<std::string_view>{}(text);
    }
};

template <typename Value>
class TextMap : public std::unordered_map<std::string, Value, TextHash, std::equal_to<>>
{
public:
    // The value under a key that may be new, and is then there with an empty value (0, false, null, ""). References and
    // pointers to values are valid until their key is erased, whatever else comes or goes. The order of keys is none:
    // who shows them sorts them.
    Value &at_key(std::string_view key)
    {
        const auto found = this->find(key);
        return found != this->end() ? found->second : this->emplace(key, Value{}).first->second;
    }
    // Null: there is none.
    const Value *value_of(std::string_view key) const
    {
        const auto found = this->find(key);
        return found == this->end() ? nullptr : &found->second;
    }
    Value *value_of(std::string_view key)
    {
        const auto found = this->find(key);
        return found == this->end() ? nullptr : &found->second;
    }
};

} // namespace sim

#endif
