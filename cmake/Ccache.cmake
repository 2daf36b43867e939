# Compiles through ccache when the machine has it and nobody chose another launcher.
find_program(DORVANE_CCACHE ccache)
mark_as_advanced(DORVANE_CCACHE)
if(DORVANE_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${DORVANE_CCACHE}")
endif()
