#include "tests/contract/memory_store.h"

#include <cstring>

#include "platform/config_store.h"

std::map<std::string, std::string> &stored()
{
    static std::map<std::string, std::string> keys;
    return keys;
}

int GetValue(const char *key, char *value, size_t size)
{
    const auto found = stored().find(key);
    const std::string text = found == stored().end() ? "" : found->second.substr(0, size - 1);
    memcpy(value, text.c_str(), text.size() + 1);
    return found == stored().end() ? 0 : 1;
}

int SetValue(const char *key, const char *value)
{
    stored()[key] = value;
    return 1;
}
