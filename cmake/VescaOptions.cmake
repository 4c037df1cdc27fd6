# What every target is compiled with. Options that a preset sets begin with VESCA_.

option(VESCA_WERROR "Treat warnings as errors" OFF)
option(VESCA_TESTS "Build the tests" ON)
option(VESCA_BENCH "Build the benchmarks" ON)
option(VESCA_FUZZ "Build the fuzzers; VESCA_SANITIZE then names fuzzer-no-link" OFF)
set(VESCA_SANITIZE "" CACHE STRING "Value for -fsanitize=, for example address,undefined")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "" FORCE)
endif()

find_program(VESCA_CCACHE ccache)
if(VESCA_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${VESCA_CCACHE})
endif()

# Contraction off: a fused multiply-add would give other samples on another processor.
add_compile_options(-Wall -Wextra -Wconversion -Wshadow -ffp-contract=off -fno-math-errno)
# gcc 12 loses a rounding in straight-line code that it vectorises: two neighbouring double values that pass
# through float, double(float(x)), come out unrounded. Loops are not affected.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options(-fno-tree-slp-vectorize)
endif()
if(VESCA_WERROR)
  add_compile_options(-Werror)
endif()
if(VESCA_SANITIZE)
  add_compile_options(-fsanitize=${VESCA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${VESCA_SANITIZE})
endif()
