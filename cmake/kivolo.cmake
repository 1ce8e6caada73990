# What every target of the client shares, and one function per kind of target.

find_package(Qt6 6.4 REQUIRED COMPONENTS Core Concurrent DBus Gui Network Svg Widgets)
find_package(QCoro6 0.8 REQUIRED COMPONENTS Core)
find_package(simdjson REQUIRED)
set(QT_NO_CREATE_VERSIONLESS_TARGETS TRUE)

add_library(kivolo_qt_options INTERFACE)
target_link_libraries(kivolo_qt_options INTERFACE kivolo_options)
target_compile_definitions(kivolo_qt_options INTERFACE
  QT_NO_KEYWORDS QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_URL_CAST_FROM_STRING
  QT_DISABLE_DEPRECATED_BEFORE=0x060400)
if(CMAKE_BUILD_TYPE STREQUAL "Release")
  # The client runs all day and mostly waits: a third less of code is worth more than its speed. What
  # works through much data says -O2 itself, see kivolo_fast().
  target_compile_options(kivolo_qt_options INTERFACE -Os)
else()
  # CMake takes every optimised build for one without assertions.
  target_compile_definitions(kivolo_qt_options INTERFACE QT_FORCE_ASSERTS)
endif()

# kivolo_fast(SOURCE...): optimises these for speed in every build that is optimised at all.
function(kivolo_fast)
  if(CMAKE_BUILD_TYPE STREQUAL "Release")
    set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS -O2)
  endif()
endfunction()

# kivolo_library(NAME SOURCES file... LINKS target...): one folder of src/ as a static library.
# LINKS are the lower floors it uses, which are its own matter, and the libraries that its headers show.
function(kivolo_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  set_target_properties(${name} PROPERTIES AUTOMOC ON)
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  set(floors ${ARG_LINKS})
  list(FILTER floors INCLUDE REGEX "^kivolo_")
  list(FILTER ARG_LINKS EXCLUDE REGEX "^kivolo_")
  target_link_libraries(${name} PUBLIC ${ARG_LINKS} PRIVATE ${floors} kivolo_qt_options)
endfunction()

# kivolo_test(NAME [DISPLAY] SOURCES file... LINKS target...): the test program of one folder.
# DISPLAY: it opens real windows, so it links Widgets' main and runs one at a time.
function(kivolo_test name)
  cmake_parse_arguments(ARG "DISPLAY" "" "SOURCES;LINKS" ${ARGN})
  add_executable(test_${name} ${ARG_SOURCES})
  set_target_properties(test_${name} PROPERTIES AUTOMOC ON)
  target_include_directories(test_${name} PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/tests)
  if(ARG_DISPLAY)
    set(support kivolo_test_support_gui)
  else()
    set(support kivolo_test_support_core)
  endif()
  target_link_libraries(test_${name} PRIVATE ${ARG_LINKS} ${support} kivolo_qt_options)
  add_test(NAME ${name} COMMAND test_${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT 240 ENVIRONMENT "${KIVOLO_TEST_ENVIRONMENT}")
  if(ARG_DISPLAY)
    set_tests_properties(${name} PROPERTIES RUN_SERIAL TRUE LABELS display)
  endif()
endfunction()
