# Tests for the program that runs the simulated device.
add_folder_tests(sim_run
    SOURCES button_timer_test.cpp run_options_test.cpp run_screens_test.cpp scenario_log_test.cpp
            scenario_printer_test.cpp text_picture_test.cpp
    LIBRARIES sim_run
    FILES ${simulated_device_files} ${PROJECT_SOURCE_DIR}/scenarios)
target_compile_definitions(sim_run_tests PRIVATE
    UPDATER="$<TARGET_FILE:tonecrate-updater>" PRELOAD="$<TARGET_FILE:sim_preload>"
    SIM_DIR="${PROJECT_SOURCE_DIR}/sim" SCREENS_DIR="${PROJECT_SOURCE_DIR}/screens"
    SCENARIOS_DIR="${PROJECT_SOURCE_DIR}/scenarios")
add_dependencies(sim_run_tests tonecrate-updater sim_preload)

set(program_test ${CMAKE_CURRENT_SOURCE_DIR}/run_program_test.sh)
add_test(NAME sim_run.program COMMAND ${program_test} $<TARGET_FILE:simulate> ${PROJECT_SOURCE_DIR}/sim/scripts)
set_tests_properties(sim_run.program PROPERTIES
    ${test_properties} REQUIRED_FILES "${simulated_device_files};${PROJECT_SOURCE_DIR}/scenarios")

# Each scenario is a test. All except `update` have the label `long`.
file(GLOB scenarios CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/scenarios/*.scenario)
foreach(scenario IN LISTS scenarios)
    cmake_path(GET scenario STEM name)
    add_test(NAME scenario.${name} COMMAND simulate --scenario ${scenario})
    set_tests_properties(scenario.${name} PROPERTIES
        ${test_properties} REQUIRED_FILES "${simulated_device_files};${scenario}")
    if(NOT name STREQUAL update)
        set_tests_properties(scenario.${name} PROPERTIES LABELS long)
    endif()
endforeach()
