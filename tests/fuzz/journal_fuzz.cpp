// The journal's readers on what others have left: a file of any bytes, and a ring with some of its bytes changed. The
// input's first byte says which.
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "platform/common/journal.h"
#include "tests/fuzz/expect.h"
#include "tests/fuzz/input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace
{

void read_all(const char *bytes, size_t size)
{
    std::vector<journal_record> records(JOURNAL_SLOTS);
    const size_t found = journal_read(bytes, size, 0, records.data(), records.size());
    const journal_head *const head = journal_head_of(bytes, size);
    expect(found == 0 || head != nullptr, "a journal alone has records");
    expect(head == nullptr || found <= head->slots, "no more records than slots");
    for (size_t i = 0; i < found; i++) {
        expect(memchr(records[i].text, '\0', sizeof records[i].text) != nullptr, "a text has an end");
        expect(records[i].check == journal_check(&records[i]), "a record is whole");
        expect(i == 0 || records[i].sequence > records[i - 1].sequence, "records are in order");
    }
}

// Memory of just this size, so that one byte too many is seen; aligned as a mapping is.
void read_file(const std::string &bytes)
{
    const std::unique_ptr<char[]> memory = std::make_unique<char[]>(bytes.size());
    memcpy(memory.get(), bytes.data(), bytes.size());
    read_all(memory.get(), bytes.size());
}

void change_ring(Input &input)
{
    const auto ring = std::make_unique<journal_ring>();
    uint32_t newest = 0;
    journal_ring_make(ring.get(), "boot");
    while (!input.ended()) {
        const unsigned at = input.word();
        reinterpret_cast<char *>(ring.get())[at % sizeof *ring] ^= static_cast<char>(input.byte());
        journal_record record = {};
        record.kind = static_cast<uint8_t>(input.below(4));
        record.who = static_cast<uint8_t>(input.below(4));
        snprintf(record.text, sizeof record.text, "%s", input.line(JOURNAL_TEXT_SIZE).c_str());
        journal_ring_write(ring.get(), &newest, &record);
        read_all(reinterpret_cast<const char *>(ring.get()), sizeof *ring);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Input input(data, size);
    if (input.byte() % 2 == 0)
        read_file(input.rest());
    else
        change_ring(input);
    return 0;
}
