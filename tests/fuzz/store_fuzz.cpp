// The Linux ground's store in folders of its own: texts that people import, files that stand on the flash, keys and
// values. An input's first byte says which.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

#include "platform/common/published_keys.h"
#include "platform/config_store.h"
#include "platform/linux/store/admin.h"
#include "platform/linux/store/text.h"
#include "tests/fuzz/expect.h"
#include "tests/fuzz/input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace
{

namespace fs = std::filesystem;
using Settings = std::map<std::string, std::string>;

// ---- the store's folders ----

fs::path top;

void make_folders()
{
    std::string name =
        (fs::is_directory("/dev/shm") ? "/dev/shm" : fs::temp_directory_path().string()) + "/fuzz_XXXXXX";
    expect(mkdtemp(name.data()) != nullptr, "there is room for folders");
    top = name;
    setenv("TIME_CHECK_RUN_DIR", (top / "run").c_str(), 1);
    setenv("TIME_CHECK_CONF_DIR", (top / "conf").c_str(), 1);
    atexit([] {
        config_store_close();
        std::error_code ignored;
        fs::remove_all(top, ignored);
    });
}

// The machine restarts: what was not committed is gone.
void restart()
{
    config_store_close();
    fs::remove_all(top / "run");
}

void begin_empty()
{
    static const bool once = (make_folders(), true);
    static_cast<void>(once);
    restart();
    fs::remove_all(top / "conf");
    fs::create_directory(top / "conf");
}

// ---- what it holds ----

// The settings of a text; false: it has a line that is wrong.
bool read_text(std::string text, Settings &settings)
{
    const size_t length = text.size();
    text += '\0';
    store_text_reader reader = {.next = text.data(),
                                .end = text.data() + length,
                                .line_number = 0,
                                .key = nullptr,
                                .value = nullptr,
                                .fault = nullptr};
    bool whole = true;
    for (store_text_line line = store_text_read(&reader); line != STORE_TEXT_END; line = store_text_read(&reader)) {
        if (line == STORE_TEXT_SETTING) {
            expect(store_key_fault(reader.key) == nullptr && store_value_fault(reader.value) == nullptr,
                   "what is read can be stored");
            settings[reader.key] = reader.value;
        }
        whole = whole && line != STORE_TEXT_BAD;
    }
    return whole;
}

bool append_piece(void *text, const char *piece, size_t length)
{
    static_cast<std::string *>(text)->append(piece, length);
    return true;
}

// Without what is only published: it is read like any other value until the machine restarts, and not committed.
Settings kept(Settings settings)
{
    std::erase_if(settings, [](const auto &each) { return is_published_key(each.first.data(), each.first.size()); });
    return settings;
}

std::string exported()
{
    std::string text;
    expect(config_store_export(append_piece, &text), "a store can be exported");
    return text;
}

void expect_settings(const Settings &expected, const char *what)
{
    Settings found;
    expect(read_text(exported(), found), "an export can be read");
    expect(found == kept(expected), what);
    std::vector<char> value(CONFIG_STORE_VALUE_MAX + 1);
    for (const auto &[key, text] : expected)
        expect(GetValue(key.c_str(), value.data(), value.size()) == 1 && text == value.data(), "a value is as stored");
}

bool import(const std::string &text)
{
    const int fd = memfd_create("import", MFD_CLOEXEC);
    expect(write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()), "memory for a file");
    lseek(fd, 0, SEEK_SET);
    const bool imported = config_store_import(fd, "input");
    close(fd);
    return imported;
}

// ---- the three ways in ----

// All of a text or nothing, and the same again through an export, a commit and a restart.
void import_text(Input &input)
{
    const std::string text = input.rest();
    Settings settings;
    const bool whole = read_text(text, settings);
    const bool imported = import(text);
    expect(!imported || whole, "a wrong line is not imported");
    if (!imported)
        settings.clear();
    expect_settings(settings, "an import stores all or nothing");
    const std::string once = exported();
    expect(store_text_damage(once.data(), once.size()) == nullptr, "an export is whole");
    expect(CommitCfm() != 0, "a store can be committed");
    restart();
    expect_settings(kept(settings), "a commit brings all of it back");
    expect(exported() == once, "byte for byte");
}

// A file of any bytes where the committed one belongs: taken when it is whole, else nothing of it.
void open_committed(Input &input)
{
    const bool ended = input.below(2) == 0;
    std::string text = input.rest();
    if (ended) { // with the last line that makes it whole
        std::string end;
        store_text_writer writer;
        store_text_begin(&writer, append_piece, &end);
        Settings settings;
        read_text(text, settings);
        for (const auto &[key, value] : settings)
            store_text_setting(&writer, key.data(), key.size(), value.data(), value.size());
        expect(store_text_finish(&writer), "a text can be finished");
        text = end;
    }
    Settings settings;
    const bool undamaged = store_text_damage(text.data(), text.size()) == nullptr && read_text(text, settings);
    std::ofstream(top / "conf" / "config.txt", std::ios::binary) << text;
    if (undamaged && config_store_open())
        expect_settings(kept(settings), "a whole file is taken");
    if (!undamaged && config_store_open())
        expect_settings({}, "of a damaged one nothing is");
}

void set_and_unset(Input &input)
{
    Settings settings;
    for (int step = 0; step < 64 && !input.ended(); step++) {
        const unsigned act = input.below(8);
        const std::string key = act < 4 ? std::string(1, static_cast<char>('a' + input.below(8))) : input.line(520);
        const bool storable = store_key_fault(key.c_str()) == nullptr;
        if (act == 0) {
            expect(config_store_unset(key.c_str()) == (settings.erase(key) == 1 ? 1 : 0), "a key is gone, once");
        } else if (act == 1) {
            expect(CommitCfm() != 0, "a store can be committed");
            restart();
            settings = kept(settings);
        } else {
            const std::string value = act == 7 ? std::string(input.word() * 2U, 'v') : input.line(100);
            const bool fits = storable && store_value_fault(value.c_str()) == nullptr;
            expect(SetValue(key.c_str(), value.c_str()) == (fits ? 1 : 0), "what can be stored is, and no other");
            if (fits)
                settings[key] = value;
        }
    }
    expect_settings(settings, "the store holds what was set");
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    constexpr void (*WAYS[])(Input &) = {import_text, open_committed, set_and_unset};
    Input input(data, size);
    begin_empty();
    input.one_of(WAYS)(input);
    return 0;
}
