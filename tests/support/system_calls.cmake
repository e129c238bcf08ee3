# use_system_calls(TARGET) links a program with the test double of the system calls. The double overrides the functions
# that take a path, even for calls from the standard library. The linker redirects the other system calls of the
# product.
if(NOT TARGET system_calls)
    set(parts call_log.cpp display_bus.cpp path_calls.cpp scripted_commands.cpp system_calls.cpp wrapped_calls.cpp)
    list(TRANSFORM parts PREPEND ${CMAKE_CURRENT_LIST_DIR}/)
    add_library(system_calls OBJECT ${parts})
    target_include_directories(system_calls PRIVATE ${PROJECT_SOURCE_DIR})
    target_link_libraries(system_calls INTERFACE ${CMAKE_DL_LIBS})
    foreach(call IN ITEMS close read write ioctl mmap usleep popen pclose)
        target_link_options(system_calls INTERFACE -Wl,--wrap=${call})
    endforeach()
    if(TARGET test_support)
        target_link_libraries(system_calls PRIVATE test_support) # for the options with which the headers were precompiled
        target_precompile_headers(system_calls REUSE_FROM test_support)
    endif()
endif()

function(use_system_calls target)
    target_link_libraries(${target} PRIVATE system_calls)
    set_target_properties(${target} PROPERTIES ENABLE_EXPORTS ON)
endfunction()
