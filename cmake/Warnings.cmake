# Warnings are errors, for every target of ours.
add_library(orvane_warnings INTERFACE)
target_compile_options(orvane_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
  -Woverloaded-virtual -Wcast-align -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13
   AND CMAKE_BUILD_TYPE STREQUAL "Release")
  # With all optimisation it sees overlaps in joined strings where there are none, and a wide string
  # that is moved overrun its own bytes.
  target_compile_options(orvane_warnings INTERFACE -Wno-restrict -Wno-attribute-warning)
endif()

# A static library of this project; sources that follow the name are compiled in.
function(orvane_library name)
  add_library(${name} STATIC ${ARGN})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE orvane_warnings)
endfunction()
