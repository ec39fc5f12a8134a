# Installs the build into STAGE_DIR/usr, as the .deb lays it out, and checks the tree:
# only what the application needs is there, the desktop entry's icon and program are
# installed under the names it gives, AppStream finds the desktop entry its metainfo
# names, and the metainfo's newest release is this version.
#
#   cmake -DBUILD_DIR=... -DSTAGE_DIR=... -DDESKTOP_ID=... -DPROJECT_VERSION=...
#         -DEXPECT_PROGRAM=0|1 -DAPPSTREAMCLI=... -P CheckInstalledTree.cmake
#
# EXPECT_PROGRAM is 0 while the build has no application target.

cmake_minimum_required(VERSION 3.25)

set(failures "")
macro(fail message)
  string(APPEND failures "  ${message}\n")
endmacro()

file(REMOVE_RECURSE ${STAGE_DIR})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${STAGE_DIR}/usr
                RESULT_VARIABLE status OUTPUT_QUIET)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "cmake --install failed (${status}); is everything built?")
endif()

set(share usr/share)
set(desktop_entry ${share}/applications/${DESKTOP_ID}.desktop)
set(metainfo ${share}/metainfo/${DESKTOP_ID}.metainfo.xml)

# Nothing but the program and its two command-line tools, the desktop entry, metainfo, icons
# and the documents a Debian package must carry: no other tools, no tests.
set(package_documents ${share}/man/man1/studyloop.1.gz ${share}/man/man1/studyloop-inspect.1.gz
                      ${share}/man/man1/studyloop-play.1.gz ${share}/doc/studyloop/copyright
                      ${share}/doc/studyloop/changelog.gz)
file(GLOB_RECURSE installed RELATIVE ${STAGE_DIR} ${STAGE_DIR}/*)
foreach(path IN LISTS installed)
  if(NOT path MATCHES "^usr/bin/studyloop(-inspect|-play)?$"
     AND NOT path STREQUAL desktop_entry
     AND NOT path STREQUAL metainfo
     AND NOT path IN_LIST package_documents
     AND NOT path MATCHES "^usr/share/icons/hicolor/[0-9a-z]+/apps/studyloop\\.(png|svg)$")
    fail("installs ${path}, which the application does not need")
  endif()
endforeach()
foreach(path IN LISTS package_documents)
  if(NOT EXISTS ${STAGE_DIR}/${path})
    fail("no ${path}")
  endif()
endforeach()

if(NOT EXISTS ${STAGE_DIR}/${desktop_entry})
  fail("no desktop entry at ${desktop_entry}")
else()
  file(STRINGS ${STAGE_DIR}/${desktop_entry} icon_line REGEX "^Icon=")
  string(REGEX REPLACE "^Icon=" "" icon "${icon_line}")
  foreach(icon_file IN ITEMS scalable/apps/${icon}.svg 16x16/apps/${icon}.png
                             48x48/apps/${icon}.png 256x256/apps/${icon}.png)
    if(NOT EXISTS ${STAGE_DIR}/${share}/icons/hicolor/${icon_file})
      fail("the desktop entry's icon \"${icon}\" is not installed as hicolor/${icon_file}")
    endif()
  endforeach()

  file(STRINGS ${STAGE_DIR}/${desktop_entry} exec_line REGEX "^Exec=")
  string(REGEX REPLACE "^Exec=([^ ]+).*" "\\1" program "${exec_line}")
  if(EXPECT_PROGRAM AND NOT EXISTS ${STAGE_DIR}/usr/bin/${program})
    fail("the desktop entry runs \"${program}\", which is not installed in bin/")
  endif()
endif()

if(NOT EXISTS ${STAGE_DIR}/${metainfo})
  fail("no metainfo at ${metainfo}")
else()
  # Releases are listed newest first; a version bump needs its entry.
  file(READ ${STAGE_DIR}/${metainfo} text)
  string(REGEX MATCH "<release version=\"([^\"]+)\"" newest "${text}")
  if(NOT CMAKE_MATCH_1 STREQUAL PROJECT_VERSION)
    fail("the metainfo's newest release is \"${CMAKE_MATCH_1}\", not ${PROJECT_VERSION}")
  endif()

  # Finds the desktop entry by the metainfo's launchable, as software centres do.
  execute_process(COMMAND ${APPSTREAMCLI} validate-tree --no-net --strict ${STAGE_DIR}
                  RESULT_VARIABLE status OUTPUT_VARIABLE report ERROR_VARIABLE report)
  if(NOT status EQUAL 0)
    fail("appstreamcli validate-tree:\n${report}")
  endif()
endif()

if(failures)
  message(FATAL_ERROR "The installed tree is wrong:\n${failures}")
endif()
