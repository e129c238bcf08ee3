# Defines the Debian packages. cpack creates them in the build folder of the preset `device`:
#   tonecrate-updater          the program for the device, its unit, udev rules and modprobe option, and documentation
#   tonecrate-updater-scripts  the scripts that the program runs on the device
#   tonecrate-maker            the commands that make keys and firmware files, for the manufacturer
set(compressed ${CMAKE_CURRENT_BINARY_DIR}/package)

# compress(SOURCE NAME): creates package/NAME.gz in the build folder. The output depends only on the contents of SOURCE.
function(compress source name)
    set(file ${compressed}/${name})
    add_custom_command(
        OUTPUT ${file}.gz
        COMMAND ${CMAKE_COMMAND} -E make_directory ${compressed}
        COMMAND ${CMAKE_COMMAND} -E copy ${source} ${file}
        COMMAND gzip -9nf ${file}
        DEPENDS ${source}
        VERBATIM)
    add_custom_target(package_${name} ALL DEPENDS ${file}.gz)
endfunction()

# install_manual(COMPONENT PAGE...): installs manual pages from this folder.
function(install_manual component)
    foreach(page IN LISTS ARGN)
        compress(${PROJECT_SOURCE_DIR}/packaging/${page} ${page})
        string(REGEX MATCH "[0-9]$" section ${page})
        install(FILES ${compressed}/${page}.gz DESTINATION share/man/man${section} COMPONENT ${component})
    endforeach()
endfunction()

# install_links(COMPONENT FOLDER TARGET NAME...): for each NAME, installs the symbolic link FOLDER/NAME, which points to
# TARGET. "@" in TARGET is replaced by NAME.
function(install_links component folder target)
    foreach(name IN LISTS ARGN)
        string(REPLACE @ ${name} link_target ${target})
        file(MAKE_DIRECTORY ${compressed}/links)
        file(CREATE_LINK ${link_target} ${compressed}/links/${name} SYMBOLIC)
        install(FILES ${compressed}/links/${name} DESTINATION ${folder} COMPONENT ${component})
    endforeach()
endfunction()

configure_file(packaging/changelog.in package/changelog.txt @ONLY)
compress(${compressed}/changelog.txt changelog)
compress(${PROJECT_SOURCE_DIR}/docs/device.md device.md)

install_manual(updater tonecrate-updater.8)
install(FILES ${compressed}/device.md.gz docs/wiring.svg DESTINATION share/doc/tonecrate-updater COMPONENT updater)
install(FILES packaging/tonecrate-overlay.dts DESTINATION share/doc/tonecrate-updater/examples COMPONENT updater)
install(FILES packaging/tonecrate-updater.service DESTINATION /lib/systemd/system COMPONENT updater)
install(FILES packaging/tonecrate-updater.rules DESTINATION /lib/udev/rules.d RENAME 60-tonecrate-updater.rules
        COMPONENT updater)
install(FILES packaging/tonecrate-updater.modprobe DESTINATION /lib/modprobe.d RENAME tonecrate-updater.conf
        COMPONENT updater)

