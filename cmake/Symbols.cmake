# Packaging takes line tables and names out of the programs and keeps them in files of their own (scripts/pack.sh). They are
# made only for that: with them each program is many times as large.
option(MOVA_SYMBOLS "Compile with line tables and leave names in the programs, for packaging to take out" OFF)
if(MOVA_SYMBOLS)
  add_compile_options(-g1 -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
endif()

# mova_strip(TARGET): without names, unless packaging wants them.
function(mova_strip target)
  if(NOT MOVA_SYMBOLS)
    target_link_options(${target} PRIVATE -s)
  endif()
endfunction()
