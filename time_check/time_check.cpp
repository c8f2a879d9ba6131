// The daemon's main loop and the decoding of control messages.
#include "time_check/time_check.h"

#include <cstring>
#include <pthread.h>
#include <unistd.h>

#include "platform/message_bus.h"
#include "platform/program.h"
#include "time_check/time_check_dispatch.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_log.h"
#include "time_check/time_check_module.h"
#include "time_check/time_check_text.h"
#include "time_check/wan_surf_check.h"

constexpr int MESSAGE_MAX = 256;       // characters in a message
constexpr size_t ARGUMENTS_SIZE = 256; // what may follow the "?", terminating zero included
constexpr size_t DECODED_SIZE = 128;   // what of it is decoded, terminating zero included
constexpr size_t KEY_SIZE = 32;        // a longer key is cut
constexpr int32_t NO_MODULE = -1;

TIME_CHECK_MODULES_COMMON_STRUCT modules_var;

COMMON_VAR_ITEM var_table[5] = {
    {.var = "op", .value = &modules_var.op, .type = VAR_TYPE_NUM},
    {.var = "debug_id", .value = &modules_var.debug_id, .type = VAR_TYPE_NUM},
    {.var = "relate_module_id", .value = &modules_var.relate_module_id, .type = VAR_TYPE_NUM},
    {.var = "string_info", .value = modules_var.string_info, .type = VAR_TYPE_STR},
    {.var = nullptr, .value = nullptr, .type = VAR_TYPE_NONE},
};

// ---- control messages ----

void set_time_check_module_var(const char *key, const char *value)
{
    for (const COMMON_VAR_ITEM *item = var_table; item->var != nullptr; item++) {
        if (strcmp(item->var, key) != 0)
            continue;
        const int32_t number = time_check_atoi(value);
        switch (item->type) {
        case VAR_TYPE_STR:
            copy_text(static_cast<char *>(item->value), sizeof modules_var.string_info, value);
            break;
        case VAR_TYPE_BOOL: // no row has it, nor the next (compat 7)
            *static_cast<uint8_t *>(item->value) = static_cast<uint8_t>(number);
            break;
        case VAR_TYPE_SHORT:
            *static_cast<uint16_t *>(item->value) = static_cast<uint16_t>(number);
            break;
        case VAR_TYPE_NUM:
            *static_cast<uint32_t *>(item->value) = static_cast<uint32_t>(number);
            break;
        default:
            LOG_ERROR("invalid var type:%d\n", item->type);
            break;
        }
    }
}

// Reads "KEY=VALUE": the key up to the first "=", the value the non-blank run after it (decision 0002).
static void split_item(const char *item, char (&key)[KEY_SIZE], char (&value)[DECODED_SIZE])
{
    const size_t key_length = strcspn(item, "=");
    copy_text_n(key, sizeof key, item, key_length);
    const char *rest = item + key_length;
    if (*rest == '=')
        copy_column(value, sizeof value, rest + 1, 1);
    else
        value[0] = '\0';
}

void init_time_check_module_var(const char *args)
{
    char list[DECODED_SIZE];
    copy_text(list, sizeof list, args);

    char *rest = nullptr;
    for (const char *item = strtok_r(list, ",", &rest); item != nullptr; item = strtok_r(nullptr, ",", &rest)) {
        char key[KEY_SIZE];
        char value[DECODED_SIZE];
        split_item(item, key, value);
        LOG_PROGRESS("key = %s,value = %s\n", key, value);
        set_time_check_module_var(key, value);
    }
}

static int32_t module_id_of(const char *module)
{
    const bool is_number = module[0] >= '0' && module[0] <= '9';
    return is_number ? time_check_atoi(module) : find_time_check_module_id_by_name(module);
}

void parse_time_check_msg_string(const char *text, int32_t *id, char *args)
{
    if (text == nullptr || args == nullptr) {
        LOG_ERROR("invalid param.\n");
        return;
    }
    if (strlen(text) > MESSAGE_MAX) {
        LOG_ERROR("current support len:%d\n", MESSAGE_MAX);
        return;
    }

    char message[MESSAGE_MAX + 1];
    copy_text(message, sizeof message, text);
    const char *question_mark = strchr(text, '?');
    if (question_mark == nullptr) {
        *id = module_id_of(message);
        return;
    }
    char *rest = nullptr;
    const char *module = strtok_r(message, "?", &rest); // skips leading "?"
    if (module != nullptr)
        *id = module_id_of(module);
    copy_text(args, ARGUMENTS_SIZE, question_mark + 1);
}

int TimeCheckMsgHandle(const char * /*sender*/, const char *text)
{
    char args[ARGUMENTS_SIZE] = "";
    memset(&modules_var, 0, sizeof modules_var);
    int32_t id = NO_MODULE;
    parse_time_check_msg_string(text, &id, args);
    init_time_check_module_var(args);
    if (id >= 0 && id < TIME_CHECK_MAX_MODULE_NUM)
        handle_time_check_module_msg(id, &modules_var);
    return 0;
}

// ---- the loop ----

static char log_line[BUFSIZ]; // so that a reader of the log sees a line when it happens, and nothing is allocated

static void start_reachability_thread()
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setscope(&attributes, PTHREAD_SCOPE_SYSTEM);
    pthread_t thread;
    if (pthread_create(&thread, &attributes, wan_surf_check, nullptr) != 0)
        printf("[%s:%d] wan_surf_check thread start failed!\n", "main", __LINE__);
    pthread_attr_destroy(&attributes);
}

static void read_settings_again()
{
    read_time_check_module_settings();
    wan_surf_check_renew();
}

int main(int count, char *arguments[])
{
    program_begin(count, arguments, wan_surf_check_end, read_settings_again);
    setvbuf(stdout, log_line, _IOLBF, sizeof log_line);

    if (RegMsgHandle("time_check", "*", TimeCheckMsgHandle) == 0) {
        LOG_ERROR("reg msg failed.\n"); // compat 8
        return 0;
    }
    start_reachability_thread();
    init_time_check_module_entries();
    for (;;) {
        time_check_tick();
        sleep(1);
    }
}
