# Debian packages built by CPack from the install components:
#   libtevroldll<SOVERSION>  runtime: the shared library
#   libtevroltesting<SOVERSION> testing: the test-support library (virtual time)
#   libtevroldll-dev         dev: headers, CMake package, pkg-config file, the ARM
#                            toolchain file; depends on both library packages of
#                            the same version
#   tevrol-tools             tools: tevrol_config, tevrol_trace_svg
# The packages install under /usr. Configure with -DCMAKE_INSTALL_PREFIX=/usr
# so that the library lands in Debian's multiarch folder (lib/<triplet>), then
# run cpack in the build folder.

set(TEVROL_PACKAGE_MAINTAINER "libTevrolDLL maintainers <tevroldll@example.org>"
  CACHE STRING "Maintainer field of the Debian packages")

get_target_property(tevrol_soversion TevrolDLL SOVERSION)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tevroldll)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime testing dev)
if(TEVROL_BUILD_TOOLS)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()

set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${TEVROL_PACKAGE_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)

# The Debian architecture of the compiler's target: armhf for the ARM
# toolchain, not the architecture of the build machine.
if(CMAKE_CROSSCOMPILING)
  find_program(TEVROL_DPKG_ARCHITECTURE dpkg-architecture)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -dumpmachine
    OUTPUT_VARIABLE tevrol_triplet OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  if(TEVROL_DPKG_ARCHITECTURE AND tevrol_triplet)
    execute_process(COMMAND ${TEVROL_DPKG_ARCHITECTURE} -t ${tevrol_triplet} -qDEB_HOST_ARCH
      OUTPUT_VARIABLE CPACK_DEBIAN_PACKAGE_ARCHITECTURE OUTPUT_STRIP_TRAILING_WHITESPACE
      ERROR_QUIET)
  endif()
  if(NOT CPACK_DEBIAN_PACKAGE_ARCHITECTURE)
    message(WARNING "No Debian architecture for the target '${tevrol_triplet}' (dpkg-architecture "
      "of dpkg-dev): Debian packages of this build would be marked with the build machine's.")
  endif()
else()
  execute_process(COMMAND dpkg --print-architecture
    OUTPUT_VARIABLE CPACK_DEBIAN_PACKAGE_ARCHITECTURE OUTPUT_STRIP_TRAILING_WHITESPACE
    ERROR_QUIET)
endif()

# Dependencies on the C and C++ runtimes: dpkg-shlibdeps reads them from the
# binaries and the installed packages' shlibs (offline). It only knows the
# build machine's packages, so a cross build names them without versions.
find_program(TEVROL_DPKG_SHLIBDEPS dpkg-shlibdeps)
find_program(TEVROL_FILE file)
if(NOT CMAKE_CROSSCOMPILING AND TEVROL_DPKG_SHLIBDEPS AND TEVROL_FILE)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
else()
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "libc6, libgcc-s1, libstdc++6")
  set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libc6, libgcc-s1, libstdc++6")
endif()
# A shlibs file, so that packages built against the library depend on this
# version or a newer one; it also makes dpkg run ldconfig.
# The test-support library links the library of the package beside it, which
# dpkg-shlibdeps cannot look up before it is installed: its dependencies are
# named here (the library's own, exact version, comes from the component).
set(CPACK_DEBIAN_TESTING_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_TESTING_PACKAGE_DEPENDS "libc6, libgcc-s1, libstdc++6")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_COMPONENT_DEV_DEPENDS runtime testing)
set(CPACK_COMPONENT_TESTING_DEPENDS runtime)

set(tevrol_about
  "Threads with abstract priorities, locks, events, a millisecond tick that is
safe across its wrap, work loops, name registries, paths, calendar and GPS
time, text types and containers, timers, file operations and a configuration
store behind one shared library.")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libtevroldll${tevrol_soversion})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "platform abstraction library for embedded devices
${tevrol_about}

This package holds the shared library.")

set(CPACK_DEBIAN_TESTING_PACKAGE_NAME libtevroltesting${tevrol_soversion})
set(CPACK_DEBIAN_TESTING_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_TESTING_DESCRIPTION "virtual time for tests of programs built on TevrolDLL
A test switches the process to virtual time and moves it on by hand: delayed
tasks, timers and time-outs of the library fire at once, in deadline order,
and each call returns when the library's threads have finished what was due.
Link it in test executables only (find_package(TevrolDLL) target
TevrolDLL::TevrolTesting, header tevrol/testing/VirtualTime.h).")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libtevroldll-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_DESCRIPTION "platform abstraction library for embedded devices (development files)
${tevrol_about}

This package holds the headers, the CMake package (find_package(TevrolDLL),
with TevrolDLL::TevrolTesting for tests in virtual time),
the pkg-config file (tevroldll) and a CMake toolchain file for 32-bit ARM
(share/tevrol/arm-linux-gnueabihf.cmake).")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME tevrol-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "configuration checker and trace viewer of TevrolDLL
tevrol_config reads a configuration folder exactly as the store does, prints
the groups and keys that result and names every line that was dropped or read
otherwise. Its exit status lets a script or a CI job catch such a file.
tevrol_trace_svg draws a task trace of the loop monitor as an SVG timeline.")

include(CPack)
