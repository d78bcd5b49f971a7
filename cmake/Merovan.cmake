# Shared settings of every target we build ourselves: warnings are errors in our
# own code, Qt's headers are precompiled once and reused.

set(MEROVAN_WARNINGS -Wall -Wextra -Werror -Wno-error=deprecated-declarations -Wno-missing-field-initializers)

add_library(merovan_pch INTERFACE)
set(MEROVAN_PCH_HEADERS
    <QByteArray> <QDateTime> <QDir> <QFile> <QHash> <QList> <QObject> <QString>
    <QVariant> <QVariantMap> <functional> <memory> <optional> <vector>)

# merovan_library(NAME [EXCLUDE files...] DEPENDS ...): the static library of
# the current folder, made of every source below it but the excluded ones.
function(merovan_library name)
  cmake_parse_arguments(ARG "" "" "DEPENDS;EXCLUDE" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS
       ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
  foreach(excluded ${ARG_EXCLUDE})
    list(REMOVE_ITEM sources ${CMAKE_CURRENT_SOURCE_DIR}/${excluded})
  endforeach()
  add_library(${name} STATIC ${sources})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_compile_options(${name} PRIVATE ${MEROVAN_WARNINGS})
  target_link_libraries(${name} PUBLIC ${ARG_DEPENDS})
  target_precompile_headers(${name} PRIVATE ${MEROVAN_PCH_HEADERS})
endfunction()

# merovan_test(NAME DEPENDS ...): one GoogleTest binary for the current test
# folder, registered with CTest as one test.
function(merovan_test name)
  cmake_parse_arguments(ARG "" "" "DEPENDS" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp
       ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
  add_executable(${name} ${sources})
  # GoogleTest derives each test from its fixture; in a combined unit a fixture
  # in an anonymous namespace would be reported as if it leaked from a header.
  target_compile_options(${name} PRIVATE ${MEROVAN_WARNINGS} -Wno-subobject-linkage)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE ${ARG_DEPENDS} merovan_testsupport GTest::gtest GTest::gmock)
  target_precompile_headers(${name} PRIVATE ${MEROVAN_PCH_HEADERS} <gtest/gtest.h>)
  add_test(NAME ${name} COMMAND ${name} --gtest_brief=1)
  set_tests_properties(${name} PROPERTIES
      ENVIRONMENT "MEROVAN_SOURCE_DIR=${PROJECT_SOURCE_DIR};MEROVAN_BINARY_DIR=${PROJECT_BINARY_DIR};QT_QPA_PLATFORM=offscreen")
endfunction()
