# Who the .deb names as its maintainer, worked out when the package is made: the control
# file's Maintainer field and the changelog's sign-off both come from here. The first of
#
#   the STUDYLOOP_DEB_MAINTAINER cache variable ("Name <address>"), when it is set;
#   DEBFULLNAME and DEBEMAIL in the environment, as Debian's own packaging tools read them;
#   the git identity (user.name, user.email) of the source tree;
#   "Study Loop developers <studyloop@users.noreply.github.com>".
#
# Usable in script mode: cpack and the install rules include it.

function(studyloop_package_maintainer out configured source_dir)
  if(configured)
    set(${out} "${configured}" PARENT_SCOPE)
    return()
  endif()
  if(NOT "$ENV{DEBEMAIL}" STREQUAL "")
    # DEBEMAIL may carry the name itself, as "Name <address>".
    if("$ENV{DEBEMAIL}" MATCHES "<")
      set(${out} "$ENV{DEBEMAIL}" PARENT_SCOPE)
    else()
      set(${out} "$ENV{DEBFULLNAME} <$ENV{DEBEMAIL}>" PARENT_SCOPE)
    endif()
    return()
  endif()
  find_program(git_program git)
  if(git_program)
    foreach(key IN ITEMS name email)
      execute_process(COMMAND ${git_program} -C ${source_dir} config user.${key}
                      OUTPUT_VARIABLE ${key} OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    endforeach()
    if(name AND email)
      set(${out} "${name} <${email}>" PARENT_SCOPE)
      return()
    endif()
  endif()
  set(${out} "Study Loop developers <studyloop@users.noreply.github.com>" PARENT_SCOPE)
endfunction()
