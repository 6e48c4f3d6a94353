# Strict warnings for the project's own targets; third-party headers come in as system includes.
function(tavrin_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                                           -Wold-style-cast -Wcast-align -Woverloaded-virtual
                                           -Wimplicit-fallthrough)
  if(CMAKE_COMPILE_WARNING_AS_ERROR)
    set_target_properties(${target} PROPERTIES COMPILE_WARNING_AS_ERROR ON)
  endif()
endfunction()
