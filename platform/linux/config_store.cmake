# The configuration store of the plain-Linux ground.
find_path(LMDB_INCLUDE_DIR lmdb.h REQUIRED)
find_library(LMDB_LIBRARY lmdb REQUIRED)
find_package(Threads REQUIRED)

target_sources(platform_linux PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/config_store.cpp
    ${CMAKE_CURRENT_LIST_DIR}/config_store_change.cpp
    ${CMAKE_CURRENT_LIST_DIR}/config_store_commit.cpp
    ${CMAKE_CURRENT_LIST_DIR}/config_store_import.cpp
    ${CMAKE_CURRENT_LIST_DIR}/config_store_open.cpp
    ${CMAKE_CURRENT_LIST_DIR}/config_store_state.cpp
    ${CMAKE_CURRENT_LIST_DIR}/config_store_text.cpp)
target_include_directories(platform_linux SYSTEM PRIVATE ${LMDB_INCLUDE_DIR})
target_link_libraries(platform_linux PUBLIC ${LMDB_LIBRARY} Threads::Threads)
