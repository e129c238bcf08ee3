# When cross-compiling, builds tools/ for the build machine.
include(ExternalProject)

ExternalProject_Add(host_tools
    SOURCE_DIR ${PROJECT_SOURCE_DIR}/tools
    CMAKE_ARGS -DCMAKE_BUILD_TYPE=Release -DCMAKE_RUNTIME_OUTPUT_DIRECTORY=${CMAKE_BINARY_DIR}/host_tools
    BUILD_BYPRODUCTS ${CMAKE_BINARY_DIR}/host_tools/generate_image_table
    BUILD_ALWAYS TRUE
    INSTALL_COMMAND "")

add_executable(generate_image_table IMPORTED GLOBAL)
set_target_properties(generate_image_table PROPERTIES
    IMPORTED_LOCATION ${CMAKE_BINARY_DIR}/host_tools/generate_image_table)
add_dependencies(generate_image_table host_tools)
