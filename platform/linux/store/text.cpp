#include "platform/linux/store/text.h"

#include <cstdio>
#include <cstring>

// ---- checksum ----

// CRC-32 as zip and Ethernet use it, so that any machine's tools can check a file.
// Half a byte at a time: the table for whole bytes would take a kilobyte of flash.
struct crc_table {
    uint32_t row[16];
};

static constexpr crc_table make_crc_table()
{
    crc_table table = {};
    for (uint32_t half = 0; half < 16; half++) {
        uint32_t crc = half;
        for (int bit = 0; bit < 4; bit++)
            crc = (crc & 1) != 0 ? 0xEDB88320U ^ (crc >> 1) : crc >> 1;
        table.row[half] = crc;
    }
    return table;
}

static constexpr crc_table CRC = make_crc_table();

static uint32_t crc_add(uint32_t crc, const char *text, size_t length)
{
    crc = ~crc;
    for (size_t i = 0; i < length; i++) {
        crc ^= static_cast<unsigned char>(text[i]);
        crc = CRC.row[crc & 0xF] ^ (crc >> 4);
        crc = CRC.row[crc & 0xF] ^ (crc >> 4);
    }
    return ~crc;
}

uint32_t store_text_crc(const char *text, size_t length)
{
    return crc_add(0, text, length);
}

// ---- limits ----

static bool is_control(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7F;
}

const char *store_key_fault(const char *key)
{
    if (key[0] == '\0')
        return "the key is empty";
    if (key[0] == '#')
        return "a key cannot begin with '#'";
    if (strlen(key) > CONFIG_STORE_KEY_MAX)
        return "the key is longer than 511 bytes";
    for (const char *c = key; *c != '\0'; c++) {
        if (*c == '=')
            return "a key cannot hold '='";
        if (is_control(*c))
            return "a key cannot hold control characters";
    }
    return nullptr;
}

const char *store_value_fault(const char *value)
{
    return strlen(value) > CONFIG_STORE_VALUE_MAX ? "the value is longer than 65536 bytes" : nullptr;
}

// ---- writing ----

void store_text_begin(store_text_writer *writer, config_store_sink sink, void *context)
{
    writer->sink = sink;
    writer->context = context;
    writer->failed = false;
    writer->crc = 0;
    writer->settings = 0;
    writer->used = 0;
}

bool store_text_flush(store_text_writer *writer)
{
    if (writer->used > 0 && !writer->failed) {
        writer->failed = !writer->sink(writer->context, writer->buffer, writer->used);
        if (!writer->failed)
            writer->crc = crc_add(writer->crc, writer->buffer, writer->used);
    }
    writer->used = 0;
    return !writer->failed;
}

static void put_char(store_text_writer *writer, char c)
{
    if (writer->used == sizeof writer->buffer)
        store_text_flush(writer);
    writer->buffer[writer->used++] = c;
}

// The letter behind the backslash for a character that has one, else 0.
static char escape_letter(char c)
{
    switch (c) {
    case '\\':
        return '\\';
    case '\n':
        return 'n';
    case '\r':
        return 'r';
    case '\t':
        return 't';
    default:
        return '\0';
    }
}

static void put_escaped(store_text_writer *writer, const char *text, size_t length)
{
    static constexpr char DIGITS[] = "0123456789abcdef";
    for (size_t i = 0; i < length; i++) {
        const char c = text[i];
        if (c != '\\' && !is_control(c)) {
            put_char(writer, c);
            continue;
        }
        const char letter = escape_letter(c);
        put_char(writer, '\\');
        put_char(writer, letter == '\0' ? 'x' : letter);
        if (letter == '\0') {
            put_char(writer, DIGITS[static_cast<unsigned char>(c) >> 4]);
            put_char(writer, DIGITS[static_cast<unsigned char>(c) & 15]);
        }
    }
}

void store_text_setting(store_text_writer *writer, const char *key, size_t key_length, const char *value,
                        size_t value_length)
{
    put_escaped(writer, key, key_length);
    put_char(writer, '=');
    put_escaped(writer, value, value_length);
    put_char(writer, '\n');
    writer->settings++;
}

static constexpr char LAST_LINE[] = "# end: %u settings, crc32 %08x\n";
static constexpr char LAST_LINE_BEGIN[] = "# end: ";

