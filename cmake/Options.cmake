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

# Links in a fraction of the time, where it is installed.
include(CheckLinkerFlag)
check_linker_flag(CXX -fuse-ld=lld BFLAG_HAS_LLD)
if(BFLAG_HAS_LLD)
  add_link_options(-fuse-ld=lld)
endif()

# named_apart(FILES...): in a unity build these stay units of their own, because names that are
# theirs alone are used in other files too.
function(named_apart)
  set_source_files_properties(${ARGN} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()
