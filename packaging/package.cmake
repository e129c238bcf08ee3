# Defines the Debian package for the device. cpack creates it in the build folder of the preset `device`.

# compress(SOURCE NAME): creates package/NAME.gz in the build folder. The output depends only on the contents of SOURCE.
function(compress source name)
    set(file ${CMAKE_CURRENT_BINARY_DIR}/package/${name})
    add_custom_command(
        OUTPUT ${file}.gz
        COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_CURRENT_BINARY_DIR}/package
        COMMAND ${CMAKE_COMMAND} -E copy ${source} ${file}
        COMMAND gzip -9nf ${file}
        DEPENDS ${source}
        VERBATIM)
    add_custom_target(package_${name} ALL DEPENDS ${file}.gz)
endfunction()

configure_file(packaging/changelog.in package/changelog.txt @ONLY)
compress(${CMAKE_CURRENT_BINARY_DIR}/package/changelog.txt changelog)
compress(${PROJECT_SOURCE_DIR}/packaging/tonecrate-updater.8 tonecrate-updater.8)
compress(${PROJECT_SOURCE_DIR}/docs/device.md device.md)

set(compressed ${CMAKE_CURRENT_BINARY_DIR}/package)
install(FILES ${compressed}/tonecrate-updater.8.gz DESTINATION share/man/man8)
install(FILES packaging/copyright ${compressed}/changelog.gz ${compressed}/device.md.gz
        DESTINATION share/doc/tonecrate-updater)
install(FILES packaging/tonecrate-overlay.dts packaging/scripts/common.sh packaging/scripts/container.sh
              packaging/scripts/partitions.sh packaging/scripts/updater.conf
        DESTINATION share/doc/tonecrate-updater/examples)
install(PROGRAMS packaging/scripts/decrypt.sh packaging/scripts/format.sh packaging/scripts/install.sh
        DESTINATION share/doc/tonecrate-updater/examples)
install(FILES packaging/tonecrate-updater.service DESTINATION /lib/systemd/system)
install(FILES packaging/tonecrate-updater.rules DESTINATION /lib/udev/rules.d RENAME 60-tonecrate-updater.rules)
install(FILES packaging/tonecrate-updater.modprobe DESTINATION /lib/modprobe.d RENAME tonecrate-updater.conf)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tonecrate-updater)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_SET_DESTDIR ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Tonecrate maintainers <maintainers@tonecrate.example>")
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# The versions in Debian 12, whose compiler builds the package.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6 (>= 2.34), libgcc-s1 (>= 3.0), libstdc++6 (>= 12)")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "e2fsprogs, openssl")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "firmware updates of a Tonecrate device from a USB drive")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"The updater uses the display and the knob of the device. It waits for a USB
drive and performs a firmware update or a factory reset.
.
The scripts that decrypt, format and install are part of the device. The
package contains examples.")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION TRUE)
include(CPack)