bool store_text_finish(store_text_writer *writer)
{
    store_text_flush(writer);
    const int length = snprintf(writer->buffer, sizeof writer->buffer, LAST_LINE, writer->settings, writer->crc);
    writer->used = static_cast<size_t>(length);
    return store_text_flush(writer);
}

// ---- reading ----

const char *store_text_damage(const char *text, size_t length, uint32_t *crc)
{
    if (length == 0)
        return "it is empty";
    if (text[length - 1] != '\n')
        return "it is cut off";
    size_t last = length - 1;
    while (last > 0 && text[last - 1] != '\n')
        last--;
    if (length - last <= strlen(LAST_LINE_BEGIN) || memcmp(text + last, LAST_LINE_BEGIN, strlen(LAST_LINE_BEGIN)) != 0)
        return "its last line is missing; what was written by hand goes in with cfm import FILE";

    uint32_t lines = 0;
    for (size_t i = 0; i < last; i++)
        lines += text[i] == '\n' ? 1 : 0;
    char expected[64];
    const uint32_t crc_of_lines = store_text_crc(text, last);
    const int size = snprintf(expected, sizeof expected, LAST_LINE, lines, crc_of_lines);
    if (length - last != static_cast<size_t>(size) || memcmp(text + last, expected, length - last) != 0)
        return "its checksum is wrong";
    if (crc != nullptr)
        *crc = crc_add(crc_of_lines, text + last, length - last);
    return nullptr;
}

static int hex_digit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// Decodes one escape at `from`, just behind its backslash. Gives the number of characters it took, 0 when it is none.
static size_t decode_escape(const char *from, char *to)
{
    switch (*from) {
    case '\\':
        *to = '\\';
        return 1;
    case 'n':
        *to = '\n';
        return 1;
    case 'r':
        *to = '\r';
        return 1;
    case 't':
        *to = '\t';
        return 1;
    case 'x': {
        const int high = hex_digit(from[1]);
        const int low = high < 0 ? -1 : hex_digit(from[2]);
        if (low < 0 || (high == 0 && low == 0))
            return 0;
        *to = static_cast<char>(high * 16 + low);
        return 3;
    }
    default:
        return 0;
    }
}

// Decodes a terminated text where it stands. Gives what is wrong with it, or null.
static const char *decode(char *text)
{
    char *to = text;
    for (const char *from = text; *from != '\0'; from++) {
        if (*from != '\\') {
            *to++ = *from;
            continue;
        }
        const size_t taken = decode_escape(from + 1, to);
        if (taken == 0)
            return "a backslash is followed by none of \\ n r t xHH";
        from += taken;
        to++;
    }
    *to = '\0';
    return nullptr;
}

static const char *raw_line_fault(const char *line, size_t length)
{
    for (size_t i = 0; i < length; i++)
        if (is_control(line[i]) && line[i] != '\t')
            return "a control character stands in the line; write it as \\xHH";
    return nullptr;
}

static const char *read_setting(store_text_reader *reader, char *line, size_t length)
{
    const char *fault = raw_line_fault(line, length);
    if (fault != nullptr)
        return fault;
    char *equals = strchr(line, '=');
    if (equals == nullptr)
        return "the line has no '='";
    *equals = '\0';
    reader->key = line;
    reader->value = equals + 1;
    fault = decode(line);
    if (fault == nullptr)
        fault = decode(equals + 1);
    if (fault == nullptr)
        fault = store_key_fault(reader->key);
    if (fault == nullptr)
        fault = store_value_fault(reader->value);
    return fault;
}

store_text_line store_text_read(store_text_reader *reader)
{
    if (reader->next == reader->end)
        return STORE_TEXT_END;
    char *line = reader->next;
    const auto rest = static_cast<size_t>(reader->end - line);
    char *newline = static_cast<char *>(memchr(line, '\n', rest));
    char *stop = newline == nullptr ? reader->end : newline;
    reader->next = newline == nullptr ? reader->end : newline + 1;
    reader->line_number++;
    if (line == stop || *line == '#')
        return STORE_TEXT_EMPTY;
    *stop = '\0';
    reader->fault = read_setting(reader, line, static_cast<size_t>(stop - line));
    return reader->fault == nullptr ? STORE_TEXT_SETTING : STORE_TEXT_BAD;
}
