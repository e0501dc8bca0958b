# Strict warnings for the project's own targets; third-party headers come in as system includes.
function(lumevar_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wno-missing-field-initializers)
endfunction()

# A module library made of every source below its folder, include root at src/, warnings on.
function(lumevar_module name)
  cmake_parse_arguments(ARG "" "" "PUBLIC_LIBS;PRIVATE_LIBS" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
  list(FILTER sources EXCLUDE REGEX "/main\\.cpp$")
  add_library(${name} STATIC ${sources})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${name} PUBLIC ${ARG_PUBLIC_LIBS} PRIVATE ${ARG_PRIVATE_LIBS})
  target_compile_definitions(${name} PUBLIC QT_NO_KEYWORDS)
  lumevar_warnings(${name})
endfunction()

# A test executable registered with CTest, one CTest entry per GoogleTest case. WIDGETS gives it a
# QApplication; otherwise it runs under a QGuiApplication on the offscreen platform.
# Without SOURCES it takes every .cpp below the calling folder. REALTIME labels its entries
# "realtime": they wait for other processes, servers or real files to play, so they take real
# time (`ctest -LE realtime` leaves them out; every other test runs on the manual clock).
function(lumevar_test name)
  cmake_parse_arguments(ARG "WIDGETS;REALTIME" "" "SOURCES;LIBS" ${ARGN})
  if(NOT ARG_SOURCES)
    file(GLOB_RECURSE ARG_SOURCES CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  if(ARG_WIDGETS)
    set(main TestKitWidgetsMain)
  else()
    set(main TestKitMain)
  endif()
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} ${main} TestKit GTest::gtest GTest::gmock)
  target_compile_options(${name} PRIVATE -include ${PROJECT_SOURCE_DIR}/tests/TestKit/QtPrinters.h)
  lumevar_warnings(${name})
  set(labels)
  if(ARG_REALTIME)
    set(labels LABELS realtime)
  endif()
  # The discovery passes the properties on as one flat list, so no value may hold a semicolon (an
  # ENVIRONMENT of two variables swallowed the TIMEOUT after it). TestMain sets the offscreen
  # platform itself.
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60 PROPERTIES ${labels} TIMEOUT 60)
endfunction()
