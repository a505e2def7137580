# The version, its date and its maintainer: those of the newest entry of the changelog.
set(changelog ${CMAKE_CURRENT_LIST_DIR}/changelog)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${changelog})

file(STRINGS ${changelog} heading REGEX "^[a-z]" LIMIT_COUNT 1)
string(REGEX MATCH "\\((.*)\\)" _ ${heading})
set(KESTREL7_VERSION ${CMAKE_MATCH_1})

file(STRINGS ${changelog} trailer REGEX "^ -- " LIMIT_COUNT 1)
string(REGEX MATCH "^ -- (.*>)  ..., ([0-9]+ ... [0-9]+) " _ ${trailer})
set(KESTREL7_MAINTAINER ${CMAKE_MATCH_1})
set(KESTREL7_DATE ${CMAKE_MATCH_2})
