# The program that runs the simulated device.
add_folder_tests(sim_run
    SOURCES scenario_log_test.cpp run_options_test.cpp run_screens_test.cpp text_picture_test.cpp button_timer_test.cpp
    LIBRARIES sim_run
    FILES ${PROJECT_SOURCE_DIR}/screens ${script_files})
target_compile_definitions(sim_run_tests PRIVATE SCREENS_DIR="${PROJECT_SOURCE_DIR}/screens")

set(scenarios_test ${CMAKE_CURRENT_SOURCE_DIR}/scenarios_test.sh $<TARGET_FILE:simulate> ${PROJECT_SOURCE_DIR}/sim/scripts)
add_test(NAME sim_run.program COMMAND ${scenarios_test})
set_tests_properties(sim_run.program PROPERTIES
    ${test_properties} REQUIRED_FILES "${simulated_device_files}")
foreach(scenario IN ITEMS update factory-reset no-firmware corrupt no-partition unplugged format-fails install-fails)
    add_test(NAME sim_run.scenario.${scenario} COMMAND ${scenarios_test} ${scenario})
    set_tests_properties(sim_run.scenario.${scenario} PROPERTIES
        ${test_properties} REQUIRED_FILES "${simulated_device_files}")
endforeach()
