// The catalogue of faults in docs/faults.md and what makes them in the virtual router: the same rows in the same order.
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "tests/support/fault_catalogue.h"

namespace
{

using fault_catalogue::all_faults;

const std::filesystem::path PROJECT = PROJECT_FOLDER;

// The cells of the lines of its table.
std::vector<Lines> rows_of_document()
{
    std::ifstream document(PROJECT / "docs/faults.md");
    std::vector<Lines> rows;
    bool is_table = false;
    for (std::string line; std::getline(document, line);) {
        if (!line.starts_with("| "))
            continue;
        Lines cells;
        for (size_t begin = 2; begin < line.size();) {
            const size_t end = std::min(line.find(" |", begin), line.size());
            cells.push_back(line.substr(begin, end - begin));
            begin = end + 3;
        }
        if (is_table)
            rows.push_back(cells);
        is_table = true; // after its head
    }
    return rows;
}

Lines names_in_document()
{
    Lines names;
    for (const Lines &cells : rows_of_document())
        names.push_back(cells.at(0) + ": " + cells.at(1));
    return names;
}

Lines names_of_injectors()
{
    Lines names;
    for (size_t i = 0; i < all_faults().size(); i++)
        names.push_back(fault_catalogue::text_of({i}));
    return names;
}

} // namespace

TEST(FaultCatalogue, HasTheRowsOfTheDocument)
{
    EXPECT_EQ(names_of_injectors(), names_in_document());
    const Lines names = names_of_injectors();
    EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), names.size()) << "a name stands twice";
}

TEST(FaultCatalogue, PromisesSomethingInEachRow)
{
    for (const Lines &cells : rows_of_document())
        EXPECT_TRUE(cells.size() >= 3 && !cells[2].empty()) << cells.at(1);
}

TEST(FaultCatalogue, NamesTestsThatThereAre)
{
    size_t on_a_kernel = 0;
    for (const Lines &cells : rows_of_document()) {
        if (cells.size() < 4 || cells[3].empty())
            continue;
        const std::string test = cells[3].substr(1, cells[3].size() - 2);
        EXPECT_TRUE(std::filesystem::exists(PROJECT / "tests" / test)) << cells[1] << ": " << test;
        on_a_kernel++;
    }
    EXPECT_GT(on_a_kernel, all_faults().size() / 2);
}

// Every call that the model can let fail is in some row.
TEST(FaultCatalogue, LetsEachCallFail)
{
    std::set<std::string> failing;
    for (const fault_catalogue::Fault &fault : all_faults())
        if (fault.error != 0)
            failing.insert(fault.calls.begin(), fault.calls.end());
    for (const std::string &call : sim::Faults::names())
        EXPECT_TRUE(failing.contains(call)) << call;
}
