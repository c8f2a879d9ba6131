# What the daemon and cfm are measured next to.
add_executable(bench_sleeper sleeper.c)
target_link_libraries(bench_sleeper PRIVATE house_warnings Threads::Threads)
add_executable(bench_empty empty.cpp)
add_executable(bench_empty_streams empty_streams.cpp)
foreach(empty IN ITEMS bench_empty bench_empty_streams)
    # The library that cfm has, whether it is needed or not, and no other.
    target_link_libraries(${empty} PRIVATE house_warnings
        -Wl,--no-as-needed ${LMDB_LIBRARY} -Wl,--as-needed Threads::Threads)
    target_link_options(${empty} PRIVATE -static-libstdc++ -static-libgcc LINKER:--gc-sections)
endforeach()
add_library(bench_allocations MODULE allocations.c)
target_link_libraries(bench_allocations PRIVATE house_warnings)
set_target_properties(bench_allocations PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
