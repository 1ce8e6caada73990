# Which version this is, since when and what is new in it: the newest heading of CHANGELOG.md and the
# list below it.
set(changes ${CMAKE_CURRENT_LIST_DIR}/../CHANGELOG.md)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${changes})
file(READ ${changes} changes)
if(NOT changes MATCHES "\n## ([0-9]+\\.[0-9]+\\.[0-9]+) \\(([-0-9]+)\\)\n\n([^#]+)")
  message(FATAL_ERROR "CHANGELOG.md has no heading of the form \"## 1.2.3 (2026-01-31)\"")
endif()
set(KIVOLO_VERSION ${CMAKE_MATCH_1})
set(KIVOLO_RELEASED ${CMAKE_MATCH_2})
set(KIVOLO_CHANGES "${CMAKE_MATCH_3}")
