# Installation of the programs and the Debian package made by `make package` (CPack DEB).
# Layout under /usr: bin/ programs, share/zyl/ shipped data (found relative to the programs as
# ../share/zyl), share/zyl/docs the user guide, share/applications + share/icons the menu entry,
# lib/python3/dist-packages the Python module.

foreach(program zyl zyl-render zyl-gibbs zyl-eph zyl-lpp zyl-cell)
  if(TARGET ${program})
    install(TARGETS ${program} RUNTIME DESTINATION bin)
  endif()
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zyl)
set(CPACK_PACKAGE_VENDOR "ZYL developers")
set(CPACK_PACKAGE_CONTACT "ZYL developers <zyl@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Chemical thermodynamics: reactions, balances, equilibria and diagrams")
set(CPACK_PACKAGE_DESCRIPTION
    "Desktop program and command line `zyl` for reaction equations, heat and material balances,\n"
    "equilibria and predominance diagrams from a species database, with a Python module `zyl`.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "python3 (>= 3.11), python3 (<< 3.12), python3-numpy")
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://example.invalid/zyl")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/package)
include(CPack)

# The package's file list, checked without installing it (builds the package with cpack first).
# Not in the sanitizer build: it has no Python module, and nobody ships its binaries.
if(NOT ZYL_SANITIZE)
  add_test(NAME package_file_list
           COMMAND ${CMAKE_COMMAND} -DBUILD_DIR=${PROJECT_BINARY_DIR} -DWITH_GUI=${ZYL_GUI} -P ${PROJECT_SOURCE_DIR}/cmake/CheckPackage.cmake)
  set_tests_properties(package_file_list PROPERTIES LABELS package RUN_SERIAL ON TIMEOUT 600)
endif()
