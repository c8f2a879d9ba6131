// An input taken apart, byte by byte; at its end there are only zeros.
#ifndef TESTS_FUZZ_INPUT_H
#define TESTS_FUZZ_INPUT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

class Input
{
public:
    Input(const uint8_t *data, size_t size) : at_(data), left_(size)
    {
    }
    bool ended() const
    {
        return left_ == 0;
    }
    uint8_t byte()
    {
        if (left_ == 0)
            return 0;
        left_--;
        return *at_++;
    }
    unsigned below(unsigned limit)
    {
        return byte() % limit;
    }
    unsigned word()
    {
        const unsigned high = byte();
        return high << 8U | byte();
    }
    // Up to a line end, without zeros.
    std::string line(size_t most)
    {
        std::string text;
        while (left_ > 0 && text.size() < most) {
            const char c = static_cast<char>(byte());
            if (c == '\n')
                break;
            if (c != '\0')
                text += c;
        }
        return text;
    }
    // All that is left, zeros included.
    std::string rest()
    {
        std::string text(at_, at_ + left_);
        left_ = 0;
        return text;
    }
    template <typename List>
    const auto &one_of(const List &list)
    {
        return list[byte() % std::size(list)];
    }

private:
    const uint8_t *at_;
    size_t left_;
};

#endif
