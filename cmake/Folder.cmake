# One target for each source folder: the link lists are the layer rules, so a wrong arrow does not link.

# joinscope_folder(NAME SOURCES a.cpp ... USES target ...)
function(joinscope_folder name)
  cmake_parse_arguments(ARG "" "" "SOURCES;USES" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC ${ARG_USES})
endfunction()

# joinscope_test(NAME SOURCES a_test.cpp ... USES target ... [LABELS label ...])
function(joinscope_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;USES;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  # The standard library comes first: what gmock needs of it would else be found in an object of our archives that has
  # a copy of its own, and pull that in beside the fake that stands for it.
  target_link_libraries(${name} PRIVATE stdc++ ${ARG_USES} test_main GTest::gmock)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  if(NOT ARG_LABELS)
    set(ARG_LABELS unit)
  endif()
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES LABELS "${ARG_LABELS}" TIMEOUT 300)
endfunction()

# joinscope_fuzzer(NAME SOURCES a_fuzzer.cpp USES target ...): corpus in fuzz/corpus/NAME. The fuzz preset searches from
# it for a while; the other presets run it once, as one more unit test.
function(joinscope_fuzzer name)
  cmake_parse_arguments(ARG "" "" "SOURCES;USES" ${ARGN})
  set(corpus ${PROJECT_SOURCE_DIR}/fuzz/corpus/${name})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_USES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  if(NOT JOINSCOPE_FUZZ)
    target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/fuzz/replay.cpp)
    add_test(NAME ${name} COMMAND ${name} ${corpus})
    set_tests_properties(${name} PROPERTIES LABELS unit TIMEOUT 60)
    return()
  endif()
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  # libFuzzer writes what it finds into the first folder; the corpus in the source tree is only read.
  set(found ${CMAKE_CURRENT_BINARY_DIR}/found/${name})
  file(MAKE_DIRECTORY ${found})
  add_test(NAME ${name} COMMAND ${name} -runs=20000 -max_total_time=20 ${found} ${corpus})
  set_tests_properties(${name} PROPERTIES LABELS fuzz TIMEOUT 120)
endfunction()
