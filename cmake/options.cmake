# What every target of the project shares.

find_package(Threads REQUIRED)

# What `--version` tells, looked up at each build: only these few bytes are compiled anew.
add_custom_target(kivolo_commit BYPRODUCTS ${PROJECT_BINARY_DIR}/build.cpp
  COMMAND ${CMAKE_COMMAND} -DSOURCE=${PROJECT_SOURCE_DIR} -DVERSION=${PROJECT_VERSION}
    -DOUTPUT=${PROJECT_BINARY_DIR}/build.cpp -P ${PROJECT_SOURCE_DIR}/cmake/build.cmake)
add_library(kivolo_build STATIC ${PROJECT_BINARY_DIR}/build.cpp)

add_library(kivolo_options INTERFACE)
# What asserts and throws tells the name of its source: from here on, not from the builder's disk.
target_compile_options(kivolo_options INTERFACE -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)
target_compile_options(kivolo_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(KIVOLO_WARNINGS_AS_ERRORS)
  target_compile_options(kivolo_options INTERFACE -Werror)
endif()
if(CMAKE_BUILD_TYPE STREQUAL "Release")
  # What nothing refers to, and each place to relocate, would be read into memory with its neighbours.
  target_compile_options(kivolo_options INTERFACE -ffunction-sections -fdata-sections)
  target_link_options(kivolo_options INTERFACE -Wl,--gc-sections -Wl,--as-needed -Wl,-z,pack-relative-relocs)
endif()
if(KIVOLO_SANITIZE)
  set(sanitize -fsanitize=${KIVOLO_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  if(CMAKE_CXX_COMPILER_ID STREQUAL Clang)
    # Clang 14 knows coroutines without saying so, and fails at marking them for this one check.
    list(APPEND sanitize -fno-sanitize=function)
    target_compile_definitions(kivolo_options INTERFACE __cpp_impl_coroutine=201902L)
  endif()
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    # Asio contains fences, which GCC says ThreadSanitizer cannot follow; nothing here rests on them.
    list(APPEND sanitize -Wno-tsan)
  endif()
  target_compile_options(kivolo_options INTERFACE ${sanitize})
  target_link_options(kivolo_options INTERFACE ${sanitize})
endif()

# What every test program needs to know, its own settings apart.
set(KIVOLO_TEST_ENVIRONMENT "")
if(KIVOLO_SANITIZE MATCHES address)
  set(KIVOLO_TEST_ENVIRONMENT "LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/support/lsan.supp")
endif()
