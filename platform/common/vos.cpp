// Text helpers, and the line form of settings files.
#include "platform/vos.h"

#include <cstring>

#include "platform/common/settings_line.h"

// A stretch of characters, not terminated.
struct span {
    const char *begin;
    size_t length;
};

static bool is_blank(char character)
{
    return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

static span trimmed(const char *begin, size_t length)
{
    while (length > 0 && is_blank(begin[length - 1]))
        length--;
    while (length > 0 && is_blank(*begin)) {
        begin++;
        length--;
    }
    return {.begin = begin, .length = length};
}

int vos_strcmp(const char *left, const char *right)
{
    if (left == nullptr || right == nullptr)
        return static_cast<int>(left != nullptr) - static_cast<int>(right != nullptr);
    return strcmp(left, right);
}

char *vos_str_trim(char *text)
{
    if (text == nullptr)
        return nullptr;
    const span kept = trimmed(text, strlen(text));
    memmove(text, kept.begin, kept.length);
    text[kept.length] = '\0';
    return text;
}

bool settings_line_value(const char *line, size_t length, const char *key, char *value)
{
    const char *equals = static_cast<const char *>(memchr(line, '=', length));
    if (equals == nullptr)
        return false;
    const size_t key_length = static_cast<size_t>(equals - line);
    const span found_key = trimmed(line, key_length);
    if (found_key.length != strlen(key) || memcmp(found_key.begin, key, found_key.length) != 0)
        return false;
    const span found_value = trimmed(equals + 1, length - key_length - 1);
    const size_t kept = found_value.length < VOS_FILE_VALUE_SIZE ? found_value.length : VOS_FILE_VALUE_SIZE - 1;
    memcpy(value, found_value.begin, kept);
    value[kept] = '\0';
    return true;
}
