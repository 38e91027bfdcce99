# Helpers that keep each subsystem's CMakeLists to one line.
# Sources are globbed so that adding a file needs no edit here.

# zyl_core_library(<subsystem> [DEPS targets...]): static library zyl_<subsystem> from src/<subsystem>/*.cpp.
# Core libraries never link Qt.
function(zyl_core_library name)
  cmake_parse_arguments(Z "" "" "DEPS" ${ARGN})
  file(GLOB srcs CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  add_library(zyl_${name} STATIC ${srcs})
  target_include_directories(zyl_${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(zyl_${name} PUBLIC ${Z_DEPS})
endfunction()

# zyl_window_library(<subsystem> [DEPS targets...]): Qt library zyl_<subsystem>_window from src/<subsystem>/window/*.cpp.
function(zyl_window_library name)
  if(NOT ZYL_GUI)
    return()
  endif()
  cmake_parse_arguments(Z "" "" "DEPS" ${ARGN})
  file(GLOB srcs CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp ${CMAKE_CURRENT_SOURCE_DIR}/*.h ${CMAKE_CURRENT_SOURCE_DIR}/*.qrc)
  if(NOT srcs)
    return()
  endif()
  add_library(zyl_${name}_window STATIC ${srcs})
  target_include_directories(zyl_${name}_window PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(zyl_${name}_window PUBLIC ${Z_DEPS} Qt6::Widgets Qt6::Gui Qt6::Core Qt6::Svg Qt6::PrintSupport)
  set_target_properties(zyl_${name}_window PROPERTIES AUTOMOC ON AUTORCC ON)
endfunction()

# zyl_test(<name> [QT] [LIBS targets...] [LABELS labels...]): one GoogleTest executable test_<name>
# from the *_test.cpp files of the current folder.
function(zyl_test name)
  cmake_parse_arguments(Z "QT" "" "LIBS;LABELS" ${ARGN})
  file(GLOB srcs CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*_test.cpp)
  if(NOT srcs)
    return()
  endif()
  add_executable(test_${name} ${srcs})
  if(Z_QT)
    set_target_properties(test_${name} PROPERTIES AUTOMOC ON)
    target_link_libraries(test_${name} PRIVATE Qt6::Test)
  endif()
  target_link_libraries(test_${name} PRIVATE ${Z_LIBS} GTest::gtest GTest::gmock GTest::gtest_main)
  target_include_directories(test_${name} PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/tests)
  target_compile_definitions(test_${name} PRIVATE
    ZYL_SOURCE_DATA_DIR="${ZYL_SOURCE_DATA_DIR}"
    ZYL_TESTS_DIR="${PROJECT_SOURCE_DIR}/tests"
    ZYL_SHARED_DATA_DIR="${PROJECT_SOURCE_DIR}/../shared/data"
    ZYL_BIN_DIR="${PROJECT_BINARY_DIR}/bin")
  target_precompile_headers(test_${name} PRIVATE <gtest/gtest.h>)
  gtest_discover_tests(test_${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
    PROPERTIES LABELS "${name};${Z_LABELS}" ENVIRONMENT "QT_QPA_PLATFORM=offscreen")
endfunction()

# zyl_benchmark(<name> SOURCES files... LIBS targets...): Google Benchmark program bench_<name>.
function(zyl_benchmark name)
  cmake_parse_arguments(Z "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(bench_${name} ${Z_SOURCES})
  target_link_libraries(bench_${name} PRIVATE ${Z_LIBS} benchmark::benchmark)
  target_include_directories(bench_${name} PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/tests)  # tests/common helpers
  target_compile_definitions(bench_${name} PRIVATE ZYL_SOURCE_DATA_DIR="${ZYL_SOURCE_DATA_DIR}")
  set_target_properties(bench_${name} PROPERTIES EXCLUDE_FROM_ALL ON)
  add_dependencies(benchmarks bench_${name})
endfunction()
