# Writes build.cpp anew if it is another commit that is built, or one with changes: in a clone git knows,
# in an archive of the sources the file `commit` beside this one.
#   cmake -DSOURCE=… -DVERSION=… -DOUTPUT=… -P build.cmake
file(READ ${CMAKE_CURRENT_LIST_DIR}/commit archived)
set(COMMIT "")
if(EXISTS ${SOURCE}/.git)
  execute_process(COMMAND git -C ${SOURCE} describe --always --abbrev=7 --exclude=* --dirty=+
    OUTPUT_VARIABLE COMMIT OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
elseif(archived MATCHES "^[0-9a-f]+")
  string(SUBSTRING ${archived} 0 7 COMMIT)
endif()
if(COMMIT)
  set(COMMIT " (${COMMIT})")
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/build.cpp.in ${OUTPUT} @ONLY)
