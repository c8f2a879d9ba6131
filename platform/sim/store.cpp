#include "platform/sim/store.h"

#include <algorithm>
#include <cstring>

#include "platform/config_store.h"
#include "platform/sim/known_keys.h"
#include "platform/sim/virtual_router.h"

namespace sim
{

void Store::unset(std::string_view key)
{
    const std::string name(key);
    running_.erase(name);
    committed_.erase(name);
    keys_changed_++;
}

std::string Store::get(std::string_view key) const
{
    const std::string *const value = value_of(key);
    return value == nullptr ? "" : *value;
}

std::string Store::committed(std::string_view key) const
{
    const std::string *const value = committed_.value_of(key);
    return value == nullptr ? "" : *value;
}

void Store::commit()
{
    committed_.clear();
    for (const auto &[key, value] : running_)
        if (!is_published_key(key.data(), key.size()))
            committed_.emplace(key, value);
}

std::vector<std::string> Store::used_keys() const
{
    std::vector<std::string> keys;
    for (const auto &[key, _] : used_)
        keys.push_back(key);
    std::ranges::sort(keys);
    return keys;
}

std::vector<std::string> Store::unknown_keys() const
{
    std::vector<std::string> keys = used_keys();
    std::erase_if(keys,
                  [this](const std::string &key) { return is_known_key(key) || product_.value_of(key) != nullptr; });
    return keys;
}

} // namespace sim

// ---- the contract ----

using sim::Call;
using sim::router;

// The store's own limits, as on plain Linux: what is no key of them, or longer, is not stored.
static constexpr size_t KEY_MAX = 511;
static constexpr size_t VALUE_MAX = 65536;

static bool is_key(std::string_view key)
{
    return !key.empty() && key.size() <= KEY_MAX && key[0] != '#' &&
           std::ranges::none_of(key, [](unsigned char each) { return each < 0x20 || each == 0x7f || each == '='; });
}

extern "C" int GetValue(const char *key, char *value, size_t size)
{
    const std::string *const noted = router().store.use(key);
    const std::string *const found = router().faults.hits(Call::GetValue) ? nullptr : noted;
    const size_t length = found == nullptr ? 0 : std::min(found->size(), size - 1);
    if (length > 0)
        memcpy(value, found->data(), length);
    value[length] = '\0';
    return found != nullptr;
}

extern "C" int SetValue(const char *key, const char *value)
{
    router().store.use(key);
    if (router().faults.hits(Call::SetValue) || !is_key(key) || strlen(value) > VALUE_MAX) {
        router().journal.act(std::string("set failed ") + key);
        journal_set(key, value, 0);
        return 0;
    }
    router().store.set_uncommitted(key, value);
    router().journal.act(std::string("set ") + key + "=" + value);
    journal_set(key, value, 1);
    return 1;
}

extern "C" int CommitCfm(void)
{
    if (router().faults.hits(Call::CommitCfm)) {
        router().journal.act("commit failed");
        journal_commit(0);
        return 0;
    }
    router().store.commit();
    router().journal.act("commit");
    journal_commit(1);
    return 1;
}
