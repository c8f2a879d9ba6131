// The library's archive speaks https as well, and wants a TLS library for it, which in memory is larger than all of
// this program. Nobody is led here by https: the names that it wants are these, the others by the linker (decision
// 0216).
#include <cstddef>
#include <cstdio>
#include <cstdlib>

extern "C" {

[[noreturn]] void dhttpd_has_no_tls();
int gnutls_global_init();
void gnutls_global_deinit();
extern void *(*gnutls_malloc)(size_t);

// For every other name of it: only a server that was started for https calls them.
void dhttpd_has_no_tls()
{
    fputs("dhttpd: there is no TLS in this program\n", stderr);
    abort();
}

// These two are called in every program with the archive, whatever it serves.
int gnutls_global_init()
{
    constexpr int UNIMPLEMENTED_FEATURE = -1250;
    return UNIMPLEMENTED_FEATURE;
}

void gnutls_global_deinit()
{
}

void *(*gnutls_malloc)(size_t) = [](size_t) -> void * { dhttpd_has_no_tls(); };

} // extern "C"
