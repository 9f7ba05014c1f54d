# What keeps a fault in the code from becoming a way in: stack protector, checked copies, addresses that differ from run
# to run, no memory both writable and executable. tests/checks/check-dll.py and tests/checks/check-program.sh see to it.
add_compile_options(-fstack-protector-strong)
if(WIN32)
  add_link_options(-fstack-protector-strong -Wl,--dynamicbase -Wl,--nxcompat)
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    add_link_options(-Wl,--high-entropy-va)
  else()
    add_link_options(-Wl,--no-seh)  # exceptions are unwound from tables: no handler of ours is ever on the chain
  endif()
else()
  add_link_options(-Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
endif()

# For folders of code that is optimised, which the checked copies need.
macro(mova_check_copies)
  add_compile_options($<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2>)
endmacro()
