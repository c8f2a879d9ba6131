# The daemon built again: with other flags, on the virtual router, or with some of its calls under other names.
# The target daemon_objects is the daemon as the product has it.

# compile_again(NAME LIBRARY...): NAME gets the sources of these
function(compile_again name)
    foreach(library IN LISTS ARGN)
        get_target_property(folder ${library} SOURCE_DIR)
        get_target_property(sources ${library} SOURCES)
        foreach(source IN LISTS sources)
            cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY ${folder})
            target_sources(${name} PRIVATE ${source})
        endforeach()
    endforeach()
endfunction()

# daemon_variant(NAME [WITH libraries...] [FLAGS flags...]): NAME is the daemon's objects with these flags beside its own,
# and those of the libraries' sources
function(daemon_variant name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "WITH;FLAGS")
    add_library(${name} OBJECT)
    compile_again(${name} daemon_objects ${arg_WITH})
    target_link_libraries(${name} PRIVATE house_freestanding)
    target_compile_options(${name} PRIVATE ${arg_FLAGS})
endfunction()

# daemon_in_model(NAME ARCHIVE name OBJECTS targets... LIBS libraries...): a program that links NAME has the whole daemon,
# made of these targets' objects, with its libc calls led to the virtual router, which is among the libraries. The
# target ARCHIVE makes libARCHIVE.a of the objects.
function(daemon_in_model name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "ARCHIVE" "OBJECTS;LIBS")
    if(NOT CMAKE_READELF OR NOT CMAKE_OBJCOPY)
        message(FATAL_ERROR "the virtual router needs objcopy and readelf")
    endif()
    set(sim ${PROJECT_SOURCE_DIR}/platform/sim)
    set(archive ${CMAKE_CURRENT_BINARY_DIR}/lib${arg_ARCHIVE}.a)
    list(TRANSFORM arg_OBJECTS REPLACE "(.+)" "$<TARGET_OBJECTS:\\1>" OUTPUT_VARIABLE objects)
    add_custom_command(
        OUTPUT ${archive}
        COMMAND ${CMAKE_COMMAND} "-DOBJECTS=${objects}" -DLIST=${sim}/wrap.list -DOUTPUT=${archive}
            -DWORK=${CMAKE_CURRENT_BINARY_DIR}/renamed -DOBJCOPY=${CMAKE_OBJCOPY} -DREADELF=${CMAKE_READELF}
            -DAR=${CMAKE_AR} -P ${sim}/rename_objects.cmake
        DEPENDS ${objects} ${sim}/wrap.list ${sim}/rename_objects.cmake
        COMMENT "Leading libc calls to the virtual router: ${arg_ARCHIVE}"
        VERBATIM)
    add_custom_target(${arg_ARCHIVE} DEPENDS ${archive})
    add_library(${name} INTERFACE)
    add_dependencies(${name} ${arg_ARCHIVE})
    target_link_libraries(${name} INTERFACE -Wl,--whole-archive,${archive},--no-whole-archive ${arg_LIBS})
    set_target_properties(${name} PROPERTIES INTERFACE_LINK_DEPENDS ${archive})
endfunction()

# daemon_renamed(NAME SYMBOLS old=new... LIBS libraries...): a program that links NAME has the daemon's objects with these
# symbols under new names, on the ground that is among the libraries
function(daemon_renamed name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SYMBOLS;LIBS")
    list(TRANSFORM arg_SYMBOLS PREPEND --redefine-sym= OUTPUT_VARIABLE symbols)
    set(archive ${CMAKE_CURRENT_BINARY_DIR}/lib${name}.a)
    add_custom_command(OUTPUT ${archive}
        # The linker would find the old names in what it optimises once more.
        COMMAND ${CMAKE_OBJCOPY} --remove-section=.gnu.lto_* ${symbols} $<TARGET_FILE:daemon_objects> ${archive}
        DEPENDS daemon_objects VERBATIM)
    add_custom_target(${name}_archive DEPENDS ${archive})
    add_library(${name} INTERFACE)
    add_dependencies(${name} ${name}_archive)
    target_link_libraries(${name} INTERFACE ${archive} ${arg_LIBS})
    set_target_properties(${name} PROPERTIES INTERFACE_LINK_DEPENDS ${archive})
endfunction()
