# Build options, and the warnings and sanitizers that every target of this repository gets.

option(BFLAG_AGENT "Build the reference agent" ON)
option(BFLAG_TESTS "Build the tests" ON)
option(BFLAG_BENCH "Build the benchmarks" OFF)
set(BFLAG_SANITIZE "" CACHE STRING "Sanitizers to compile with, e.g. address,undefined or thread")

add_compile_options(-Wall -Wextra -Wpedantic -Werror -Wshadow $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor> -Wcast-align
                    -Wno-error=deprecated-declarations)

if(BFLAG_SANITIZE)
  add_compile_options(-fsanitize=${BFLAG_SANITIZE} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${BFLAG_SANITIZE})
endif()
