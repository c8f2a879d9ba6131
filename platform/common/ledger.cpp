// For grounds where the ledger need not outlive the daemon.
#include "platform/ledger.h"

static time_check_ledger memory;
time_check_ledger *ledger_memory = &memory;
