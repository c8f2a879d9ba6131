// For grounds without a journal; those that keep one have these of their own.
#include "platform/common/journal.h"

[[gnu::weak]] void journal_write(const journal_record * /*record*/)
{
}

[[gnu::weak]] int journal_is_kept()
{
    return 0;
}

[[gnu::weak]] status_part journal_part()
{
    return STATUS_PART_MAIN;
}

[[gnu::weak]] int journal_look_up(const char * /*key*/, char *value, size_t /*size*/)
{
    value[0] = '\0';
    return 0;
}
