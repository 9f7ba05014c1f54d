# mova_together(TARGET): the target's sources are compiled as one, because most of a compiler's work on each is the same
# headers; but for those with SKIP_UNITY_BUILD_INCLUSION. Each still includes what it needs: projects that build the library
# as a part of theirs compile them one by one, as checks:library-from-outside-static does.
function(mova_together target)
  if(PROJECT_IS_TOP_LEVEL)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
  endif()
endfunction()
