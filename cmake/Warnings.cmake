# Warnings as one INTERFACE target that every project target links.
option(STUDYLOOP_WARNINGS_AS_ERRORS "Treat compiler warnings as errors (CI turns this on)" OFF)

add_library(studyloop_warnings INTERFACE)
target_compile_options(studyloop_warnings INTERFACE -Wall -Wextra -Wpedantic)
if(STUDYLOOP_WARNINGS_AS_ERRORS)
  target_compile_options(studyloop_warnings INTERFACE -Werror)
endif()
