// Changing single settings.
#include "platform/config_store.h"

#include <cstring>

#include "platform/common/journal.h"
#include "platform/linux/store/change.h"
#include "platform/linux/store/environment.h"
#include "platform/linux/store/state.h"
#include "platform/linux/store/text.h"

static bool holds(const char *key, const char *value)
{
    MDB_txn *transaction = store_begin_read();
    if (transaction == nullptr)
        return false;
    MDB_val wanted = store_lmdb_value(key);
    const MDB_val expected = store_lmdb_value(value);
    MDB_val found;
    const bool same = mdb_get(transaction, STORE_DATABASE, &wanted, &found) == 0 && found.mv_size == expected.mv_size &&
                      memcmp(found.mv_data, value, found.mv_size) == 0;
    store_end_read(transaction);
    return same;
}

struct setting {
    const char *key;
    const char *value;
};

static int put_setting(MDB_txn *transaction, void *context)
{
    const auto *wanted = static_cast<const setting *>(context);
    return store_put(transaction, wanted->key, wanted->value);
}

static int set_value(const char *key, const char *value)
{
    const char *fault = store_key_fault(key);
    if (fault == nullptr)
        fault = store_value_fault(value);
    if (fault != nullptr) {
        store_line("'%.80s' is not set: %s", key, fault);
        return 0;
    }
    if (holds(key, value)) // without a lock, unlike a write (decision 0233)
        return 1;
    setting wanted = {key, value};
    const int rc = store_change_by(put_setting, &wanted);
    if (rc != 0)
        store_line("'%.80s' is not set", key);
    return rc == 0 ? 1 : 0;
}

int SetValue(const char *key, const char *value)
{
    const int is_stored = set_value(key, value);
    journal_set(key, value, is_stored);
    return is_stored;
}

static int delete_key(MDB_txn *transaction, void *context)
{
    MDB_val key = store_lmdb_value(static_cast<const char *>(context));
    return mdb_del(transaction, STORE_DATABASE, &key, nullptr);
}

int config_store_unset(const char *key)
{
    if (store_key_fault(key) != nullptr)
        return 0;
    const int rc = store_change_by(delete_key, const_cast<char *>(key));
    if (rc == 0)
        return 1;
    return rc == MDB_NOTFOUND ? 0 : -1;
}
