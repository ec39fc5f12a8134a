# Every third-party library is found once here and exposed as an imported target.
find_package(Qt6 6.2 REQUIRED COMPONENTS Core Gui Widgets OpenGL OpenGLWidgets Svg Test Network DBus)
find_package(OpenGL REQUIRED)
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
pkg_check_modules(FFMPEG REQUIRED IMPORTED_TARGET libavformat libavcodec libswresample libavutil)
pkg_check_modules(RUBBERBAND REQUIRED IMPORTED_TARGET rubberband>=3.0)
pkg_check_modules(RTAUDIO REQUIRED IMPORTED_TARGET rtaudio)
# The desktop's recent-files list is read and written with GLib's bookmark file code, as
# every other application on the desktop does.
pkg_check_modules(GLIB REQUIRED IMPORTED_TARGET glib-2.0)

# LodePNG ships a header and a shared library but no CMake or pkg-config file.
find_path(LODEPNG_INCLUDE_DIR lodepng.h REQUIRED)
find_library(LODEPNG_LIBRARY lodepng REQUIRED)
add_library(lodepng::lodepng UNKNOWN IMPORTED)
set_target_properties(lodepng::lodepng PROPERTIES IMPORTED_LOCATION ${LODEPNG_LIBRARY}
                                                  INTERFACE_INCLUDE_DIRECTORIES ${LODEPNG_INCLUDE_DIR})

if(STUDYLOOP_BUILD_TESTS OR NOT DEFINED STUDYLOOP_BUILD_TESTS)
  find_package(GTest REQUIRED)
endif()
find_package(benchmark QUIET)

# The Queen Mary DSP library (beat tracking) ships a shared library and headers but no
# CMake or pkg-config file; its headers include each other from its own include folder.
find_path(QMDSP_INCLUDE_DIR qm-dsp/dsp/tempotracking/TempoTrackV2.h REQUIRED)
find_library(QMDSP_LIBRARY qm-dsp REQUIRED)
add_library(qmdsp::qmdsp UNKNOWN IMPORTED)
set_target_properties(qmdsp::qmdsp PROPERTIES IMPORTED_LOCATION ${QMDSP_LIBRARY}
                                              INTERFACE_INCLUDE_DIRECTORIES ${QMDSP_INCLUDE_DIR}/qm-dsp)
