# One function for each kind of target, so that a room's list says only what is particular to it.

# vesca_library(NAME SOURCES file... [LINKS target...])
function(vesca_library NAME)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  add_library(${NAME} STATIC ${ARG_SOURCES})
  target_include_directories(${NAME} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(${NAME} PUBLIC ${ARG_LINKS})
endfunction()

# vesca_test(NAME SOURCES file... [LINKS target...] [LABELS label...])
#
# One executable, one ctest entry a source file. A file whose filter finds no test case is a failure:
# a check that is not run does not exist. The target thread_tests builds all that have the label threads.
function(vesca_test NAME)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS;LABELS" ${ARGN})
  add_executable(${NAME} ${ARG_SOURCES})
  target_link_libraries(${NAME} PRIVATE test_support ${ARG_LINKS})
  if("threads" IN_LIST ARG_LABELS)
    if(NOT TARGET thread_tests)
      add_custom_target(thread_tests)
    endif()
    add_dependencies(thread_tests ${NAME})
  endif()
  foreach(SOURCE IN LISTS ARG_SOURCES)
    get_filename_component(STEM ${SOURCE} NAME_WE)
    add_test(NAME ${NAME}.${STEM} COMMAND ${NAME} "--source-file=*${SOURCE}")
    set_tests_properties(${NAME}.${STEM} PROPERTIES
      FAIL_REGULAR_EXPRESSION "test cases: +0 "
      TIMEOUT 300
      LABELS "${ARG_LABELS}"
      FIXTURES_REQUIRED "${VESCA_TEST_FIXTURES}")
  endforeach()
endfunction()

# vesca_bench(NAME SOURCES file... [LINKS target...])
function(vesca_bench NAME)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  add_executable(${NAME} ${ARG_SOURCES})
  target_link_libraries(${NAME} PRIVATE ${ARG_LINKS} benchmark::benchmark_main)
endfunction()

# vesca_windows_dll(NAME SOURCES file... DEF file [LINKS target...])
#
# One self-contained DLL that exports what the module definition file names: without one, thousands of symbols
# would be.
function(vesca_windows_dll NAME)
  cmake_parse_arguments(ARG "" "DEF" "SOURCES;LINKS" ${ARGN})
  add_library(${NAME} SHARED ${ARG_SOURCES} ${ARG_DEF})
  set_target_properties(${NAME} PROPERTIES PREFIX "")
  target_link_options(${NAME} PRIVATE -static)
  target_link_libraries(${NAME} PRIVATE ${ARG_LINKS})
endfunction()
