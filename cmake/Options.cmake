# Build options, and the warnings and sanitizers that every target of this repository gets.

# Beyond -O2 the compiler's warnings about its own inlining are not reliable.
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")

option(BFLAG_AGENT "Build the programs: the reference agent and velmor-asic" ON)
option(BFLAG_TESTS "Build the tests" ON)
option(BFLAG_BENCH "Build the benchmarks" OFF)
set(BFLAG_SANITIZE "" CACHE STRING "Sanitizers to compile with, e.g. address,undefined or thread")

add_compile_options(
  -Wall -Wextra -Wpedantic -Werror -Wshadow -Wcast-align
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
  # g++ 12 sees overlapping copies in std::string where there are none.
  -Wno-restrict)
# Nobody is meant to interpose what the library shows, so it may be inlined within the library.
add_compile_options(-fno-semantic-interposition)

if(BFLAG_SANITIZE)
  add_compile_options(-fsanitize=${BFLAG_SANITIZE} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${BFLAG_SANITIZE})
endif()
