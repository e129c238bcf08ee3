# Puts the stand-in for the board below a test program. The program defines all functions that take a path, so that the
# calls of the standard library reach them too; the product's other calls are renamed at link time.
if(NOT TARGET system_calls)
    set(parts path_calls.cpp system_calls.cpp system_calls_commands.cpp system_calls_display.cpp wrapped_calls.cpp)
    list(TRANSFORM parts PREPEND ${CMAKE_CURRENT_LIST_DIR}/)
    add_library(system_calls OBJECT ${parts})
    target_include_directories(system_calls PRIVATE ${PROJECT_SOURCE_DIR})
    target_link_libraries(system_calls INTERFACE ${CMAKE_DL_LIBS})
    foreach(call IN ITEMS close read write ioctl mmap usleep popen pclose)
        target_link_options(system_calls INTERFACE -Wl,--wrap=${call})
    endforeach()
    if(TARGET test_support)
        target_link_libraries(system_calls PRIVATE test_support) # the same definitions as its precompiled headers
        target_precompile_headers(system_calls REUSE_FROM test_support)
    endif()
endif()

function(use_system_calls target)
    target_link_libraries(${target} PRIVATE system_calls)
    set_target_properties(${target} PROPERTIES ENABLE_EXPORTS ON)
endfunction()
