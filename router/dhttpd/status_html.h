// What every module is doing, as `tcctl status` says it.
#ifndef ROUTER_DHTTPD_STATUS_HTML_H
#define ROUTER_DHTTPD_STATUS_HTML_H

#include <string>

#include "platform/common/status_file.h"

namespace dhttpd
{

// `complaint` is why there is nothing to read, or why it is not of this moment; "" where all is well.
std::string status_html(const status_reading *reading, const std::string &complaint);

} // namespace dhttpd

#endif
