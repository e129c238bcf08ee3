# Hardens the program as Debian 12 hardens its packages (dpkg-buildflags, hardening=+all).
# Omits -mbranch-protection, because the instructions that it adds are NOPs on the device's Cortex-A72.
add_compile_options(-fPIE -fstack-protector-strong -Wformat -Wformat-security)
if(NOT CMAKE_BUILD_TYPE STREQUAL Debug)
    add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2) # needs optimisation
endif()
add_link_options(-Wl,-z,relro,-z,now)
if(NOT CMAKE_EXE_LINKER_FLAGS MATCHES -static) # the preset device-static links with -static-pie
    add_link_options(-pie)
endif()
