# By default, a GoogleTest suite is one CTest test, because starting a process takes longer than most tests.
option(TONECRATE_SEPARATE_TESTS "Run each test in a process of its own" OFF)

# add_suite_tests(TARGET PREFIX LONG SCREENS COST FILES): adds the tests of the program TARGET to CTest, with names that
# begin with PREFIX. For the other arguments, see add_folder_tests in CMakeLists.txt.
function(add_suite_tests target prefix long screens cost files)
    set(suites ${CMAKE_CURRENT_BINARY_DIR}/${target}_suites.cmake)
    set(include_file ${CMAKE_CURRENT_BINARY_DIR}/${target}_include.cmake)
    add_custom_command(
        TARGET ${target} POST_BUILD
        COMMAND ${CMAKE_COMMAND} "-DPROGRAM=${CMAKE_CROSSCOMPILING_EMULATOR};$<TARGET_FILE:${target}>"
                "-DPREFIX=${prefix}" "-DLONG=${long}" "-DSCREENS=${screens}" "-DCOST=${cost}" "-DFILES=${files}"
                "-DSEPARATE=${TONECRATE_SEPARATE_TESTS}" "-DPROPERTIES=${test_properties}" "-DOUTPUT=${suites}"
                -P ${PROJECT_SOURCE_DIR}/tests/list_suites.cmake
        VERBATIM)
    file(WRITE ${include_file} "if(EXISTS \"${suites}\")\n  include(\"${suites}\")\nelse()\n"
         "  add_test(${prefix}.not_built ${prefix}.not_built)\nendif()\n")
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${include_file})
endfunction()
