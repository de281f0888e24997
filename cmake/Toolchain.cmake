# Language level, warnings and hardening that every target of the project shares.
option(JOINSCOPE_WERROR "Treat warnings as errors; the presets do" OFF)
option(JOINSCOPE_FUZZ "Build the libFuzzer targets (clang only)" OFF)
option(JOINSCOPE_BENCH "Build the benchmarks" OFF)
set(JOINSCOPE_SANITIZE "" CACHE STRING "Sanitizers, as -fsanitize= takes them")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
# A run path that names a system directory ends in an empty element, which is the current directory.
set(CMAKE_SKIP_RPATH ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)

find_program(CCACHE ccache)
if(CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()

add_compile_options(
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
  -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2 -Wimplicit-fallthrough -Wundef
  # A designated initialiser leaves the other members at their defaults; that is why it is used.
  -Wno-missing-field-initializers)
if(JOINSCOPE_WERROR)
  add_compile_options(-Werror)
endif()

if(JOINSCOPE_SANITIZE)
  add_compile_options(-fsanitize=${JOINSCOPE_SANITIZE} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${JOINSCOPE_SANITIZE})
  if(NOT JOINSCOPE_SANITIZE MATCHES "thread")
    add_compile_options(-fno-sanitize-recover=all)
  endif()
endif()

if(CMAKE_BUILD_TYPE STREQUAL "Debug")
  add_compile_definitions(_GLIBCXX_ASSERTIONS)
else()
  # Level 3 knows the sizes of what is allocated at run time, too.
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3 -fstack-protector-strong -fstack-clash-protection)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    add_compile_options(-fcf-protection)
  endif()
  add_link_options(-Wl,-z,relro,-z,now)
endif()
add_link_options(-pie -Wl,--as-needed)
