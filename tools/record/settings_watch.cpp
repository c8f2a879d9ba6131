#include "tools/record/settings_watch.h"

#include <algorithm>
#include <cstdlib>
#include <sys/stat.h>
#include <vector>

#include <fmt/format.h>

#include "platform/linux/run_directory.h"
#include "platform/linux/store/admin.h"
#include "platform/linux/store/text.h"
#include "tools/tcctl/journal_tail.h"

namespace record
{

namespace
{

bool append(void *context, const char *text, size_t length)
{
    static_cast<std::string *>(context)->append(text, length);
    return true;
}

settings settings_in(std::string text, masks &hides)
{
    settings found;
    store_text_reader reader = {.next = text.data(),
                                .end = text.data() + text.size(),
                                .line_number = 0,
                                .key = nullptr,
                                .value = nullptr,
                                .fault = nullptr};
    for (store_text_line line = store_text_read(&reader); line != STORE_TEXT_END; line = store_text_read(&reader))
        if (line == STORE_TEXT_SETTING && is_told(reader.key))
            found[reader.key] = reader.value;
        else if (line == STORE_TEXT_SETTING)
            hides.other(reader.key, reader.value);
    return found;
}

// What stands for the committed file at this moment; "" for none.
std::string committed_now()
{
    const char *const folder = std::getenv("TIME_CHECK_CONF_DIR");
    const std::string path = std::string(folder == nullptr ? "/etc/time_check" : folder) + "/config.txt";
    struct stat found = {};
    if (stat(path.c_str(), &found) != 0)
        return "";
    return fmt::format("{} {}.{}", found.st_ino, found.st_mtim.tv_sec, found.st_mtim.tv_nsec);
}

// The daemon's acts since a moment, by their texts. Its journal is written right after the act itself.
std::vector<std::string> acts_since(micros since)
{
    std::vector<journal_record> records;
    std::vector<std::string> acts;
    std::string why;
    tcctl::read_journal(std::string(run_directory()) + "/journal", records, &why);
    for (const journal_record &each : records)
        if (each.last >= since / SECOND - 1)
            acts.emplace_back(each.text, strnlen(each.text, sizeof each.text));
    return acts;
}

bool holds(const std::vector<std::string> &acts, const std::string &act)
{
    return std::ranges::find(acts, act.substr(0, JOURNAL_TEXT_SIZE - 1)) != acts.end();
}

} // namespace

bool settings_watch::begin(scribe &out)
{
    std::string running;
    std::string committed;
    changes_ = config_store_changes();
    committed_ = committed_now();
    if (!config_store_list("", append, &running) || !config_store_committed(append, &committed))
        return false;
    last_ = settings_in(running, hides_);
    const settings kept = settings_in(committed, hides_);
    for (const auto &[key, value] : last_) // every secret is known before the first line
        hides_.setting(key, value);
    for (const auto &[key, value] : kept)
        hides_.setting(key, value);
    for (const auto &[key, value] : kept)
        out.tell(kind::save, {key, hides_.setting(key, value)});
    for (const auto &[key, value] : last_)
        if (const auto same = kept.find(key); same == kept.end() || same->second != value)
            out.tell(kind::set, {key, hides_.setting(key, value)});
    looked_ = out.now().wall;
    return true;
}

bool settings_watch::may_have_changed() const
{
    return config_store_changes() != changes_;
}

void settings_watch::look(scribe &out)
{
    if (may_have_changed()) {
        changes_ = config_store_changes();
        std::string text;
        if (config_store_list("", append, &text))
            tell_changes(out, settings_in(text, hides_));
    }
    look_at_commits(out);
    looked_ = out.now().wall;
}

void settings_watch::tell_changes(scribe &out, const settings &now)
{
    std::vector<std::string> acts;
    const auto did = [&acts, this](const std::string &act) {
        if (acts.empty())
            acts = acts_since(looked_);
        return holds(acts, act);
    };
    for (const auto &[key, value] : now) {
        const auto before = last_.find(key);
        const std::string shown = hides_.setting(key, value);
        if ((before == last_.end() || before->second != value) && !did(fmt::format("set {}={}", key, shown)))
            out.tell(kind::set, {key, shown});
    }
    for (const auto &[key, value] : last_)
        if (!now.contains(key))
            out.tell(kind::unset, {key});
    last_ = now;
}

// The daemon writes its act down only when the disks have taken it: it has until the next look.
void settings_watch::look_at_commits(scribe &out)
{
    const std::string now = committed_now();
    const bool is_new = now != committed_;
    committed_ = now;
    if (commit_seen_ == 0 && !is_new)
        return;
    if (holds(acts_since(commit_seen_ == 0 ? looked_ : commit_seen_), "commit")) {
        commit_seen_ = 0;
    } else if (commit_seen_ == 0) {
        commit_seen_ = looked_;
    } else {
        out.tell(kind::commit, {});
        commit_seen_ = 0;
    }
}

} // namespace record
