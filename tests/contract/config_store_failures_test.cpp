// What becomes of the committed settings when a call of the C library fails, or the process ends at it: every call of
// the store's operations, one after another, each case judged by fresh processes.
//
// With TIME_CHECK_WALK=all in its environment every call that can fail also fails for reasons that fit other calls.
#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <set>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "platform/config_store.h"
#include "platform/linux/store/text.h"
#include "tests/contract/config_store_folders.h"
#include "tests/contract/faulty_calls.h"

namespace
{

namespace fs = std::filesystem;
using faulty::Fault;
using faulty::How;

// ---- settings and scenes ----

// The settings that were committed as the `generation`, as cfm list shows them.
std::string settings_of(int generation)
{
    std::string text = "filler=" + std::string(5000, 'f') + "\ngeneration=" + std::to_string(generation) + "\n";
    for (int i = 10; i < 30; i++)
        text += "key" + std::to_string(i) + "=" + std::to_string(generation) + "\n";
    return text;
}

// The same with one setting more or with another value.
std::string with(const std::string &settings, const std::string &key, const std::string &value)
{
    std::set<std::string> lines{key + "=" + value + "\n"};
    for (size_t begin = 0; begin < settings.size();) {
        const size_t end = settings.find('\n', begin) + 1;
        if (settings.compare(begin, key.size() + 1, key + "=") != 0)
            lines.insert(settings.substr(begin, end - begin));
        begin = end;
    }
    std::string text;
    for (const std::string &line : lines)
        text += line;
    return text;
}

bool append_to(void *text, const char *piece, size_t length)
{
    static_cast<std::string *>(text)->append(piece, length);
    return true;
}

// The settings as a committed file holds them.
std::string committed_text(const std::string &settings)
{
    std::string text;
    store_text_writer writer;
    store_text_begin(&writer, append_to, &text);
    for (size_t begin = 0; begin < settings.size();) {
        const size_t equals = settings.find('=', begin);
        const size_t end = settings.find('\n', begin);
        store_text_setting(&writer, settings.data() + begin, equals - begin, settings.data() + equals + 1,
                           end - equals - 1);
        begin = end + 1;
    }
    store_text_finish(&writer);
    return text;
}

bool import_settings(const std::string &settings)
{
    const int fd = memfd_create("settings", 0);
    const bool is_written = pwrite(fd, settings.data(), settings.size(), 0) == static_cast<ssize_t>(settings.size());
    const bool imported = is_written && config_store_import(fd, "the settings");
    close(fd);
    return imported;
}

enum Scene {
    FILLED,         // the running store has been filled from both generations' folder, and one setting changed
    EMPTY_RUN,      // the router has started: both generations are committed, nothing runs
    PREVIOUS_ALONE, // the newer generation is missing
    NOTHING,        // the router's first start ever
};

struct Operation {
    const char *name;
    const char *key; // that is another after it; null: nothing changes
    const char *value;
    bool (*act)(); // whether it said that it was done
};

bool get_a_value()
{
    std::array<char, 8> value = {};
    return config_store_open() && GetValue("generation", value.data(), value.size()) == 1;
}

bool set_a_value()
{
    return SetValue("key20", "set") == 1;
}

std::string import_text;

bool import_values()
{
    return import_settings(import_text);
}

bool set_and_commit()
{
    const bool is_set = SetValue("key20", "set") == 1;
    return CommitCfm() != 0 && is_set;
}

const Operation GET = {"get", nullptr, nullptr, get_a_value};
const Operation SET = {"set", "key20", "set", set_a_value};
const Operation IMPORT = {"import", "imported", "6", import_values};
const Operation COMMIT = {"commit", "key20", "set", set_and_commit};

// ---- processes ----

// What the processes of a case tell the test.
struct Report {
    faulty::Trace trace;
    bool is_done;   // what the operation said
    bool is_broken; // the process cannot use the store any more, and says so
    std::array<char, 400> complaint;
};

Report *report;

void complain(const std::string &text)
{
    if (report->complaint[0] == '\0')
        text.copy(report->complaint.data(), report->complaint.size() - 1);
}

// Gives waitpid's status.
int in_process(const std::function<void()> &act)
{
    const pid_t child = fork();
    if (child == 0) {
        const int nowhere = open("/dev/null", O_WRONLY);
        dup2(nowhere, STDERR_FILENO);
        act();
        _exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

void expect_normal_end(int status, const std::string &who)
{
    if (WIFSIGNALED(status))
        complain(who + " was ended by signal " + std::to_string(WTERMSIG(status)));
    else if (status != 0)
        complain(who + " did not come to its end");
}

// What is different, for people.
std::string difference(const std::string &found, const std::string &expected)
{
    const auto differs = std::mismatch(found.begin(), found.end(), expected.begin(), expected.end()).first;
    const auto at = static_cast<size_t>(differs - found.begin());
    const size_t line = at == 0 ? 0 : found.rfind('\n', at - 1) + 1;
    return std::to_string(found.size()) + " bytes for " + std::to_string(expected.size()) + ", from '" +
           found.substr(line, 24) + "' on";
}

// ---- the walk ----

class Failures : public testing::TestWithParam<const Operation *>
{
protected:
    void SetUp() override
    {
        report = static_cast<Report *>(
            mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
        ASSERT_NE(report, MAP_FAILED);
        import_text = "imported=6\nkey10=6\nkey29=6\nlong=" + std::string(9000, 'l') + "\n";
    }
    void TearDown() override
    {
        munmap(report, sizeof *report);
        std::printf("%zu cases\n", cases);
    }

    void walk(Scene which, const Operation &what)
    {
        scene = which;
        operation = &what;
        prepare();
        const faulty::Trace plain = run({});
        ASSERT_TRUE(report->is_done);
        ASSERT_GT(plain.calls, 5U);
        ASSERT_LT(plain.calls, plain.kinds.size());
        for (size_t at = 0; at < plain.calls; at++)
            for (const Fault &fault : faults_at(at, plain.kinds[at]))
                run(fault);
    }

private:
    // ---- where it happens ----

    static void copy_folder(const fs::path &from, const fs::path &to)
    {
        fs::remove_all(to);
        if (fs::exists(from))
            fs::copy(from, to, fs::copy_options::recursive);
    }

    void restore() const
    {
        copy_folder(folders.conf().string() + ".scene", folders.conf());
        copy_folder(folders.run().string() + ".scene", folders.run());
        if (fs::exists(folders.run()))
            fs::permissions(folders.run(), fs::perms::owner_all);
    }

    void prepare()
    {
        const fs::path conf = folders.conf().string() + ".scene";
        if (scene != NOTHING) {
            fs::create_directory(conf);
            write_file(conf / "config.txt.previous", committed_text(settings_of(1)));
        }
        if (scene == FILLED || scene == EMPTY_RUN)
            write_file(conf / "config.txt", committed_text(settings_of(2)));
        before = scene == NOTHING ? "" : settings_of(scene == PREVIOUS_ALONE ? 1 : 2);
        stands = scene == FILLED || scene == EMPTY_RUN ? committed_text(before) : "";
        if (scene == FILLED) {
            restore();
            in_process([] { SetValue("running", "1"); });
            fs::copy(folders.run(), folders.run().string() + ".scene");
            before = with(before, "running", "1");
        }
        after = before;
        if (operation->act == import_values)
            after = with(with(with(with(before, "imported", "6"), "key10", "6"), "key29", "6"), "long",
                         std::string(9000, 'l'));
        else if (operation->key != nullptr)
            after = with(before, operation->key, operation->value);
    }

    // ---- what happens ----

    static std::vector<Fault> faults_at(size_t at, uint8_t kind)
    {
        std::vector<Fault> faults = {{How::DIE_BEFORE, at}, {How::DIE_AFTER, at}};
        std::vector<int> errors = faulty::errors_of(kind);
        const char *const range = std::getenv("TIME_CHECK_WALK");
        const bool is_any_error = range != nullptr && std::strcmp(range, "all") == 0 && !errors.empty();
        if (is_any_error)
            errors = {EACCES, EAGAIN, EIO, EMFILE, ENFILE, ENOLCK, ENOMEM, ENOSPC, EPERM, EROFS};
        for (const int error : errors) {
            faults.push_back({How::ONCE, at, error, is_any_error});
            faults.push_back({How::FOR_EVER, at, error, is_any_error});
        }
        if (faulty::moves_bytes(kind))
            faults.push_back({How::HALF, at});
        return faults;
    }

    static std::string text_of(const Fault &fault, const faulty::Trace &trace)
    {
        static constexpr std::array<const char *, 6> HOW = {"goes well",  "fails once",     "fails from there on",
                                                            "takes half", "is not come to", "is the last"};
        std::string text = "call " + std::to_string(fault.at);
        if (fault.at < std::min(trace.calls, trace.kinds.size()))
            text += std::string(", ") + faulty::name_of(trace.kinds[fault.at]) + ",";
        text += std::string(" ") + HOW[static_cast<size_t>(fault.how)];
        return fault.error == 0 ? text : text + ": " + std::strerror(fault.error);
    }

    // Gives the operation's calls.
    faulty::Trace run(const Fault &fault)
    {
        const bool is_killed = fault.how == How::DIE_BEFORE || fault.how == How::DIE_AFTER;
        const faulty::Trace trace = run_and_judge(fault, false);
        if (!is_killed && fault.how != How::FOR_EVER)
            run_and_judge(fault, true);
        return trace;
    }

    // With `goes_on` the process that met the fault is also the next user of the store.
    faulty::Trace run_and_judge(const Fault &fault, bool goes_on)
    {
        cases++;
        restore();
        *report = {};
        const int status = in_process([&] {
            faulty::begin(fault, &report->trace);
            const bool is_done = operation->act();
            faulty::end();
            report->is_done = is_done;
            if (goes_on && !gives_up())
                judge(fault);
        });
        const bool is_killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
        if (fault.how != How::DIE_BEFORE && fault.how != How::DIE_AFTER)
            expect_normal_end(status, "the process");
        else if (!is_killed)
            complain("the process was not killed");
        if (!goes_on || report->is_broken)
            expect_normal_end(in_process([&] { judge(fault); }), "the next process");
        if (report->complaint[0] != '\0')
            ADD_FAILURE() << operation->name << ", " << text_of(fault, report->trace)
                          << (report->is_done ? " (said done)" : "") << (goes_on ? ", same process" : "") << ": "
                          << report->complaint.data();
        return report->trace;
    }

    // ---- what must hold ----

    // LMDB gives up for the process in which its last page could not be written; all that such a process may do is to
    // fail.
    static bool gives_up()
    {
        report->is_broken = config_store_open() && listed("") == "(failed)";
        if (report->is_broken &&
            (SetValue("judge", "0") != 0 || CommitCfm() != 0 || value_of("generation") != "(none)"))
            complain("what cannot be read is said to be done");
        return report->is_broken;
    }

    // What ends in the middle of LMDB's first pages or of the note beside them looks damaged. What was not committed
    // may go with it, but nothing that is said to be done or committed.
    bool may_be_rebuilt(const Fault &fault) const
    {
        const bool is_half_read = fault.how == How::HALF && fault.at < report->trace.calls &&
                                  std::strcmp(faulty::name_of(report->trace.kinds[fault.at]), "pread") == 0;
        return is_half_read && scene == FILLED;
    }

    static std::string rebuilt(std::string settings)
    {
        const std::string uncommitted = "running=1\n";
        const size_t at = settings.find(uncommitted);
        return at == std::string::npos ? settings : settings.erase(at, uncommitted.size());
    }

    void judge(const Fault &fault) const
    {
        const bool may_lose = may_be_rebuilt(fault);
        judge_file(may_lose);
        const int64_t slept = faulty::slept_ms();
        if (!config_store_open())
            return complain("the store cannot be opened");
        const std::string running = listed("");
        const bool is_after = running == after || (may_lose && running == rebuilt(after));
        const bool is_before = running == before || (may_lose && running == rebuilt(before));
        if (!is_after && (report->is_done || !is_before))
            return complain("the running store holds " + difference(running, before));
        for (const char *const value : {"1", "2"}) {
            if (SetValue("judge", value) != 1)
                return complain("the next process cannot set a value");
            if (CommitCfm() == 0)
                return complain("the next process cannot commit");
            const std::string expected = committed_text(with(running, "judge", value));
            const std::string found = read_file(folders.committed());
            if (found != expected)
                return complain("the next commit left " + difference(found, expected));
        }
        if (read_file(folders.conf() / "config.txt.previous") != committed_text(with(running, "judge", "1")))
            complain("the second commit left another previous file");
        if (faulty::slept_ms() - slept > 100)
            complain("the next user had to wait");
    }

    // What a power cut would leave now.
    void judge_file(bool may_lose) const
    {
        const std::string found = read_file(folders.committed());
        const bool is_new = found == committed_text(after) || (may_lose && found == committed_text(rebuilt(after)));
        const bool says_committed = report->is_done && operation->act == set_and_commit;
        if (!is_new && (says_committed || (found != stands && found != committed_text(before))))
            complain("the committed file holds " + difference(found, stands));
    }

    StoreFolders folders;
    Scene scene = FILLED;
    const Operation *operation = nullptr;
    std::string before; // what the running store holds when all goes well,
    std::string after;  // and after the operation
    std::string stands; // the committed file at the beginning; "" for none
    size_t cases = 0;
};

TEST_P(Failures, OnAFilledStore)
{
    walk(FILLED, *GetParam());
}

TEST_P(Failures, AfterAStart)
{
    walk(EMPTY_RUN, *GetParam());
}

TEST_P(Failures, AfterAStartFromThePreviousFile)
{
    walk(PREVIOUS_ALONE, *GetParam());
}

std::string test_name(const testing::TestParamInfo<const Operation *> &tested)
{
    return tested.param->name;
}

INSTANTIATE_TEST_SUITE_P(Of, Failures, testing::Values(&GET, &SET, &IMPORT, &COMMIT), test_name);

class FirstFailures : public Failures
{
};

TEST_P(FirstFailures, AtTheFirstStartEver)
{
    walk(NOTHING, *GetParam());
}

INSTANTIATE_TEST_SUITE_P(Of, FirstFailures, testing::Values(&IMPORT, &COMMIT), test_name);

} // namespace
