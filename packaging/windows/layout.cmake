# The .zip for Windows: the programs at the top, beside them the documents as in the source, the
# manual pages as HTML.
find_program(MANDOC_PROGRAM mandoc REQUIRED)
install(TARGETS Kestrel7ToTransferFiles Kestrel7SysexToTape DESTINATION .)
if(TARGET Kestrel7TapeToSysex)
  install(TARGETS Kestrel7TapeToSysex DESTINATION .)
  list(APPEND pages Kestrel7TapeToSysex.1)
  # Those of the libraries in it
  install(DIRECTORY ${KESTREL7_WINDOWS_LIBRARIES}/licences DESTINATION docs)
endif()

add_custom_target(html_pages ALL)
foreach(page ${pages})
  configure_file(${PROJECT_SOURCE_DIR}/docs/man/${page}.in ${page} @ONLY)
  set(source ${CMAKE_CURRENT_BINARY_DIR}/${page})
  string(REGEX REPLACE "[.][0-9]$" ".html" html ${source})
  add_custom_command(OUTPUT ${html}
    COMMAND ${MANDOC_PROGRAM} -T html ${source} > ${html}
    DEPENDS ${source} VERBATIM)
  set_property(TARGET html_pages APPEND PROPERTY SOURCES ${html})
  install(FILES ${html} DESTINATION docs/man)
endforeach()

install(FILES ${PROJECT_SOURCE_DIR}/README.md DESTINATION .)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION . RENAME LICENSE.txt)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs DESTINATION .
  FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN "*.png" PATTERN man EXCLUDE)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples DESTINATION .)
install(FILES ${PROJECT_SOURCE_DIR}/build/page/kestrel7.html DESTINATION . OPTIONAL)

set(CPACK_GENERATOR ZIP)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_FILE_NAME ${package}-${PROJECT_VERSION}-Windows-${CMAKE_SYSTEM_PROCESSOR})
include(CPack)
