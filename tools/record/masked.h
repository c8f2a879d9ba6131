// What a trace must not tell: secrets of the settings, and whose devices are in the network.
#ifndef TOOLS_RECORD_MASKED_H
#define TOOLS_RECORD_MASKED_H

#include <map>
#include <set>
#include <string>
#include <string_view>

namespace record
{

// Whether the trace tells of a key at all: those that the table of keys has. Nobody here knows what others are.
bool is_told(const std::string &key);

class masks
{
public:
    // A setting's value as the trace tells it: of a secret key "***", or "" where it has none.
    std::string setting(const std::string &key, const std::string &value);
    // The value of a key that the trace does not tell of, which may be a secret by its name.
    void other(const std::string &key, const std::string &value);
    // A text in which every secret that was seen so far is "***"; one of a letter or two only where it is a whole word.
    std::string text(std::string_view text) const;
    // A device's address, in its kernel's form: another one, the same each time. None (all zeros) stays none.
    std::string device(const std::string &mac);

private:
    std::set<std::string> secrets_;
    std::map<std::string, size_t> devices_;
};

} // namespace record

#endif
