# The version, its date and its maintainer: those of the newest entry of the changelog.
set(changelog ${CMAKE_CURRENT_LIST_DIR}/changelog)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${changelog})
file(READ ${changelog} entries)

set(heading "^[^\n]*\\(([0-9.]+)\\)[^\n]*\n")
set(changes "(\n|  [^\n]*\n)*")
set(trailer " -- ([^\n]*>)  ..., ([0-9]+) (...) ([0-9]+) ")
set(months Jan Feb Mar Apr May Jun Jul Aug Sep Oct Nov Dec)
string(REGEX MATCH "${heading}${changes}${trailer}" entry "${entries}")
list(FIND months "${CMAKE_MATCH_5}" month)
if(month EQUAL -1)
  message(FATAL_ERROR "${changelog} must begin with an entry in the form of Debian's changelogs, "
                      "with a version of numbers and dots")
endif()

set(KESTREL7_VERSION ${CMAKE_MATCH_1})
set(KESTREL7_MAINTAINER ${CMAKE_MATCH_3})
# Two digits each: what follows the 1 of 101 and so on.
math(EXPR month "${month} + 101")
math(EXPR day "${CMAKE_MATCH_4} + 100")
set(KESTREL7_DATE "${CMAKE_MATCH_6}-${month}-${day}")
string(REGEX REPLACE "-1" "-" KESTREL7_DATE ${KESTREL7_DATE})
