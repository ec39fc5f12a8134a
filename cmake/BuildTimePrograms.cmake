# Programs that the build runs to make its own inputs (images, the demo recording) are
# built without sanitizers: their reports from inside Qt would stop a sanitizer build, and
# they are not what the sanitizers are there to check.
function(studyloop_build_time_program target)
  target_compile_options(${target} PRIVATE -fno-sanitize=all)
  target_link_options(${target} PRIVATE -fno-sanitize=all)
endfunction()
