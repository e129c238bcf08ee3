# Tests for sessions with the simulated device, and for scenarios.
add_folder_tests(sim_session
    SOURCES animated_png_test.cpp live_clock_test.cpp movie_test.cpp scenario_player_test.cpp session_test.cpp
            signals_test.cpp statement_test.cpp
    LIBRARIES sim_session
    LONG LongAwait Scenarios/LongReplay LongBusyReplay LongRecordingReplay
    COST 15
    FILES ${simulated_device_files} ${PROJECT_SOURCE_DIR}/scenarios
    FILE_USERS ScenarioPlayer SessionTest LongAwait .*Replay)
target_compile_definitions(sim_session_tests PRIVATE
    UPDATER="$<TARGET_FILE:tonecrate-updater>" PRELOAD="$<TARGET_FILE:sim_preload>"
    SIM_DIR="${PROJECT_SOURCE_DIR}/sim" SCREENS_DIR="${PROJECT_SOURCE_DIR}/screens"
    SCENARIOS_DIR="${PROJECT_SOURCE_DIR}/scenarios")
add_dependencies(sim_session_tests tonecrate-updater sim_preload)
