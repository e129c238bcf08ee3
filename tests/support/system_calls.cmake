# Puts the stand-in for the board below a test program: the product's calls are renamed at link time, and those that the
# standard library makes find the program's own definitions first.
set(system_calls_dir ${CMAKE_CURRENT_LIST_DIR})

function(use_system_calls target)
    foreach(part IN ITEMS system_calls system_calls_commands system_calls_display wrapped_calls)
        target_sources(${target} PRIVATE ${system_calls_dir}/${part}.cpp)
    endforeach()
    foreach(call IN ITEMS open close read write ioctl mmap usleep popen pclose)
        target_link_options(${target} PRIVATE -Wl,--wrap=${call})
    endforeach()
    set_target_properties(${target} PROPERTIES ENABLE_EXPORTS ON)
    target_link_libraries(${target} PRIVATE ${CMAKE_DL_LIBS})
endfunction()
