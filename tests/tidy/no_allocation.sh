#!/bin/sh
# no_allocation.sh NM OBJECT...: fails when an object of the daemon asks the heap for memory. free is allowed, for the
# records that the ground hands over. popen, opendir and gethostbyname, which allocate inside libc and give it back, are
# the ways to a program's output, a folder and a name.
set -eu
nm=$1
shift
asks='malloc|calloc|realloc|reallocarray|aligned_alloc|posix_memalign|strn?dup|v?asprintf|getline|getdelim'
asks="$asks|f(d)?open(64)?|open_memstream|fmemopen|scandir(64)?|_Zn[wa].*"
found=$("$nm" -A -u "$@" | grep -E " U ($asks)$" || true)
[ -z "$found" ] || { echo "$found"; exit 1; }
echo "$# objects ask for no memory."
