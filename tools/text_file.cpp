#include "tools/text_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace tools
{

text_file read_text(const std::string &path, size_t limit, const char *kind)
{
    const bool is_standard_input = path == "-";
    text_file read = {.name = is_standard_input ? "standard input" : path, .text = ""};
    const std::unique_ptr<FILE, int (*)(FILE *)> file(is_standard_input ? stdin : std::fopen(path.c_str(), "re"),
                                                      std::fclose);
    if (file == nullptr)
        throw refused("cannot open " + path + ": " + std::strerror(errno));
    std::string piece(65536, '\0');
    while (const size_t got = std::fread(piece.data(), 1, piece.size(), file.get())) {
        read.text.append(piece, 0, got);
        if (read.text.size() > limit)
            throw refused(read.name + ": too large for " + kind);
    }
    if (std::ferror(file.get()) != 0)
        throw refused("cannot read " + read.name + ": " + std::strerror(errno));
    return read;
}

} // namespace tools
