// cfm watch and wait: what they see of a store that changes.
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <poll.h>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/contract/cfm_program.h"

namespace
{

using std::chrono::steady_clock;

double seconds_since(steady_clock::time_point begin)
{
    return std::chrono::duration<double>(steady_clock::now() - begin).count();
}

// A cfm that runs until the test closes its output, or ends it.
class Running
{
public:
    explicit Running(const std::string &words)
    {
        int ends[2];
        if (pipe(ends) != 0)
            throw std::runtime_error("no pipe");
        child = fork();
        if (child == 0) {
            dup2(ends[1], STDOUT_FILENO);
            dup2(ends[1], STDERR_FILENO);
            close(ends[0]);
            close(ends[1]);
            execl("/bin/sh", "sh", "-c", ("exec timeout 60 '" CFM_PROGRAM "' " + words).c_str(), nullptr);
            _exit(127);
        }
        close(ends[1]);
        output = ends[0];
    }
    ~Running()
    {
        if (output >= 0)
            close(output);
        if (child > 0)
            ended();
    }
    Running(const Running &) = delete;
    Running &operator=(const Running &) = delete;

    // What it has printed up to a line end, "" after so many seconds without one.
    std::string line(double patience = 30)
    {
        const auto begin = steady_clock::now();
        while (text.find('\n') == std::string::npos && seconds_since(begin) < patience) {
            pollfd readable = {output, POLLIN, 0};
            char piece[256];
            if (poll(&readable, 1, 20) <= 0)
                continue;
            const ssize_t got = read(output, piece, sizeof piece);
            if (got <= 0)
                break;
            text.append(piece, static_cast<size_t>(got));
        }
        const size_t end = text.find('\n');
        const std::string found = end == std::string::npos ? "" : text.substr(0, end);
        text.erase(0, end == std::string::npos ? 0 : end + 1);
        return found;
    }

    void close_output()
    {
        close(output);
        output = -1;
    }

    int ended()
    {
        int status = 0;
        waitpid(child, &status, 0);
        child = 0;
        return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    }

private:
    pid_t child = 0;
    int output = -1;
    std::string text;
};

// It looks from a moment on that nobody tells: the first line that it prints is what shows it.
void wait_until_it_watches(Running &watching, const char *key)
{
    for (int i = 0; watching.line(0.2).empty(); i++) {
        ASSERT_LT(i, 150) << "it prints nothing";
        SetValue(key, std::to_string(i).c_str());
    }
    while (!watching.line(0.5).empty()) {
    }
}

TEST_F(Cfm, WatchPrintsWhatChangesUnderThePrefix)
{
    SetValue("a.gone", "1");
    SetValue("a.same", "1");
    Running watching("watch a.");
    wait_until_it_watches(watching, "a.probe");
    SetValue("b", "1");
    SetValue("a.same", "1");
    SetValue("a.new", "x\ny");
    EXPECT_EQ(watching.line(), "a.new=x\\ny");
    SetValue("a.new", "2");
    EXPECT_EQ(watching.line(), "a.new=2");
    EXPECT_EQ(config_store_unset("a.gone"), 1);
    EXPECT_EQ(watching.line(), "a.gone");
    EXPECT_EQ(watching.line(0.5), "");
    watching.close_output();
    EXPECT_EQ(watching.ended(), 128 + SIGPIPE) << "nobody reads why it ends, either";
}

TEST_F(Cfm, WatchHidesSecrets)
{
    Running hiding("watch");
    Running showing("watch --secrets");
    wait_until_it_watches(hiding, "probe");
    wait_until_it_watches(showing, "probe2");
    while (!hiding.line(0.5).empty()) {
    }
    SetValue("wl.wisp.pppoe_password", "geheim");
    EXPECT_EQ(hiding.line(), "wl.wisp.pppoe_password=***");
    EXPECT_EQ(showing.line(), "wl.wisp.pppoe_password=geheim");
    hiding.close_output();
    showing.close_output();
}

TEST_F(Cfm, WatchGoesOnInAStoreThatTookThePlaceOfTheOld)
{
    SetValue("a", "1");
    Running watching("watch a");
    wait_until_it_watches(watching, "ab");
    folders.restart();
    SetValue("a", "2");
    std::string lines;
    while (lines.find("a=2") == std::string::npos) {
        const std::string line = watching.line();
        ASSERT_NE(line, "") << lines;
        lines += line + '\n';
    }
    EXPECT_NE(lines.find("were replaced"), std::string::npos) << lines;
    watching.close_output();
}

TEST_F(Cfm, WaitEndsOnceTheKeyHasTheValue)
{
    SetValue("key", "1");
    EXPECT_EQ(cfm("wait key=1"), (Outcome{0, ""}));
    EXPECT_EQ(cfm("wait key=1 --timeout 0"), (Outcome{0, ""}));
    Running waiting("wait key=a=b");
    SetValue("key", "2");
    SetValue("key", "a=bc");
    usleep(300000);
    const auto begin = steady_clock::now();
    SetValue("key", "a=b");
    EXPECT_EQ(waiting.ended(), 0);
    EXPECT_LT(seconds_since(begin), 10);
    EXPECT_EQ(waiting.line(0), "");
}

TEST_F(Cfm, WaitForNothingTakesAnEmptyOrMissingKey)
{
    EXPECT_EQ(cfm("wait key="), (Outcome{0, ""}));
    SetValue("key", "");
    EXPECT_EQ(cfm("wait key="), (Outcome{0, ""}));
    SetValue("key", "1");
    Running waiting("wait key=");
    usleep(300000);
    EXPECT_EQ(config_store_unset("key"), 1);
    EXPECT_EQ(waiting.ended(), 0);
}

TEST_F(Cfm, WaitGivesUpAfterItsTime)
{
    SetValue("key", "12");
    const auto begin = steady_clock::now();
    EXPECT_EQ(cfm("wait key=1 --timeout 0.4"), (Outcome{1, "cfm: 'key' has not become '1' in time\n"}));
    EXPECT_GE(seconds_since(begin), 0.4);
    EXPECT_EQ(cfm("wait key= --timeout 0"), (Outcome{1, "cfm: 'key' has not become '' in time\n"}));
}

TEST_F(Cfm, WaitThatIsNoneEndsWithTwo)
{
    EXPECT_EQ(cfm("wait key"), (Outcome{2, "cfm: 'key' is no KEY=VALUE\n"}));
    EXPECT_EQ(cfm("wait =1"), (Outcome{2, "cfm: '=1' is no KEY=VALUE\n"}));
    EXPECT_EQ(cfm("wait key=1 --timeout -1"), (Outcome{2, "cfm: the timeout is negative\n"}));
    EXPECT_EQ(cfm("wait key=1 --timeout nan").status, 2);
}

} // namespace
