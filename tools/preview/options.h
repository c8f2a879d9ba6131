// The command line of a preview, as words, and what it asks for.
#ifndef TOOLS_PREVIEW_OPTIONS_H
#define TOOLS_PREVIEW_OPTIONS_H

#include <string>
#include <vector>

#include "tools/preview/engine.h"

namespace CLI
{
class App;
}

namespace preview
{

struct options {
    std::string file; // "": this router's store
    std::string from; // "": now
    int days = 7;
    std::string zone; // "": this process's
    int uptime = -1;  // below 0: this router's, or a day for a file's
    std::vector<std::string> clients = {"none"};
    std::string format = "text";
};

void add_options(CLI::App &app, options &given);

// Reads the store or the file, and sets TZ to the zone. Throws refused.
request request_of(options given, const std::string &own_zone);

} // namespace preview

#endif