set(scripts decrypt.sh format.sh install.sh)
file(GLOB sourced_scripts CONFIGURE_DEPENDS packaging/scripts/*.sh)
foreach(script IN LISTS scripts)
    list(REMOVE_ITEM sourced_scripts ${PROJECT_SOURCE_DIR}/packaging/scripts/${script})
    install(PROGRAMS packaging/scripts/${script} DESTINATION sbin COMPONENT scripts)
endforeach()
install(FILES ${sourced_scripts} DESTINATION lib/tonecrate COMPONENT scripts)
install(FILES packaging/scripts/updater.conf DESTINATION /etc/tonecrate COMPONENT scripts)
install_manual(scripts decrypt.sh.8)
install_links(scripts share/man/man8 decrypt.sh.8.gz format.sh.8.gz install.sh.8.gz)
install(FILES packaging/tonecrate-updater-scripts.lintian DESTINATION share/lintian/overrides
        RENAME tonecrate-updater-scripts COMPONENT scripts)

set(commands tonecrate-make-keys tonecrate-pack-firmware tonecrate-inspect-firmware tonecrate-verify-firmware)
foreach(command IN LISTS commands)
    install(PROGRAMS packaging/maker/${command} DESTINATION share/tonecrate-maker COMPONENT maker)
    install_manual(maker ${command}.1)
endforeach()
install(FILES packaging/maker/common.sh packaging/maker/errors.sh packaging/scripts/container.sh
        DESTINATION share/tonecrate-maker COMPONENT maker)
install_links(maker bin ../share/tonecrate-maker/@ ${commands})

foreach(component IN ITEMS updater updater-scripts maker)
    string(REPLACE updater-scripts scripts component_name ${component})
    install(FILES packaging/copyright ${compressed}/changelog.gz DESTINATION share/doc/tonecrate-${component}
            COMPONENT ${component_name})
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tonecrate-updater)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_SET_DESTDIR ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL updater scripts maker)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Tonecrate maintainers <maintainers@tonecrate.example>")
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION TRUE)

set(CPACK_DEBIAN_UPDATER_PACKAGE_NAME tonecrate-updater)
set(CPACK_DEBIAN_UPDATER_PACKAGE_ARCHITECTURE arm64)
# dpkg-shlibdeps cannot derive these versions here, because the cross compiler's C library has no dpkg symbols file.
# `./dev package --test` runs dpkg-shlibdeps with the symbols files of an arm64 system and compares the result.
set(CPACK_DEBIAN_UPDATER_PACKAGE_DEPENDS "libc6 (>= 2.34), libgcc-s1 (>= 3.0), libstdc++6 (>= 12)")
# Suggests instead of Recommends, because apt would install recommended scripts over a device's own scripts.
set(CPACK_DEBIAN_UPDATER_PACKAGE_SUGGESTS tonecrate-updater-scripts)
foreach(script IN ITEMS postinst prerm postrm)
    list(APPEND CPACK_DEBIAN_UPDATER_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/${script})
endforeach()
set(CPACK_DEBIAN_UPDATER_DESCRIPTION
"firmware updates of a Tonecrate device from a USB drive
The updater uses the display and the knob of the device. It waits for a USB
drive and performs a firmware update or a factory reset.
.
This package does not contain the scripts that decrypt, format and install. A
device can provide its own, or use those in the package
tonecrate-updater-scripts, which are for a device whose internal memory is one
partition.")

set(CPACK_DEBIAN_SCRIPTS_PACKAGE_NAME tonecrate-updater-scripts)
set(CPACK_DEBIAN_SCRIPTS_PACKAGE_SOURCE tonecrate-updater)
set(CPACK_DEBIAN_SCRIPTS_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_SCRIPTS_PACKAGE_DEPENDS "e2fsprogs, mount, openssl, zstd")
set(CPACK_DEBIAN_SCRIPTS_PACKAGE_ENHANCES tonecrate-updater)
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/package/conffiles "/etc/tonecrate/updater.conf\n")
set(CPACK_DEBIAN_SCRIPTS_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_BINARY_DIR}/package/conffiles)
set(CPACK_DEBIAN_SCRIPTS_DESCRIPTION
"scripts of a Tonecrate device that install firmware
The updater of the device runs these scripts. They verify and decrypt a
firmware file from a USB drive, save the owner's presets on a spare partition,
format the internal memory, and install the firmware.
.
They tolerate a loss of power at any time.")

set(CPACK_DEBIAN_MAKER_PACKAGE_NAME tonecrate-maker)
set(CPACK_DEBIAN_MAKER_PACKAGE_SOURCE tonecrate-updater)
set(CPACK_DEBIAN_MAKER_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_MAKER_PACKAGE_DEPENDS "openssl, zstd")
set(CPACK_DEBIAN_MAKER_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_MAKER_DESCRIPTION
"commands that create and verify firmware for Tonecrate devices
Commands for the manufacturer of a device: they create the keys, pack a folder
into an encrypted and signed firmware file, print the version and the sizes of
a firmware file, and verify it as a device does.")
include(CPack)
