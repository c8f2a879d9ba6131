// Numbers and texts in buffers of fixed size, and text files read line by line.
#ifndef TIME_CHECK_TIME_CHECK_TEXT_H
#define TIME_CHECK_TIME_CHECK_TEXT_H

#include <cstddef>
#include <cstdint>

// The leading decimal integer of `text`, 0 when there is none, saturating at the signed 32-bit limits: the same on
// every machine (decision 0001).
int32_t time_check_atoi(const char *text);

// Copies `text` into a buffer of `size` bytes, cut to it and terminated.
void copy_text(char *buffer, size_t size, const char *text);

// The same for the first `length` characters of `text`.
void copy_text_n(char *buffer, size_t size, const char *text, size_t length);

// Copies the `number`-th (from 1) run of non-blank characters of `text`, cut to the buffer; "" when there is none.
// Gives whether there was one.
bool copy_column(char *buffer, size_t size, const char *text, unsigned number);

// The buffer that shell_quoted needs for any text of a buffer of `text_size` bytes.
constexpr size_t shell_quoted_size(size_t text_size)
{
    return 4 * text_size;
}

// Writes `text` for a shell command line: as it is when nothing in it is special to the shell (an empty text stays
// empty), else quoted, so that the program gets exactly the text and nothing else runs. What does not fit is cut, the
// quotes still closed. Gives `buffer`, of at least 4 bytes.
const char *shell_quoted(char *buffer, size_t size, const char *text);

// A text file read without stdio, which would allocate in every tick.
struct line_reader {
    int fd;
    bool failed; // the file could not be read to its end
    size_t begin;
    size_t end;
    char buffer[4096]; // the kernel looks for the place of each read from its table's beginning
};

// False: the file cannot be opened.
bool open_lines(line_reader *reader, const char *path);

// Reads up to and including the next line end, or size - 1 characters of a longer line. False at the end of the file.
bool read_line(line_reader *reader, char *line, size_t size);

void close_lines(line_reader *reader);

#endif
