# TAVRIK_DESCRIPTION: last tag, number of commits since it and short hash of the source tree, as
# "v0.1.0-12-g1a2b3c4"; the project's version alone outside a checkout. A package states its own.
if(TAVRIK_DESCRIPTION)
  return()
endif()
find_package(Git QUIET)

function(ask_git result)
  execute_process(
    COMMAND ${GIT_EXECUTABLE} ${ARGN}
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    OUTPUT_VARIABLE answer OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  set(${result} "${answer}" PARENT_SCOPE)
endfunction()

set(TAVRIK_DESCRIPTION "v${PROJECT_VERSION}")
if(GIT_FOUND)
  ask_git(from_tag describe --tags --long)
  ask_git(count rev-list --count HEAD)
  ask_git(hash rev-parse --short HEAD)
  if(from_tag)
    set(TAVRIK_DESCRIPTION "${from_tag}")
  elseif(count AND hash)
    set(TAVRIK_DESCRIPTION "v${PROJECT_VERSION}-${count}-g${hash}")
  endif()
endif()
