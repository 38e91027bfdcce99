# Builds the Debian package of BUILD_DIR with cpack and checks its file list and control data.
# Run by ctest (test package_file_list): cmake -DBUILD_DIR=<build> -P CheckPackage.cmake
find_program(DPKG_DEB dpkg-deb REQUIRED)
set(out ${BUILD_DIR}/package-check)
file(REMOVE_RECURSE ${out})
execute_process(COMMAND ${CMAKE_CPACK_COMMAND} -G DEB -B ${out} --config ${BUILD_DIR}/CPackConfig.cmake
                WORKING_DIRECTORY ${BUILD_DIR} RESULT_VARIABLE rc OUTPUT_VARIABLE log ERROR_VARIABLE log)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "cpack failed:\n${log}")
endif()
file(GLOB debs ${out}/zyl_*.deb)
list(LENGTH debs n)
if(NOT n EQUAL 1)
  message(FATAL_ERROR "expected one zyl_*.deb in ${out}, found: ${debs}")
endif()
execute_process(COMMAND ${DPKG_DEB} -c ${debs} OUTPUT_VARIABLE listing RESULT_VARIABLE rc)
execute_process(COMMAND ${DPKG_DEB} -f ${debs} Package Depends OUTPUT_VARIABLE control)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "dpkg-deb -c failed on ${debs}")
endif()
set(missing "")
foreach(entry
    "./usr/bin/zyl" "./usr/bin/zyl-gui"
    "./usr/share/zyl/Databases/MainDB6.ZYL" "./usr/share/zyl/Databases/AWDB4.ZYL"
    "./usr/share/applications/zyl.desktop" "./usr/share/icons/hicolor/scalable/apps/zyl.svg"
    "./usr/share/zyl/docs/index.md"
    "./usr/lib/python3/dist-packages/zyl\\.cpython-[0-9]+-[a-z0-9_-]+\\.so")
  if(NOT listing MATCHES " ${entry}\n")
    list(APPEND missing ${entry})
  endif()
endforeach()
# Nothing of the build or source tree may leak into the package.
if(listing MATCHES "/(work|tmp|home)/" OR listing MATCHES "CMakeFiles|\\.o\n")
  list(APPEND missing "no build-tree paths")
endif()
if(NOT control MATCHES "Package: zyl" OR NOT control MATCHES "python3-numpy" OR NOT control MATCHES "libc6")
  list(APPEND missing "control fields Package, Depends (python3-numpy, shared libraries)")
endif()
if(missing)
  message(FATAL_ERROR "package ${debs} lacks: ${missing}\n${listing}")
endif()
message(STATUS "package ok: ${debs}")
