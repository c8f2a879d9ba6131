#include "platform/sim/store.h"

#include <algorithm>
#include <cstring>

#include "platform/config_store.h"
#include "platform/sim/known_keys.h"
#include "platform/sim/model.h"
#include "platform/sim/virtual_router.h"

using sim::Call;
using sim::model;

// The store's own limits: a longer key or value is not stored.
static constexpr size_t KEY_MAX = 511;
static constexpr size_t VALUE_MAX = 65535;

extern "C" int GetValue(const char *key, char *value, size_t size)
{
    model().store.use(key);
    const std::string *const found = model().faults.hits(Call::GetValue) ? nullptr : model().store.value_of(key);
    const size_t length = found == nullptr ? 0 : std::min(found->size(), size - 1);
    if (length > 0)
        memcpy(value, found->data(), length);
    value[length] = '\0';
    return found != nullptr;
}

extern "C" int SetValue(const char *key, const char *value)
{
    model().store.use(key);
    if (model().faults.hits(Call::SetValue) || strlen(key) > KEY_MAX || strlen(value) > VALUE_MAX) {
        model().journal.act(std::string("set failed ") + key);
        return 0;
    }
    model().store.set(key, value);
    model().journal.act(std::string("set ") + key + "=" + value);
    return 1;
}

extern "C" int CommitCfm(void)
{
    if (model().faults.hits(Call::CommitCfm)) {
        model().journal.act("commit failed");
        return 0;
    }
    model().store.commit();
    model().journal.act("commit");
    return 1;
}

// ---- what tests ask for ----

namespace sim
{

void VirtualRouter::set(std::string_view key, std::string_view value)
{
    model().store.set_committed(key, value);
}

void VirtualRouter::set_uncommitted(std::string_view key, std::string_view value)
{
    model().store.set(key, value);
}

void VirtualRouter::unset(std::string_view key)
{
    model().store.unset(std::string(key));
}

std::string VirtualRouter::get(std::string_view key) const
{
    const std::string *const value = model().store.value_of(key);
    return value == nullptr ? "" : *value;
}

bool VirtualRouter::has(std::string_view key) const
{
    return model().store.value_of(key) != nullptr;
}

std::string VirtualRouter::committed(std::string_view key) const
{
    const std::string *const value = model().store.committed(key);
    return value == nullptr ? "" : *value;
}

void VirtualRouter::product_key(std::string_view key)
{
    model().store.add_product_key(key);
}

std::vector<std::string> VirtualRouter::used_keys() const
{
    std::vector<std::string> keys = model().store.used();
    std::ranges::sort(keys);
    return keys;
}

std::vector<std::string> VirtualRouter::unknown_keys() const
{
    std::vector<std::string> keys = used_keys();
    std::erase_if(keys, [](const std::string &key) { return is_known_key(key) || model().store.is_product_key(key); });
    return keys;
}

} // namespace sim
