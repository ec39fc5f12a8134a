# A Debian package of the application. In a configured build tree, `cpack` builds what is
# missing, installs it under /usr in a scratch tree and packs studyloop_<version>_<arch>.deb
# (scripts/package.sh does all of it for the release preset).
#
# The package holds what the install rules lay out: the studyloop program, the icons, the
# desktop entry, the metainfo, and the manual page, copyright and changelog below. Tools,
# tests and benchmarks have no install rules and stay out (tests/resources checks the
# installed tree).

include(GNUInstallDirs)

# Empty: worked out as the package is made (cmake/PackageMaintainer.cmake says how).
set(STUDYLOOP_DEB_MAINTAINER "" CACHE STRING
    "The Maintainer field of the .deb, as \"Name <address>\"; empty: who makes the package")

# cpack reads this file just before it packs, so the maintainer is the one of that moment.
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_BINARY_DIR}/CPackMaintainer.cmake)
file(CONFIGURE OUTPUT ${CPACK_PROJECT_CONFIG_FILE} CONTENT [[
include("@PROJECT_SOURCE_DIR@/cmake/PackageMaintainer.cmake")
studyloop_package_maintainer(CPACK_DEBIAN_PACKAGE_MAINTAINER "@STUDYLOOP_DEB_MAINTAINER@"
                             "@PROJECT_SOURCE_DIR@")
]] @ONLY)

# What Debian asks of a package beside its program: a manual page for it, the copyright in
# the machine-readable format, and a changelog. The changelog has one entry, for this
# version, written when the tree is installed (by cpack: as the package is made), signed by
# the maintainer and dated now, or at SOURCE_DATE_EPOCH when that is set. It and the manual
# page go in compressed with gzip -9n, which stores no name or time in the file.
set(package_docs ${PROJECT_BINARY_DIR}/package_docs)
string(CONFIGURE [[
include("@PROJECT_SOURCE_DIR@/cmake/PackageMaintainer.cmake")
studyloop_package_maintainer(maintainer "@STUDYLOOP_DEB_MAINTAINER@" "@PROJECT_SOURCE_DIR@")
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE "@package_docs@/changelog" "studyloop (@PROJECT_VERSION@) unstable; urgency=medium

  * Study Loop @PROJECT_VERSION@.

 -- ${maintainer}  ${date}
")
foreach(page studyloop studyloop-inspect studyloop-play)
  file(COPY_FILE "@PROJECT_SOURCE_DIR@/resources/package/${page}.1" "@package_docs@/${page}.1")
endforeach()
execute_process(COMMAND gzip -9nf changelog studyloop.1 studyloop-inspect.1 studyloop-play.1
                WORKING_DIRECTORY "@package_docs@" COMMAND_ERROR_IS_FATAL ANY)
]] write_package_docs @ONLY)
install(CODE "${write_package_docs}")
install(FILES ${package_docs}/studyloop.1.gz ${package_docs}/studyloop-inspect.1.gz
              ${package_docs}/studyloop-play.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${PROJECT_SOURCE_DIR}/resources/package/copyright ${package_docs}/changelog.gz
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/studyloop)

# A stripped install (cpack strips) of the programs also drops the compilers' notes, which nothing reads at
# run time, as Debian's own packaging tools do.
install(CODE "
  if(CMAKE_INSTALL_DO_STRIP)
    foreach(program studyloop studyloop-inspect studyloop-play)
      execute_process(COMMAND \"${CMAKE_STRIP}\" --remove-section=.comment --remove-section=.note
                      \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/\${program}\"
                      COMMAND_ERROR_IS_FATAL ANY)
    endforeach()
  endif()")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME studyloop)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "loop, slow down and transpose a passage of a recording")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
# The extended description: CPack puts the summary above it, indents each line and turns
# the empty line between paragraphs into Debian's " .".
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
    "Study Loop is for learning music from a recording. Open one audio file, see
it as a waveform, mark the bar or phrase you are working on, and play it in a
loop: slower or faster without changing its pitch, or transposed without
changing its speed.

It opens any format FFmpeg reads (WAV, AIFF, FLAC, ALAC, MP3, AAC, Ogg Vorbis,
Opus...) and the sound of video files. The file is only ever read.")
# The libraries the program links, as the packages that hold them (dpkg-shlibdeps).
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Loaded at run time, so dpkg-shlibdeps cannot see them: Qt's platform plugins (without
# them no window opens), and its native Wayland support.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-qpa-plugins")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "qt6-wayland")

include(CPack)
