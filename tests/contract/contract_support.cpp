#include "tests/contract/contract_support.h"

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace std::chrono_literals;

TemporaryFolder::TemporaryFolder()
{
    std::string name = (fs::temp_directory_path() / "time_check.XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr)
        throw std::runtime_error("cannot make " + name);
    path_ = name;
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::string text_of(const fs::path &file)
{
    std::ifstream stream(file);
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

void write_text(const fs::path &file, const std::string &text)
{
    std::ofstream(file) << text;
}

Child::Child(const std::function<void()> &body) : pid_(fork())
{
    if (pid_ == 0) {
        body();
        _exit(0);
    }
}

Child::~Child()
{
    if (!is_waited_for_) {
        kill_now();
        wait();
    }
}

int Child::wait()
{
    int status = 0;
    waitpid(pid_, &status, 0);
    is_waited_for_ = true;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

void Child::kill_now()
{
    kill(pid_, SIGKILL);
}

void in_own_process(const std::function<void()> &body)
{
    fflush(nullptr);
    Child child([&] {
        body();
        fflush(nullptr);
        if (testing::Test::HasFailure())
            _exit(1);
    });
    EXPECT_EQ(child.wait(), 0) << "the expectations that failed are above";
}

size_t open_descriptors()
{
    const fs::directory_iterator descriptors("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(descriptors), end(descriptors)));
}

std::chrono::milliseconds time_taken(const std::function<void()> &act)
{
    const auto start = std::chrono::steady_clock::now();
    act();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
}

bool comes_true(const std::function<bool()> &holds)
{
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(2ms);
    }
    return true;
}

std::string error_lines_of(const std::function<void()> &act)
{
    testing::internal::CaptureStderr();
    act();
    return testing::internal::GetCapturedStderr();
}
