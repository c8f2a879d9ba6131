#include "platform/sim/shell.h"

#include <utility>

namespace sim
{
namespace
{

class Reader
{
public:
    explicit Reader(std::string_view line) : line_(line)
    {
    }

    std::vector<SimpleCommand> read()
    {
        while (position_ < line_.size())
            read_next();
        finish_command(false);
        return std::move(commands_);
    }

private:
    void read_next()
    {
        const char c = line_[position_++];
        if (c == '\'' || c == '"')
            quoted(c);
        else if (c == '\\' && position_ < line_.size())
            add(line_[position_++]);
        else if (c == ' ' || c == '\t')
            finish_word();
        else if (c == ';' || c == '\n' || c == '|')
            finish_command(false);
        else if (c == '&')
            ampersand();
        else if (c == '>')
            redirect();
        else
            add(c);
    }

    void add(char c)
    {
        word_ += c;
        in_word_ = true;
    }

    void quoted(char end)
    {
        in_word_ = true;
        for (; position_ < line_.size() && line_[position_] != end; position_++) {
            if (end == '"' && line_[position_] == '\\' && position_ + 1 < line_.size())
                position_++;
            word_ += line_[position_];
        }
        position_++;
    }

    void ampersand()
    {
        const bool both = position_ < line_.size() && line_[position_] == '&';
        position_ += both;
        finish_command(both);
    }

    // "2>" and the like go elsewhere; the target is read as the next word.
    void redirect()
    {
        const bool standard_output = word_.empty() || word_ == "1";
        word_.clear();
        in_word_ = false;
        while (position_ < line_.size() && (line_[position_] == '>' || line_[position_] == ' '))
            position_++;
        target_ = standard_output ? OUTPUT : ELSEWHERE;
    }

    void finish_word()
    {
        if (!in_word_)
            return;
        if (target_ == OUTPUT)
            command_.output = word_;
        else if (target_ == NONE)
            command_.words.push_back(word_);
        target_ = NONE;
        word_.clear();
        in_word_ = false;
    }

    void finish_command(bool next_after_success)
    {
        finish_word();
        if (!command_.words.empty())
            commands_.push_back(std::exchange(command_, {}));
        command_.after_success = next_after_success;
    }

    enum Target { NONE, OUTPUT, ELSEWHERE };

    std::string_view line_;
    size_t position_ = 0;
    std::string word_;
    bool in_word_ = false;
    Target target_ = NONE;
    SimpleCommand command_;
    std::vector<SimpleCommand> commands_;
};

} // namespace

std::vector<SimpleCommand> read_command_line(std::string_view line)
{
    return Reader(line).read();
}

} // namespace sim
