// GetValue where no values are remembered.
#include "platform/config_store.h"

#include "platform/linux/store/environment.h"

int GetValue(const char *key, char *value, size_t size)
{
    value[0] = '\0';
    MDB_txn *transaction = store_begin_read();
    if (transaction == nullptr)
        return 0;
    MDB_val wanted = store_lmdb_value(key);
    MDB_val found;
    const bool is_found = mdb_get(transaction, STORE_DATABASE, &wanted, &found) == 0;
    if (is_found)
        store_copy_value(value, size, found.mv_data, found.mv_size);
    store_end_read(transaction);
    return is_found ? 1 : 0;
}
