// tcctl metrics: what the daemon tells of itself, as gauges and counters.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "platform/linux/run_directory.h"
#include "tools/tcctl/command.h"
#include "tools/tcctl/journal_tail.h"
#include "tools/tcctl/metrics_text.h"
#include "tools/tcctl/output.h"
#include "tools/tcctl/page.h"

namespace tcctl
{

namespace
{

struct metrics_options {
    std::string textfile;
    bool is_open_metrics = false;
};

bool stands(const std::string &path)
{
    return access(path.c_str(), F_OK) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

bool write_whole(int fd, const std::string &text)
{
    return write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()) && fchmod(fd, 0644) == 0;
}

// Beside it first, under a name that a collector does not read, so that nobody ever reads half of it.
int write_textfile(const std::string &path, const std::string &text)
{
    const std::string beside = fmt::format("{}.{}", path, getpid());
    const int fd = open(beside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    const bool is_whole = fd >= 0 && write_whole(fd, text);
    const bool is_closed = fd >= 0 && close(fd) == 0;
    if (is_whole && is_closed && std::rename(beside.c_str(), path.c_str()) == 0)
        return WELL;
    const int error = errno;
    if (fd >= 0)
        unlink(beside.c_str());
    return fail(fmt::format("cannot write {}: {}", path, std::strerror(error)));
}

// What most collectors and promtool read is the older format (decision 0170). What is not there says that no daemon has
// run; what is there and damaged is an error.
int run(const metrics_options &options)
{
    const std::string folder = run_directory();
    status_reading reading = {};
    std::vector<journal_record> records;
    std::string why;
    const bool has_page = stands(folder + "/status") || stands(folder + "-status/status");
    if (has_page && !read_page(&reading, &why))
        return fail(why);
    if (stands(folder + "/journal") && !read_journal(folder + "/journal", records, &why))
        return fail(why);
    const std::string text =
        metrics_text(has_page ? &reading : nullptr, records,
                     options.is_open_metrics ? metrics_format::OPEN_METRICS : metrics_format::PROMETHEUS);
    return options.textfile.empty() ? print(text) : write_textfile(options.textfile, text);
}

} // namespace

run_fn add_metrics(CLI::App &app)
{
    const auto options = std::make_shared<metrics_options>();
    app.add_option("--textfile", options->textfile, "write them there for node exporter's text folder, whole or not")
        ->type_name("FILE");
    app.add_flag("--openmetrics", options->is_open_metrics, "name counters by the letter of OpenMetrics");
    return [options] { return run(*options); };
}

} // namespace tcctl
