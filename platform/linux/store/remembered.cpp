// The remembered values: GetValue, from what was read lately as long as nothing is written.
// Saves the reading of some ten keys in an idle tick ("GetValue while nothing changed" in bench/REPORT.md).
// Left out with -DTIME_CHECK_REMEMBER_VALUES=OFF; unremembered.cpp takes its place.
#include "platform/config_store.h"

#include <cstring>

#include "platform/linux/store/environment.h"

// It holds as long as LMDB's transaction number stands still, which is asked without a lock (decision 0071).
struct remembered_value {
    bool is_fresh; // read from the snapshot that the memory is labelled with
    bool is_found;
    uint8_t key_size; // with its end
    uint8_t length;
    char text[60]; // the key, and behind it the value
};

constexpr uint32_t REMEMBERED = 48; // an idle tick reads ten keys, with a wireless uplink twice as many
constexpr uint32_t PAIRS = 64;

struct value_memory {
    uint64_t transaction;
    uint32_t environment;
    uint32_t count;
    uint32_t last;             // the pair of places that was asked for last
    uint8_t after[PAIRS];      // the place that was asked for after each pair: a tick asks as the tick before
    uint8_t marks[REMEMBERED]; // of the keys: what stands together is looked at first, the keys lie further apart
    remembered_value values[REMEMBERED];
};

static thread_local value_memory memory;

static uint64_t latest_transaction(MDB_env *env)
{
    MDB_envinfo info;
    mdb_env_info(env, &info);
    return info.me_last_txnid;
}

// No thread but this one can close the environment that it is in.
static bool memory_holds()
{
    const store_opened *const opened = store_here.opened;
    return opened != nullptr && opened == __atomic_load_n(&store_current, __ATOMIC_ACQUIRE) &&
           memory.environment == opened->number && memory.transaction == latest_transaction(opened->env);
}

static void note_asked(uint32_t place)
{
    constexpr uint32_t SHIFT = 3; // of the place before, its lower half; of what was before that, nothing
    memory.after[memory.last] = static_cast<uint8_t>(place);
    memory.last = ((memory.last << SHIFT) + place) % PAIRS;
}

static uint8_t mark_of(const MDB_val *key)
{
    const auto *const bytes = static_cast<const uint8_t *>(key->mv_data);
    const auto length = static_cast<uint32_t>(key->mv_size);
    return static_cast<uint8_t>(length == 0 ? 0 : length + 3U * bytes[length - 1] + 5U * bytes[length / 2]);
}
// Null: there is none.
__attribute__((noinline)) static remembered_value *search_place_of(const MDB_val *key)
{
    const uint8_t mark = mark_of(key);
    for (uint32_t place = 0; place < memory.count; place++) {
        remembered_value *const kept = memory.values + place;
        if (memory.marks[place] == mark && kept->key_size == key->mv_size + 1 &&
            memcmp(kept->text, key->mv_data, key->mv_size) == 0) {
            note_asked(place);
            return kept;
        }
    }
    return nullptr;
}

static remembered_value *place_of(const char *key)
{
    const uint32_t expected = memory.after[memory.last];
    if (expected < memory.count && strcmp(memory.values[expected].text, key) == 0) {
        note_asked(expected);
        return memory.values + expected;
    }
    const MDB_val wanted = store_lmdb_value(key);
    return search_place_of(&wanted);
}

static void label_memory(uint64_t transaction)
{
    const uint32_t current = store_here.opened->number;
    if (memory.transaction == transaction && memory.environment == current)
        return;
    for (uint32_t i = 0; i < memory.count; i++)
        memory.values[i].is_fresh = false;
    memory.transaction = transaction;
    memory.environment = current;
}

static remembered_value *new_place(const MDB_val *key)
{
    if (memory.count == REMEMBERED)
        memory.count = 0;
    const uint32_t place = memory.count++;
    note_asked(place);
    memory.marks[place] = mark_of(key);
    remembered_value *const kept = memory.values + place;
    memcpy(kept->text, key->mv_data, key->mv_size);
    kept->text[key->mv_size] = '\0';
    kept->key_size = static_cast<uint8_t>(key->mv_size + 1);
    return kept;
}

// `kept` is null for a key that has no place yet.
static void remember(MDB_txn *transaction, const MDB_val *key, remembered_value *kept, const MDB_val *found,
                     bool is_found)
{
    const size_t length = is_found ? found->mv_size : 0;
    if (key->mv_size + 1 + length > sizeof kept->text)
        return;
    label_memory(mdb_txn_id(transaction));
    if (kept == nullptr)
        kept = new_place(key);
    memcpy(kept->text + kept->key_size, found->mv_data, length);
    kept->length = static_cast<uint8_t>(length);
    kept->is_found = is_found;
    kept->is_fresh = true;
}

__attribute__((noinline)) static bool read_value(const char *key, remembered_value *kept, char *value, size_t size)
{
    MDB_val wanted = store_lmdb_value(key);
    MDB_txn *transaction = store_begin_read();
    if (transaction == nullptr)
        return false;
    MDB_val found = {0, value}; // stays so for a missing key
    const int rc = mdb_get(transaction, STORE_DATABASE, &wanted, &found);
    if (rc == 0)
        store_copy_value(value, size, found.mv_data, found.mv_size);
    if (rc == 0 || rc == MDB_NOTFOUND)
        remember(transaction, &wanted, kept, &found, rc == 0);
    store_end_read(transaction);
    return rc == 0;
}

int GetValue(const char *key, char *value, size_t size)
{
    value[0] = '\0';
    remembered_value *const kept = place_of(key);
    if (kept == nullptr || !kept->is_fresh || !memory_holds())
        return read_value(key, kept, value, size) ? 1 : 0;
    store_copy_value(value, size, kept->text + kept->key_size, kept->length);
    return kept->is_found ? 1 : 0;
}
