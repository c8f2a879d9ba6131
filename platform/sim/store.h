// The configuration store: what every process sees, and what a restart brings back. Empty at first: the daemon then
// goes by its defaults, for the store has none of its own.
//
// The store itself tells nobody of a change. A router's other programs set keys, and then post the message after which
// the daemon reads them; a test does both (Machine::post).
#ifndef PLATFORM_SIM_STORE_H
#define PLATFORM_SIM_STORE_H

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/common/published_keys.h"
#include "platform/sim/text_map.h"

namespace sim
{

class Store
{
public:
    // ---- for the test ----
    //
    // No call here is a line of the journal, fails, or is held to a size; the daemon's own SetValue fails for keys over
    // 511 bytes and values over 65535, and its GetValue cuts a value to the buffer that it brings.

    // Sets a key as another process would, and commits it, so that it outlives a restart of the machine. A published
    // key outlives none.
    void set(std::string_view key, std::string_view value)
    {
        set_uncommitted(key, value);
        if (!is_published_key(key.data(), key.size()))
            committed_.at_key(key) = value;
    }
    // In the running store only: the daemon sees it, and a restart forgets it unless somebody commits.
    void set_uncommitted(std::string_view key, std::string_view value)
    {
        const size_t before = running_.size();
        running_.at_key(key) = value;
        if (running_.size() != before)
            keys_changed_++;
    }
    // Takes a key out of both.
    void unset(std::string_view key);
    std::string get(std::string_view key) const; // "" when missing
    bool has(std::string_view key) const
    {
        return value_of(key) != nullptr;
    }
    // What a restart would bring back, "" when nothing. get() cannot tell "" from missing either; has() can.
    std::string committed(std::string_view key) const;
    // The keys that the daemon has read or written in all its runs, sorted; and those of them that are not in
    // platform/config_keys.def.
    std::vector<std::string> used_keys() const;
    std::vector<std::string> unknown_keys() const;
    // A product's own key, which its tables of watched programs name: such a key is not unknown.
    void add_product_key(std::string_view key)
    {
        product_.at_key(key) = true;
    }

    // ---- for the model ----

    // Null: no such key. Valid until the key is set or unset, or the machine restarts.
    const std::string *value_of(std::string_view key) const
    {
        return running_.value_of(key);
    }
    // The running store, all keys of it but the published ones, is what a restart brings back. Keys that were unset are
    // gone from there, too.
    void commit();
    void machine_restarted()
    {
        running_ = committed_;
        keys_changed_++;
    }
    // The daemon reads or writes the key; what value_of() gives. It asks for the same texts again and again: what was
    // noted a moment ago is not looked up anew, unless keys have come or gone.
    const std::string *use(const char *key)
    {
        Noted &noted = noted_[std::hash<const char *>{}(key) / 8 % noted_.size()];
        if (noted.key != key) {
            noted.key = key;
            noted.keys_changed = NEVER;
            used_.at_key(key) = true;
        }
        if (noted.keys_changed != keys_changed_) {
            noted.value = value_of(key);
            noted.keys_changed = keys_changed_;
        }
        return noted.value;
    }

private:
    static constexpr uint64_t NEVER = UINT64_MAX;
    struct Noted {
        std::string key;
        const std::string *value = nullptr;
        uint64_t keys_changed = NEVER; // keys_changed_, when the value was looked up
    };
    TextMap<std::string> running_;
    TextMap<std::string> committed_;
    TextMap<bool> used_;
    std::array<Noted, 64> noted_; // by the address of the daemon's text, for the same call has the same one
    uint64_t keys_changed_ = 0;   // how often a key of the running store came or went
    TextMap<bool> product_;
};

} // namespace sim

#endif
