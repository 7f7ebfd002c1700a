# Helpers shared by every library and executable of the project.

set(ONDREL_WARNINGS -Wall -Wextra -Werror -Wshadow -Woverloaded-virtual -Wnon-virtual-dtor
    -Wno-missing-field-initializers)

# The Qt headers every translation unit pays for: compiled once per target.
set(ONDREL_PCH_HEADERS
  <QtCore/QString>
  <QtCore/QVariant>
  <QtCore/QByteArray>
  <QtCore/QDateTime>
  <QtCore/QHash>
  <QtCore/QList>
  <QtCore/QMap>
  <memory>
  <functional>
  <optional>
  <vector>
  <mutex>)

# ondrel_add_library(NAME [EXCLUDE SUBFOLDER...] [DEPS ...]): a static library
# of every source file in the current folder and its subfolders, but those of
# the EXCLUDE subfolders (libraries of their own).
function(ondrel_add_library name)
  cmake_parse_arguments(ARG "" "" "EXCLUDE;DEPS" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS
       ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
  foreach(folder ${ARG_EXCLUDE})
    list(FILTER sources EXCLUDE REGEX "^${CMAKE_CURRENT_SOURCE_DIR}/${folder}/")
  endforeach()
  if(NOT sources)
    add_library(${name} INTERFACE)
    target_link_libraries(${name} INTERFACE Qt6::Core ${ARG_DEPS})
    return()
  endif()
  add_library(${name} STATIC ${sources})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_compile_options(${name} PRIVATE ${ONDREL_WARNINGS})
  target_link_libraries(${name} PUBLIC Qt6::Core ${ARG_DEPS})
  target_precompile_headers(${name} PRIVATE ${ONDREL_PCH_HEADERS})
  set_target_properties(${name} PROPERTIES AUTOMOC OFF POSITION_INDEPENDENT_CODE ON)
endfunction()

# ondrel_add_test_suite(NAME [REGISTER HEADER FUNCTION] [LABELS ...] [EXCLUDE SUBFOLDER...] [DEPS ...]):
# one GoogleTest executable of every source in the current folder and its
# subfolders, registered test by test with CTest. REGISTER names the class
# registration function (and its header) the test main calls at start;
# LABELS tag the suite's tests (asan, tsan: the sanitizer stages run them).
function(ondrel_add_test_suite name)
  cmake_parse_arguments(ARG "" "" "REGISTER;LABELS;EXCLUDE;DEPS" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  foreach(folder ${ARG_EXCLUDE})
    list(FILTER sources EXCLUDE REGEX "^${CMAKE_CURRENT_SOURCE_DIR}/${folder}/")
  endforeach()
  if(NOT sources)
    return()
  endif()
  add_executable(${name} ${sources} ${PROJECT_SOURCE_DIR}/tests/support/TestMain.cpp)
  if(ARG_REGISTER)
    list(GET ARG_REGISTER 0 header)
    list(GET ARG_REGISTER 1 function)
    target_compile_definitions(${name} PRIVATE
      ONDREL_TEST_REGISTRATION_HEADER="${header}" ONDREL_TEST_REGISTRATION=${function})
  endif()
  target_compile_options(${name} PRIVATE ${ONDREL_WARNINGS})
  target_link_libraries(${name} PRIVATE ondrel_test_support ${ARG_DEPS})
  target_precompile_headers(${name} PRIVATE ${ONDREL_PCH_HEADERS} <gtest/gtest.h>)
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST
                       PROPERTIES TIMEOUT 300 ENVIRONMENT "QT_QPA_PLATFORM=offscreen")
  # Discovered tests take their labels from the folder: the suite's name and
  # the sanitizer stages that run it.
  set_property(DIRECTORY APPEND PROPERTY LABELS ${name} ${ARG_LABELS})
endfunction()
