# Helpers shared by every target of the project.

# The warnings every target of ours is free of. They never reach a user's targets.
function(dorvane_warnings target)
  if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
    if(DORVANE_WERROR)
      target_compile_options(${target} PRIVATE -Werror)
    endif()
  endif()
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
endfunction()

# Gives a library target the sources of dorvane-text and what they need.
function(dorvane_library target)
  list(TRANSFORM dorvane_sources PREPEND "${PROJECT_SOURCE_DIR}/" OUTPUT_VARIABLE sources)
  target_sources(${target} PRIVATE ${sources})
  target_compile_features(${target} PUBLIC cxx_std_17)
  # Files of more than 2 GiB, where a long has 32 bits.
  target_compile_definitions(${target} PRIVATE _FILE_OFFSET_BITS=64)
  # The sanitizer and fuzz presets are debug builds. The tests see internal headers, which depend on
  # this; the installed ones do not.
  target_compile_definitions(${target} PUBLIC
    $<BUILD_INTERFACE:$<$<CONFIG:Debug>:DORVANE_CHECK_INVARIANTS>>)
  target_include_directories(${target} PUBLIC "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>")
  target_link_libraries(${target} PUBLIC Threads::Threads)
  dorvane_warnings(${target})
endfunction()

# An executable of the project.
function(dorvane_executable target)
  add_executable(${target} ${ARGN})
  target_link_libraries(${target} PRIVATE dorvane::text)
  dorvane_warnings(${target})
endfunction()
