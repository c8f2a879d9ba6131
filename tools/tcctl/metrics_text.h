// Metrics as text: of OpenMetrics, or of the older exposition format that a text folder is read in.
#ifndef TOOLS_TCCTL_METRICS_TEXT_H
#define TOOLS_TCCTL_METRICS_TEXT_H

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/common/journal.h"
#include "platform/common/status_file.h"

namespace tcctl
{

enum class metrics_format { OPEN_METRICS, PROMETHEUS };

// What can be told of the daemon. `reading` is null where no daemon has run; `records` are those of the journal, in
// order, none where it cannot be read.
std::string metrics_text(const status_reading *reading, const std::vector<journal_record> &records,
                         metrics_format format);

} // namespace tcctl

#endif
