// Which keys of the store tell how the router is doing at this moment. They share the store with its settings, but
// belong to one run of the router: they are not committed, and a start does not bring them back (decision 0115).
#ifndef PLATFORM_COMMON_PUBLISHED_KEYS_H
#define PLATFORM_COMMON_PUBLISHED_KEYS_H

#include <cstddef>

// The key need not be terminated.
bool is_published_key(const char *key, size_t length);

#endif
