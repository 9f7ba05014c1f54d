# Version, name and icon that Windows shows of each program. The version is the project's.
if(NOT WIN32)
  function(mova_resources)
  endfunction()
  return()
endif()
string(REPLACE . , MOVA_VERSION_NUMBERS ${PROJECT_VERSION},0)
set(MOVA_RESOURCES ${PROJECT_BINARY_DIR}/resources)
configure_file(${CMAKE_CURRENT_LIST_DIR}/Version.rc.h.in ${MOVA_RESOURCES}/Version.rc.h @ONLY)
set(MOVA_PROGRAM_RESOURCES ${CMAKE_CURRENT_LIST_DIR}/Program.rc.in)

# mova_resources(TARGET NAME DESCRIPTION): on Windows the program has them; NAME is that of its file without ".exe".
function(mova_resources target name description)
  set(MOVA_PROGRAM ${name})
  set(MOVA_DESCRIPTION ${description})
  set(MOVA_ICON ${PROJECT_SOURCE_DIR}/packaging/MovaCmdSvr.ico)
  configure_file(${MOVA_PROGRAM_RESOURCES} ${MOVA_RESOURCES}/${name}.rc @ONLY)
  target_sources(${target} PRIVATE ${MOVA_RESOURCES}/${name}.rc)
  set_source_files_properties(${MOVA_RESOURCES}/${name}.rc PROPERTIES OBJECT_DEPENDS
    "${MOVA_ICON};${MOVA_RESOURCES}/Version.rc.h")
endfunction()
