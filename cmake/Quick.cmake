# mova_quick(TARGET...): with MOVA_QUICK the targets, of tools and the Python module, are compiled quickly. MinGW needs -O1: without
# any optimisation every inline function of a header is a section, and the archiver and the linker drown in them.
function(mova_quick)
  if(NOT MOVA_QUICK)
    return()
  endif()
  foreach(target ${ARGN})
    if(WIN32)
      target_compile_options(${target} PRIVATE -O1 -U_FORTIFY_SOURCE)
    else()
      target_compile_options(${target} PRIVATE -O0 -U_FORTIFY_SOURCE)
    endif()
  endforeach()
endfunction()
