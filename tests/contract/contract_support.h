// What the contract tests share: folders of their own, children, and counting what a process holds.
#ifndef TESTS_CONTRACT_CONTRACT_SUPPORT_H
#define TESTS_CONTRACT_CONTRACT_SUPPORT_H

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <sys/types.h>

// A folder that goes with the object.
class TemporaryFolder
{
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    const std::filesystem::path &path() const
    {
        return path_;
    }

private:
    std::filesystem::path path_;
};

std::string text_of(const std::filesystem::path &file);
void write_text(const std::filesystem::path &file, const std::string &text);

// A process that runs `body` and ends; the object waits for it.
class Child
{
public:
    explicit Child(const std::function<void()> &body);
    ~Child();
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;

    // Its exit status; 128 + the signal that ended it.
    int wait();
    void kill_now();

    pid_t pid() const
    {
        return pid_;
    }

private:
    pid_t pid_;
    bool is_waited_for_ = false;
};

// Runs `body`, expectations and all, in a process of its own, for what a process can do only once. Fails the test when
// an expectation inside failed.
void in_own_process(const std::function<void()> &body);

size_t open_descriptors();

std::chrono::milliseconds time_taken(const std::function<void()> &act);

// Looks again and again until `holds` does, for at most ten seconds.
bool comes_true(const std::function<bool()> &holds);

// What `act` writes to standard error.
std::string error_lines_of(const std::function<void()> &act);

#endif
