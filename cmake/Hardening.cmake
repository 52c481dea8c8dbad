# The programs read hostile bytes, some of them as root: what the compiler and the linker can check
# is on in every build.
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

add_compile_definitions(_GLIBCXX_ASSERTIONS)
add_compile_options(-fstack-protector-strong)
if(NOT ORVANE_SANITIZE)
  # The sanitizers watch the same calls, and see more. Undefined first: compilers may preset it.
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3)
endif()
if(WIN32)
  # What the checks call lies in a library of its own, which this adds. Images are moved about and have
  # no code in data without being told.
  add_link_options(-fstack-protector-strong)
else()
  add_link_options(LINKER:-z,relro LINKER:-z,now)
  # No library is loaded for a function that the program does not call.
  add_link_options(LINKER:--as-needed)
endif()
