# mova_header_library(TARGET HEADER): a library of headers of the system, HEADER as it is included. The cross compilers are
# shown the headers' own folder and nothing else of the system.
function(mova_header_library target header)
  if(TARGET ${target})
    return()
  endif()
  find_path(${target}_INCLUDE ${header} PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH REQUIRED)
  get_filename_component(folder ${header} DIRECTORY)
  set(shown ${CMAKE_BINARY_DIR}/system-headers/${target})
  file(MAKE_DIRECTORY ${shown})
  file(CREATE_LINK ${${target}_INCLUDE}/${folder} ${shown}/${folder} SYMBOLIC)
  add_library(${target} INTERFACE)
  target_include_directories(${target} SYSTEM INTERFACE ${shown})
endfunction()
