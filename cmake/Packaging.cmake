# A Debian package of the application. In a configured build tree, `cpack` builds what is
# missing, installs it under /usr in a scratch tree and packs studyloop_<version>_<arch>.deb
# (scripts/package.sh does all of it for the release preset).
#
# The package holds what the install rules lay out: the studyloop program, the icons, the
# desktop entry and the metainfo. Tools, tests and benchmarks have no install rules and
# stay out (tests/resources checks the installed tree).

set(STUDYLOOP_PACKAGE_MAINTAINER "Study Loop developers <studyloop@invalid>" CACHE STRING
    "The Maintainer field of the .deb: a name and an address to reach about the package")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME studyloop)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "loop, slow down and transpose a passage of a recording")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${STUDYLOOP_PACKAGE_MAINTAINER})
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
