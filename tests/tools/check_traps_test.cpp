// Every trap that is told of anywhere is found in settings that have it, and what works is left alone.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tools/key_table.h"
#include "tools/tcctl/finding.h"

namespace
{

namespace fs = std::filesystem;
using tcctl::fault;

std::string text_of(const fs::path &path)
{
    std::ifstream file(path);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> lines_of(const std::string &text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

std::vector<fs::path> files_in(const fs::path &folder, const char *ending)
{
    std::vector<fs::path> files;
    for (const auto &entry : fs::directory_iterator(folder))
        if (entry.path().extension() == ending)
            files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

// Each line's findings, and the whole text's.
using Found = std::map<unsigned, std::multiset<std::string>>;

Found found_in(const std::string &text)
{
    tcctl::settings given;
    EXPECT_TRUE(given.add_text("settings", text).empty());
    Found found;
    for (const tcctl::finding &each : tcctl::check_settings(given))
        found[each.where.line].insert(tcctl::id_of(each.fault));
    return found;
}

// A line "#: ID..." says what is found at the next.
Found expected_of(const std::string &text)
{
    Found expected;
    unsigned number = 0;
    for (const std::string &line : lines_of(text)) {
        number++;
        if (!line.starts_with("#: "))
            continue;
        std::istringstream words(line.substr(3));
        for (std::string word; words >> word;)
            expected[number + 1].insert(word);
    }
    return expected;
}

const fs::path TRAPS = fs::path(PROJECT_FOLDER) / "tests" / "tools" / "traps";

TEST(CheckTraps, EachIsFoundAtItsLineAndNothingElse)
{
    for (const fs::path &file : files_in(TRAPS, ".conf")) {
        const std::string text = text_of(file);
        EXPECT_EQ(found_in(text), expected_of(text)) << file;
    }
    EXPECT_GE(expected_of(text_of(TRAPS / "every_trap.conf")).size(), 40U);
}

// What no file can show, because it is about the machine, has tests of its own.
const std::set<std::string> OF_MACHINE = {"no-such-bridge", "bridge-not-looked-at", "zone-not-set", "zone-unknown"};

TEST(CheckTraps, TheFilesHaveEveryFinding)
{
    std::set<std::string> shown = OF_MACHINE;
    for (const fs::path &file : files_in(TRAPS, ".conf"))
        for (const auto &[line, ids] : expected_of(text_of(file)))
            shown.insert(ids.begin(), ids.end());
    std::set<std::string> all;
#define FINDING(name, SEVERITY) all.insert(tcctl::id_of(fault::name));
#include "tools/tcctl/findings.def"
#undef FINDING
    EXPECT_EQ(shown, all);
}

// ---- the documents ----

struct Trap {
    std::string where;
    std::string beginning;
};

std::vector<Trap> listed_traps()
{
    return {
#define TRAP(where, beginning, finding)  {where, beginning},
#define UNSEEN(where, beginning, reason) {where, beginning},
#include "tests/tools/traps.def"
#undef TRAP
#undef UNSEEN
    };
}

// The items of the lists under "Traps:", and paragraphs that begin with "**Trap".
void add_traps_of_page(const fs::path &page, std::vector<Trap> &traps)
{
    bool in_list = false;
    for (const std::string &line : lines_of(text_of(page))) {
        in_list = line == "Traps:" || (in_list && !line.empty());
        if (in_list && line.starts_with("- "))
            traps.push_back({page.filename(), line.substr(2)});
        else if (line.starts_with("**Trap"))
            traps.push_back({page.filename(), line});
    }
}

std::vector<Trap> told_traps()
{
    std::vector<Trap> traps;
    for (const fs::path &page : files_in(fs::path(PROJECT_FOLDER) / "docs", ".md"))
        add_traps_of_page(page, traps);
    std::set<std::string_view> texts; // those of a family's keys are the same
    for (const keys::row &row : keys::table())
        for (const std::string_view trap : row.traps)
            if (texts.insert(trap).second)
                traps.push_back({"keys", std::string(trap)});
    return traps;
}

TEST(CheckTraps, EachThatIsToldOfIsListedAndEachThatIsListedIsToldOf)
{
    const std::vector<Trap> told = told_traps();
    const std::vector<Trap> listed = listed_traps();
    EXPECT_GT(told.size(), 60U);
    const auto is_of = [](const Trap &row, const Trap &trap) {
        return row.where == trap.where && trap.beginning.starts_with(row.beginning);
    };
    for (const Trap &trap : told)
        EXPECT_EQ(std::count_if(listed.begin(), listed.end(), [&](const Trap &row) { return is_of(row, trap); }), 1)
            << trap.where << ": " << trap.beginning;
    for (const Trap &row : listed)
        EXPECT_EQ(std::count_if(told.begin(), told.end(), [&](const Trap &trap) { return is_of(row, trap); }), 1)
            << row.where << ": " << row.beginning;
}

TEST(CheckTraps, EachThatIsListedAsAFindingIsOne)
{
    std::set<fault> findings; // that they are names of findings is the compiler's to see
#define TRAP(where, beginning, finding)  findings.insert(fault::finding);
#define UNSEEN(where, beginning, reason) EXPECT_GT(std::string_view(reason).size(), 10U) << (beginning);
#include "tests/tools/traps.def"
#undef TRAP
#undef UNSEEN
    EXPECT_GT(findings.size(), 20U);
}

// ---- what works ----

void expect_nothing(const std::string &text, const std::string &what)
{
    tcctl::settings given;
    EXPECT_TRUE(given.add_text(what, text).empty()) << what;
    for (const tcctl::finding &each : tcctl::check_settings(given))
        if (each.where.key != "wan1.pppoe.password") // a key of the lab's dialler
            ADD_FAILURE() << what << ":" << each.where.line << ": " << each.where.key << ": " << each.message;
}

TEST(CheckTraps, TheLabsSettingsHaveNone)
{
    const fs::path lab = fs::path(PROJECT_FOLDER) / "lab";
    size_t files = 0;
    for (const fs::path &folder : {lab / "stories", lab / "modes", lab / "mips" / "modes"}) {
        for (const fs::path &file : files_in(folder, ".conf")) {
            expect_nothing(text_of(file), file);
            files++;
        }
    }
    EXPECT_GE(files, 10U);
}

TEST(CheckTraps, AWholeRouterOfTheLabHasNone)
{
    tcctl::settings given;
    for (const char *const file : {"lab/modes/router.conf", "lab/stories/night.conf"})
        given.add_text(file, text_of(fs::path(PROJECT_FOLDER) / file));
    given.set_whole();
    for (const tcctl::finding &each : tcctl::check_settings(given))
        ADD_FAILURE() << each.where.file << ":" << each.where.line << ": " << each.message;
}

// The settings of an example "cfm set KEY VALUE" or "cfm set KEY=VALUE...", as lines.
std::string settings_of_example(const std::string &line)
{
    static const std::regex ONE(R"(^\s*cfm set ([^\s=]+)\s+('[^']*'|[^\s#]+))");
    static const std::regex SEVERAL(R"(^\s*cfm set [^\s=]+=)");
    std::smatch words;
    std::string settings;
    if (std::regex_search(line, words, ONE)) {
        settings = words[1].str() + "=" + words[2].str() + "\n";
    } else if (std::regex_search(line, SEVERAL)) {
        std::istringstream stream(line.substr(0, line.find(" #")));
        for (std::string word; stream >> word;)
            if (word.find('=') != std::string::npos)
                settings += word + "\n";
    }
    settings.erase(std::remove(settings.begin(), settings.end(), '\''), settings.end());
    return settings;
}

TEST(CheckTraps, TheDocumentsExamplesHaveNone)
{
    EXPECT_EQ(settings_of_example("cfm set key 'Mon 6:30'  # why"), "key=Mon 6:30\n");
    EXPECT_EQ(settings_of_example("cfm set one=1 two=2 --apply # why"), "one=1\ntwo=2\n");
    size_t examples = 0;
    std::vector<fs::path> pages = files_in(fs::path(PROJECT_FOLDER) / "docs", ".md");
    pages.push_back(fs::path(PROJECT_FOLDER) / "docs" / "man" / "cfm.1");
    for (const fs::path &page : pages) {
        if (page.filename() == "porting-tutorial.md") // tries its store with any key
            continue;
        tcctl::settings given;
        for (const std::string &line : lines_of(text_of(page))) {
            const std::string settings = settings_of_example(line);
            examples += settings.empty() ? 0 : 1;
            EXPECT_TRUE(given.add_text(line, settings).empty()) << line; // a later example may set a key anew
        }
        for (const tcctl::finding &each : tcctl::check_settings(given))
            ADD_FAILURE() << page << ": " << each.where.file << ": " << each.message;
    }
    EXPECT_GE(examples, 10U);
}

} // namespace
