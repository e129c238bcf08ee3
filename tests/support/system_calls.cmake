# Puts the stand-in for the board below a test program. The program defines all functions that take a path, so that the
# calls of the standard library reach them too; the product's other calls are renamed at link time.
set(system_calls_dir ${CMAKE_CURRENT_LIST_DIR})

function(use_system_calls target)
    foreach(part IN ITEMS path_calls system_calls system_calls_commands system_calls_display wrapped_calls)
        target_sources(${target} PRIVATE ${system_calls_dir}/${part}.cpp)
    endforeach()
    foreach(call IN ITEMS close read write ioctl mmap usleep popen pclose)
        target_link_options(${target} PRIVATE -Wl,--wrap=${call})
    endforeach()
    set_target_properties(${target} PROPERTIES ENABLE_EXPORTS ON)
    target_link_libraries(${target} PRIVATE ${CMAKE_DL_LIBS})
endfunction()
