# One line per target: every *_test.cpp is a test program, every *_bench.cpp a benchmark.

find_package(Threads REQUIRED)

# Programs that load or link the library supply host_raise_internal, so they export their symbols.
function(colx_program name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE colx_flags)
  set_target_properties(${name} PROPERTIES ENABLE_EXPORTS ON DEFINE_SYMBOL "")
endfunction()

# colx_tests(<folder>): a program and a test for each <folder>/*_test.cpp, linked against the
# static archive of the kernels (hidden kernels are reachable by name), the host layer, the test
# support and the oracles. The target tests_of_<folder> builds them, the label <folder> runs
# them; those with threads have the label threads, too.
function(colx_tests folder)
  add_custom_target(tests_of_${folder})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${folder}/*_test.cpp)
  foreach(source IN LISTS sources)
    get_filename_component(name ${source} NAME_WE)
    colx_program(${name} ${source})
    target_link_libraries(${name} PRIVATE
      $<LINK_GROUP:RESCAN,${COLX_TEST_LIBRARIES},colx_x86_static> GTest::gtest GTest::gtest_main
      colx_test_flags)
    add_dependencies(${name} colx_x86)
    add_dependencies(tests_of_${folder} ${name})
    if(TARGET colx_test_prologue)
      target_precompile_headers(${name} REUSE_FROM colx_test_prologue)
    endif()
    target_compile_definitions(${name} PRIVATE
      COLX_LIBRARY_FILE="$<TARGET_FILE:colx_x86>" COLX_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
    add_test(NAME ${folder}/${name} COMMAND ${name} --gtest_brief=1)
    set_tests_properties(${folder}/${name} PROPERTIES TIMEOUT 600 LABELS ${folder})
    if(name MATCHES threads_test)
      set_property(TEST ${folder}/${name} APPEND PROPERTY LABELS threads)
    endif()
  endforeach()
endfunction()

# colx_benchmarks(<folder>): a program for each <folder>/*_bench.cpp.
function(colx_benchmarks folder)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${folder}/*_bench.cpp)
  foreach(source IN LISTS sources)
    get_filename_component(name ${source} NAME_WE)
    colx_program(${name} ${source})
    target_link_libraries(${name} PRIVATE colx_bench_support colx_x86_static colx_host
      benchmark::benchmark)
  endforeach()
endfunction()
